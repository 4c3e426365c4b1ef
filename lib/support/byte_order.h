// A number in the byte order of the network or of the modem, and one of theirs in the machine's own:
// the same either way. Of the libc's functions for it a small one's are calls.
#pragma once

#include <bit>
#include <cstdint>

namespace lterouter {

constexpr bool kBigEndian = std::endian::native == std::endian::big;

constexpr uint16_t network16(uint16_t value) { return kBigEndian ? value : __builtin_bswap16(value); }

constexpr uint32_t network32(uint32_t value) { return kBigEndian ? value : __builtin_bswap32(value); }

constexpr uint32_t little32(uint32_t value) { return kBigEndian ? __builtin_bswap32(value) : value; }

} // namespace lterouter
