// The checksum line of a parameter file, as text in memory.
#pragma once

#include "lc_nv.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace fuzzing {

inline uint32_t checksum_of(std::string_view lines)
{
    return nv_crc32_update(0, lines.data(), lines.size());
}

inline std::string with_checksum(std::string_view lines)
{
    char text[NV_CHECKSUM_SIZE + 1];
    snprintf(text, sizeof(text), "%08X\n", static_cast<unsigned>(checksum_of(lines)));
    return text + std::string(lines);
}

// Whether the file begins with the checksum of the rest, written in any of the ways that strtoul takes.
inline bool checksum_matches(std::string_view file)
{
    const std::string header(file.substr(0, NV_CHECKSUM_SIZE));
    if (header.size() < NV_CHECKSUM_SIZE || header.back() != '\n') {
        return false;
    }
    char *end;
    const unsigned long number = strtoul(header.c_str(), &end, 16);
    return end == header.c_str() + NV_CHECKSUM_SIZE - 1 &&
           static_cast<uint32_t>(number) == checksum_of(file.substr(NV_CHECKSUM_SIZE));
}

} // namespace fuzzing
