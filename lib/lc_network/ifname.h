// The kernel's record of an interface's name.
#pragma once

#include <cstring>
#include <net/if.h>

namespace lterouter {

// Copies a name into a zeroed record, at most the 15 characters that the kernel uses.
inline void copy_ifname(char (&record)[IFNAMSIZ], const char *name)
{
    memcpy(record, name, strnlen(name, sizeof(record) - 1));
}

} // namespace lterouter
