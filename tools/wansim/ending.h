// The waits of the threads, and what interrupts them: the announced end of the process, a hang,
// controls.
#pragma once

#include <cstdint>

namespace lterouter::tools {

// From the main thread: ends all waits.
void announce_end();
// From the main thread: the worker is to serve the controls.
void announce_controls();

// For the worker: sleeps that many milliseconds, and until the end of a hang, serving controls; false
// as soon as the end is announced.
bool wait_unless_ending(uint32_t ms);

// Whether controls were announced since the last call.
bool take_announced_controls();

// From now on nothing is answered for that long.
void hang(uint32_t ms);
uint32_t hang_left_ms();
// For the receive thread.
void await_end_of_hang();

} // namespace lterouter::tools
