// The checksum of parameter files and upgrade images: the reflected CRC-32 without the usual inversion
// before and after, since files and images in the field carry it so.
//
// Several bytes at a time, one table lookup for each: the lookups do not wait for each other, as they
// would byte by byte.

#include "lc_nv.h"

namespace lterouter {
namespace {

// Bytes at a time. A router has no room for more than one table, and its serial port no use for it.
constexpr size_t kBlock = sizeof(uintptr_t) == 8 ? 8 : 1;

// entries[k][b]: what byte b does to the checksum when k more bytes of the block follow it.
struct CrcTables {
    uint32_t entries[kBlock][256];

    constexpr CrcTables() : entries()
    {
        for (uint32_t byte = 0; byte < 256; ++byte) {
            uint32_t crc = byte;
            for (int bit = 0; bit < 8; ++bit) {
                crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xEDB88320U : 0);
            }
            entries[0][byte] = crc;
        }
        for (size_t k = 1; k < kBlock; ++k) {
            for (uint32_t byte = 0; byte < 256; ++byte) {
                const uint32_t before = entries[k - 1][byte];
                entries[k][byte] = entries[0][before & 0xFF] ^ (before >> 8);
            }
        }
    }
};

constexpr CrcTables kTables;
static_assert(kTables.entries[0][1] == 0x77073096U);

// The first four bytes meet the checksum so far.
uint32_t update_block(uint32_t crc, const unsigned char *bytes)
{
    uint32_t result = kBlock < sizeof(crc) ? crc >> (8 * kBlock) : 0;
    for (size_t i = 0; i < kBlock; ++i) {
        const uint32_t met = i < sizeof(crc) ? crc >> (8 * i) : 0;
        result ^= kTables.entries[kBlock - 1 - i][(met ^ bytes[i]) & 0xFF];
    }
    return result;
}

} // namespace
} // namespace lterouter

using namespace lterouter;

uint32_t nv_crc32_update(uint32_t crc, const void *data, size_t length)
{
    const unsigned char *bytes = static_cast<const unsigned char *>(data);
    for (; length >= kBlock; length -= kBlock, bytes += kBlock) {
        crc = update_block(crc, bytes);
    }
    for (; length != 0; --length, ++bytes) {
        crc = kTables.entries[0][(crc ^ *bytes) & 0xFF] ^ (crc >> 8);
    }
    return crc;
}
