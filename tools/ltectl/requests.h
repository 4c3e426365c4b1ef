// The requests that more than one command makes.
#pragma once

#include "common/at.h"
#include "lte_sdk.h"
#include "ltectl/request.h"

namespace lterouter::tools {

inline constexpr Request kGetRoaming = {kWanManager, WM_MSG_ROAM_SWITCH_GET_REQ,
                                        "tell the roaming switch", sizeof(lct_value_rsp)};
inline constexpr Request kGetNettype = {kWanManager, WM_MSG_NETTYPE_GET_REQ, "tell the network type",
                                        sizeof(lct_value_rsp)};

struct ImsiAnswer {
    int32_t result;
    char imsi[32];
};

inline constexpr Request kGetImsi = {kWanManager, WM_MSG_IMSI_GET_REQ, "tell the IMSI"};

// An IMSI without a digit is no value.
Reply ask_imsi(ImsiAnswer *answer);

inline constexpr Request kPassCommand = {kWanManager, WM_MSG_MODEM_AT_REQ,
                                         "pass the command to the modem", offsetof(AtAnswer, text)};

constexpr size_t kAtCommandMax = 910;

// The answer to an AT command.
struct AtText {
    AtAnswer answer;
    char end; // a text that fills its field has none

    bool in_file() const { return answer.type == kAtTypeFile; }
    const char *text() const { return answer.text; }
};

// command: of at most kAtCommandMax characters.
Reply command_modem(const char *command, AtText *answer);

} // namespace lterouter::tools
