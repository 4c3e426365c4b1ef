// The checksum of parameter files and upgrade images: the reflected CRC-32 without the usual inversion
// before and after, since files and images in the field carry it so.
//
// A machine word at a time, one table lookup for each of its bytes: the lookups do not wait for each
// other, as they would byte by byte.

#include "lc_nv.h"

#include <cstring>
#include <endian.h>

namespace lterouter {
namespace {

using Word = uintptr_t;
constexpr size_t kWord = sizeof(Word);

// entries[k][b]: what byte b does to the checksum when k more bytes follow it.
struct CrcTables {
    uint32_t entries[kWord][256];

    constexpr CrcTables() : entries()
    {
        for (uint32_t byte = 0; byte < 256; ++byte) {
            uint32_t crc = byte;
            for (int bit = 0; bit < 8; ++bit) {
                crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xEDB88320U : 0);
            }
            entries[0][byte] = crc;
        }
        for (size_t k = 1; k < kWord; ++k) {
            for (uint32_t byte = 0; byte < 256; ++byte) {
                const uint32_t before = entries[k - 1][byte];
                entries[k][byte] = entries[0][before & 0xFF] ^ (before >> 8);
            }
        }
    }
};

constexpr CrcTables kTables;
static_assert(kTables.entries[0][1] == 0x77073096U);

Word load_little_endian(const unsigned char *bytes)
{
    Word word;
    memcpy(&word, bytes, kWord);
    if constexpr (kWord == 8) {
        return static_cast<Word>(le64toh(word));
    } else {
        return static_cast<Word>(le32toh(static_cast<uint32_t>(word)));
    }
}

uint32_t update_word(uint32_t crc, const unsigned char *bytes)
{
    const Word word = load_little_endian(bytes) ^ crc;
    uint32_t result = 0;
    for (size_t i = 0; i < kWord; ++i) {
        result ^= kTables.entries[kWord - 1 - i][(word >> (8 * i)) & 0xFF];
    }
    return result;
}

} // namespace
} // namespace lterouter

using namespace lterouter;

uint32_t nv_crc32_update(uint32_t crc, const void *data, size_t length)
{
    const unsigned char *bytes = static_cast<const unsigned char *>(data);
    for (; length >= kWord; length -= kWord, bytes += kWord) {
        crc = update_word(crc, bytes);
    }
    for (; length != 0; --length, ++bytes) {
        crc = kTables.entries[0][(crc ^ *bytes) & 0xFF] ^ (crc >> 8);
    }
    return crc;
}
