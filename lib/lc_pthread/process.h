// Processes found by name.
#pragma once

#include <sys/types.h>

// Fills *pids with a new array (free) of the processes whose command name is name, in the order of
// /proc. Returns how many, or -1 when out of memory (*pids is null then).
extern "C" int pids_by_name(const char *name, pid_t **pids);
