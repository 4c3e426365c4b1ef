// The state of the link as the WAN manager keeps it, for who has missed the event.
#pragma once

#include "common/record.h"

#include <cstdint>
#include <optional>

namespace lterouter::tools {

// Nothing where the WAN manager keeps none.
std::optional<uint32_t> read_link_state();

} // namespace lterouter::tools
