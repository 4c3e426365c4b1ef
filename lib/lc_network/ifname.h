// The kernel's record of an interface's name.
#pragma once

#include <cstring>
#include <net/if.h>

namespace lterouter {

// Copies a name into a zeroed record. False for one that is too long: cut, it could be another
// interface's.
inline bool copy_ifname(char (&record)[IFNAMSIZ], const char *name)
{
    const size_t length = strnlen(name, sizeof(record));
    if (length == sizeof(record)) {
        return false;
    }
    memcpy(record, name, length);
    return true;
}

} // namespace lterouter
