// Points in time, for waiting.
#pragma once

#include <cstdint>

namespace lterouter::tools {

// A moment on the monotonic clock, in milliseconds.
int64_t now_ms();

} // namespace lterouter::tools
