#include "ltectl/peer.h"

#include "common/wan_manager.h"

#include <cstdio>
#include <string_view>

namespace lterouter::tools {

BoundName::BoundName(const Peer &peer)
{
    const ipc_addr address = module_address(peer.module_id);
    const std::string_view name = socket_name(address);
    snprintf(text, sizeof(text), "%.*s", static_cast<int>(name.size()), name.data());
}

} // namespace lterouter::tools
