// Controls: from the control socket and from the script.
#pragma once

#include "modemsim/modem.h"

#include <cstdint>

namespace lterouter::tools {

// Each returns kDone, or the exit code after an error message.
int check_script(const Settings &settings);
int open_controls(Settings &settings, const Modem &modem);
void close_controls();

// To be polled.
int control_fd();
// When the next event of the script is due, on the monotonic clock; INT64_MAX when there is none.
int64_t next_event_ms();
// Carries out what is due, and one control that has come.
void serve_controls();

// Up to then nothing is answered.
int64_t hang_end_ms();

} // namespace lterouter::tools
