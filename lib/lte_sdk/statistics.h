// The steps of reading /proc/net/dev.
#pragma once

#include "lte_sdk.h"

namespace lterouter {

constexpr unsigned kIfNameSize = 16;

} // namespace lterouter

extern "C" {

// Layout of the file by its second header line: 2 the present one, 1 without compressed and multicast
// packets, 0 without bytes either.
unsigned procnetdev_version(const char *header);

// Interface name of a line, an alias's number included, and where the counters start. A name that does
// not fit, or is not ended by a colon, reads as empty.
const char *get_name(char (&name)[lterouter::kIfNameSize], const char *line);

// Counters that a layout lacks read as 0.
void get_dev_fields(const char *text, if_stats *stats, unsigned version);

// Seconds since the system started.
uint32_t get_uptime(void);
}
