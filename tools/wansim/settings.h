// What the command line says. Written before any thread starts, then only read.
#pragma once

#include "lte_sdk.h"

namespace lterouter::tools {

struct Settings {
    // The link as it is published when it is connected.
    lct_link_status link = {
        .iface_type = LCT_IFACE_TYPE_WCDMA,
        .reserved1 = 0,
        .link_status = LCT_LINK_CONNECTED,
        .ip_status = 1,
        .reserved2 = 0,
        .interface_name = "wwan0",
        .ip = "10.64.0.2",
        .gateway = "10.64.0.1",
        .dns1 = "10.64.0.53",
        .dns2 = "10.64.1.53",
        .mask = "255.255.255.252",
        .reserved3 = {},
    };
    uint32_t roaming = 0;
    uint32_t delay_ms = 200;
    bool quiet = false;
};

} // namespace lterouter::tools
