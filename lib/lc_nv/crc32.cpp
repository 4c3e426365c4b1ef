// The checksum of parameter files and upgrade images: the reflected CRC-32 without the usual inversion
// before and after, since files and images in the field carry it so.

#include "lc_nv.h"

namespace lterouter {
namespace {

struct CrcTable {
    uint32_t entries[256];

    constexpr CrcTable() : entries()
    {
        for (uint32_t byte = 0; byte < 256; ++byte) {
            uint32_t crc = byte;
            for (int bit = 0; bit < 8; ++bit) {
                crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xEDB88320U : 0);
            }
            entries[byte] = crc;
        }
    }
};

constexpr CrcTable kTable;
static_assert(kTable.entries[1] == 0x77073096U);

} // namespace
} // namespace lterouter

using namespace lterouter;

uint32_t nv_crc32_update(uint32_t crc, const void *data, size_t length)
{
    const unsigned char *bytes = static_cast<const unsigned char *>(data);
    for (size_t i = 0; i < length; ++i) {
        crc = kTable.entries[(crc ^ bytes[i]) & 0xFF] ^ (crc >> 8);
    }
    return crc;
}
