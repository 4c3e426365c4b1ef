// The processes that commands talk to.
#pragma once

#include "lc_ipc_msg.h"

#include <cstdint>
#include <sys/un.h>

namespace lterouter::tools {

// A process that commands talk to, by the name that it binds.
struct Peer {
    uint32_t module_id;
    const char *title;
    const char *starter; // what to start when nobody is bound
};

// The name that a peer binds.
struct BoundName {
    explicit BoundName(const Peer &peer);
    char text[sizeof(sockaddr_un::sun_path)];
};

inline constexpr Peer kWanManager = {IPC_MODULE_MM, "WAN manager", "wansim or the WAN manager"};
inline constexpr Peer kSmsStore = {IPC_MODULE_SMS_PB, "SMS store",
                                   "wansim --sms-store or the SMS store"};

} // namespace lterouter::tools
