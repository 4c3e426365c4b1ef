// The settings of the command line. Written before any thread starts, then only read.
#pragma once

#include "common/control.h"
#include "lte_sdk.h"
#include "wansim/fault.h"
#include "wansim/sim.h"

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
    uint32_t search_ms = 500;
    SimState sim = SimState::kUsable;
    char pin[16] = "1234";
    char puk[16] = "12345678";
    char imei[16] = "490154203237518";
    char imsi[16] = "001010123456789";
    char operator_name[16] = "Northern Cell";
    uint32_t messages = 3; // in the SMS store
    FaultRules faults;
    ControlPath control = ""; // empty: the usual one
    char script[256] = "";    // empty: none
    bool sms_store = false;   // stand in for the SMS store instead
    bool board = false;       // with LEDs and the link's interface
    bool list_requests = false;
    bool quiet = false;
};

} // namespace lterouter::tools
