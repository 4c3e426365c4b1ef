// The source position of a message: a family's number and a line in 16 bits, which the router's code
// loads by one instruction.
#pragma once

#include <cstdint>

namespace lterouter {

constexpr unsigned kLineBits = 12; // no source file has more lines
constexpr uint32_t kLineMask = (1U << kLineBits) - 1;

constexpr uint32_t place(unsigned family, unsigned line)
{
    return family << kLineBits | (line & kLineMask);
}

constexpr unsigned family_of(uint32_t place) { return place >> kLineBits; }

constexpr unsigned line_of(uint32_t place) { return place & kLineMask; }

} // namespace lterouter
