// The modem's serial ports.
#pragma once

#include "lc_up.h"
#include "lct_trace/trace.h"

#include <unistd.h>

namespace lterouter {

constexpr TraceFamily kTraceFamily = kTraceUp;

// Opens a port to read and write, not as the controlling terminal. Returns a descriptor or -1.
int open_port(const char *path);

// Makes a port raw at 115200 baud and discards what it holds.
void configure_port(int fd);

// Closes a port, but never descriptor 0, which counts as none even when a host without standard input
// gets it from open.
inline void close_port(int fd)
{
    if (fd != 0) {
        close(fd);
    }
}

} // namespace lterouter
