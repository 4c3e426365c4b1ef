// The state of the link as the WAN manager stores it, for a command that has missed the event.
#pragma once

#include "common/record.h"

#include <cstdint>
#include <optional>

namespace lterouter::tools {

// No value if the WAN manager stores none.
std::optional<uint32_t> read_link_state();

} // namespace lterouter::tools
