// Converts between the machine's byte order and that of the network or of the modem; the same operation
// in both directions. Not libc's functions, since those of a small libc are calls and not inline.
#pragma once

#include <bit>
#include <cstdint>

namespace lterouter {

constexpr bool kBigEndian = std::endian::native == std::endian::big;

constexpr uint16_t network16(uint16_t value) { return kBigEndian ? value : __builtin_bswap16(value); }

constexpr uint32_t network32(uint32_t value) { return kBigEndian ? value : __builtin_bswap32(value); }

constexpr uint32_t little32(uint32_t value) { return kBigEndian ? __builtin_bswap32(value) : value; }

} // namespace lterouter
