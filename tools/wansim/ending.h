// The announced end of the process, which ends a worker's waits.
#pragma once

#include <cstdint>

namespace lterouter::tools {

// From the main thread: ends all waits.
void announce_end();

// Sleeps that many milliseconds; false as soon as the end is announced.
bool wait_unless_ending(uint32_t ms);

} // namespace lterouter::tools
