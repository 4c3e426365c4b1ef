// The server: connections, their limits in number and time, and the loop that everything runs in.
#pragma once

#include "lteweb/settings.h"

#include <csignal>

namespace lterouter::tools {

// Serves until one of the signals, which are blocked, asks for the end. Returns the exit code.
int serve(const Settings &settings, const sigset_t &signals);

} // namespace lterouter::tools
