// The functions behind the table of commands, group by group, and their options.
#pragma once

#include "common/command.h"

namespace lterouter::tools {

// link.cpp
extern const Option kWaitOptions[];
int connect_link(char *const *operands);
int disconnect_link(char *const *operands);

// monitor.cpp
extern const Option kMonitorOptions[];
int monitor(char *const *operands);

// roam.cpp
int roam(char *const *operands);

// ram.cpp
int ram_get(char *const *operands);
int ram_set(char *const *operands);
int ram_list(char *const *operands);
int ram_clear(char *const *operands);

} // namespace lterouter::tools
