// The requests of clients, and the thread that serves them.
#pragma once

#include "wansim/settings.h"

namespace lterouter::tools {

// Serves message after message until kMsgEnd. settings: const Settings *.
void *serve(void *settings);

} // namespace lterouter::tools
