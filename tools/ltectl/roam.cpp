#include "common/program.h"
#include "common/wan_manager.h"
#include "ltectl/client.h"
#include "ltectl/commands.h"

namespace lterouter::tools {
namespace {

int show(uint32_t value)
{
    print_roaming(value);
    return kDone;
}

int get_roaming()
{
    lct_value_rsp answer = {};
    return lct_get_roam_switch(&answer) == 0 ? show(answer.value) : refused("tell the roaming switch");
}

int set_roaming(uint32_t value)
{
    return lct_set_roam_switch(&value) == 0 ? show(value) : refused("set the roaming switch");
}

} // namespace

int roam(char *const *operands)
{
    uint32_t value = 0;
    const bool sets = operands[0] != nullptr;
    if (sets && !kOnOff.parse(operands[0], &value)) {
        return bad_value("roam", kOnOff, operands[0]);
    }
    Client client;
    const int started = client.start(Client::Events::kUnwanted);
    if (started != kDone) {
        return started;
    }
    return sets ? set_roaming(value) : get_roaming();
}

} // namespace lterouter::tools
