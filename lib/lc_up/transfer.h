// The data port of the process's upgrade.
#pragma once

namespace lterouter {

// Below 1 the port is not open.
extern int g_tty_fd;

} // namespace lterouter
