// The end of the process, for a worker that waits for something else.
#pragma once

#include <cstdint>

namespace lterouter::tools {

// From the main thread: nobody waits any longer.
void announce_end();

// Lets that many milliseconds pass; false as soon as the end is announced.
bool wait_unless_ending(uint32_t ms);

} // namespace lterouter::tools
