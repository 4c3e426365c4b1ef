// The steps of reading /proc/net/dev.
#pragma once

#include "lte_sdk.h"

namespace lterouter {

constexpr unsigned kIfNameSize = 16;
constexpr unsigned kNetDevLayouts = 3;

} // namespace lterouter

extern "C" {

// Layout of the file by its second header line: 2 the present one, 1 without compressed and multicast
// packets, 0 also without bytes.
unsigned procnetdev_version(const char *header);

// Stores the interface name of a line, including an alias's number, and returns where the counters
// start. The name becomes empty when it does not fit or no colon ends it.
const char *get_name(char (&name)[lterouter::kIfNameSize], const char *line);

// Counters that a layout lacks read as 0.
void get_dev_fields(const char *text, if_stats *stats, unsigned version);

// Seconds since the system started.
uint32_t get_uptime(void);
}
