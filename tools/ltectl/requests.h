// The requests that more than one command makes.
#pragma once

#include "common/at.h"
#include "common/wan_manager.h"
#include "lte_sdk.h"
#include "ltectl/request.h"

namespace lterouter::tools {

inline constexpr Request kGetRoaming =
    request_for(WM_MSG_ROAM_SWITCH_GET_REQ, "tell the roaming switch");
inline constexpr Request kGetNettype = request_for(WM_MSG_NETTYPE_GET_REQ, "tell the network type");
inline constexpr Request kGetImsi = request_for(WM_MSG_IMSI_GET_REQ, "tell the IMSI");

// An IMSI without a digit is no value.
Reply ask_imsi(ImsiAnswer *answer);

inline constexpr Request kPassCommand =
    request_for(WM_MSG_MODEM_AT_REQ, "pass the command to the modem");

// Characters of a command as users type it, without the carriage return.
constexpr size_t kTypedCommandMax = kAtCommandMax - 1;

// command: of at most kTypedCommandMax characters. limit_ms: as of a Request.
Reply command_modem(const char *command, AtAnswer *answer, uint32_t limit_ms = 0);

} // namespace lterouter::tools
