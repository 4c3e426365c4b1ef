#include "ltectl/link_state.h"

#include "common/command.h"
#include "lc_nv.h"
#include "lte_sdk.h"
#include "ltectl/deadline.h"

namespace lterouter::tools {

std::optional<uint32_t> read_link_state()
{
    char value[16];
    uint32_t state = 0;
    const Waiting waiting(kStoreWait);
    if (nvmram_readnv(LCT_PARAM_LINK, value, sizeof(value)) == NV_SUCCESS &&
        parse_number(value, 0, 255, &state)) {
        return state;
    }
    return std::nullopt;
}

} // namespace lterouter::tools
