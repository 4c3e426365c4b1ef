// Points in time, for waiting and for output.
#pragma once

#include "common/clock.h"

#include <cstdint>

namespace lterouter::tools {

// A moment on the wall clock, in milliseconds since 1970.
int64_t wall_clock_ms();
int64_t wall_clock_us();

// The time-out for a call of the library that is to wait this long: its deadlines drop the fraction of
// the current second on purpose.
uint32_t whole_timeout(uint32_t ms);

// 2026-11-22T04:27:04.125Z
struct TimeText {
    char text[32];

    explicit TimeText(int64_t wall_clock_ms);
};

} // namespace lterouter::tools
