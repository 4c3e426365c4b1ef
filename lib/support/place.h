// Where in the library a message comes from: a family's number and a line in half a word, which the
// router's code passes by one instruction.
#pragma once

#include <cstdint>

namespace lterouter {

constexpr unsigned kLineBits = 12; // no source has as many lines
constexpr uint32_t kLineMask = (1U << kLineBits) - 1;

constexpr uint32_t place(unsigned family, unsigned line)
{
    return family << kLineBits | (line & kLineMask);
}

constexpr unsigned family_of(uint32_t place) { return place >> kLineBits; }

constexpr unsigned line_of(uint32_t place) { return place & kLineMask; }

} // namespace lterouter
