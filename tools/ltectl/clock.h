// Points in time, for waiting and for output.
#pragma once

#include <cstdint>

namespace lterouter::tools {

// A moment on the monotonic clock, in milliseconds.
int64_t now_ms();

// The same on the wall clock, since 1970.
int64_t wall_clock_ms();
int64_t wall_clock_us();

// 2026-11-22T04:27:04.125Z
struct TimeText {
    char text[32];

    explicit TimeText(int64_t wall_clock_ms);
};

} // namespace lterouter::tools
