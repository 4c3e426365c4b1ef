// AT commands as messages carry them to the WAN manager and back.
#pragma once

#include "common/body.h"
#include "lte_sdk/at_record.h"

#include <string_view>

namespace lterouter::tools {

// The command in the body of a request for the modem, without the carriage return; empty when the
// request is malformed.
std::string_view at_command(const Body &body);

} // namespace lterouter::tools
