// Points in time, for waiting and for output.
#pragma once

#include "common/clock.h"

#include <cstdint>

namespace lterouter::tools {

// A moment on the wall clock, in milliseconds since 1970.
int64_t wall_clock_ms();
int64_t wall_clock_us();

// 2026-11-22T04:27:04.125Z
struct TimeText {
    char text[32];

    explicit TimeText(int64_t wall_clock_ms);
};

} // namespace lterouter::tools
