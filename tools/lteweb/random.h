// Secrets that nobody can guess.
#pragma once

#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

#include "support/fd.h"

namespace lterouter::tools {

// False when the system gives none.
inline bool fill_random(uint8_t *bytes, size_t size)
{
    const Fd fd(open("/dev/urandom", O_RDONLY | O_CLOEXEC));
    return fd && read(fd.get(), bytes, size) == static_cast<ssize_t>(size);
}

// Takes as long for any two texts of the same length.
inline bool equal_in_constant_time(std::string_view a, std::string_view b)
{
    if (a.size() != b.size()) {
        return false;
    }
    volatile unsigned char differing = 0;
    for (size_t i = 0; i < a.size(); ++i) {
        differing = static_cast<unsigned char>(
            differing | (static_cast<unsigned char>(a[i]) ^ static_cast<unsigned char>(b[i])));
    }
    return differing == 0;
}

} // namespace lterouter::tools
