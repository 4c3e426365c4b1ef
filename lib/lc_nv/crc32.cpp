// The checksum of parameter files and upgrade images: the reflected CRC-32 without the usual inversion
// before and after, since files and images in the field carry it so.
//
// Byte by byte, each look-up depends on the one before. Where memory is plentiful a whole word is
// looked up at once, with a table for each of its bytes, and long data is taken as several columns in
// parallel: each column has a checksum of its own, and the last row combines them.

#include "lc_nv.h"

#include <array>
#include <cstring>
#include <endian.h>

namespace lterouter {
namespace {

// A router has no memory for more than one table, and its serial port is slower than that anyway.
constexpr bool kSideBySide = sizeof(uintptr_t) == 8;

using Word = uint64_t;
constexpr size_t kColumns = 5;
constexpr size_t kRow = kColumns * sizeof(Word);

using Table = std::array<uint32_t, 256>;
using Tables = std::array<Table, sizeof(Word)>; // for the bytes of a word, first to last

// Effect of a byte on the checksum.
constexpr Table make_table()
{
    Table table = {};
    for (uint32_t byte = 0; byte < 256; ++byte) {
        uint32_t crc = byte;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xEDB88320U : 0);
        }
        table[byte] = crc;
    }
    return table;
}

constexpr Table kByte = make_table();
static_assert(kByte[1] == 0x77073096U);

// The checksum with one more byte.
constexpr uint32_t step(uint32_t crc, uint8_t byte) { return kByte[(crc ^ byte) & 0xFF] ^ (crc >> 8); }

// Effect of each byte of a word on the checksum, so many bytes after the start of the word.
constexpr Tables make_tables(size_t bytes)
{
    Tables tables = {};
    Table table = kByte;
    for (size_t after = 1; after <= bytes; ++after) {
        if (bytes - after < sizeof(Word)) {
            tables[bytes - after] = table;
        }
        for (uint32_t &crc : table) {
            crc = step(crc, 0);
        }
    }
    return tables;
}

constexpr Tables kWordTables = make_tables(sizeof(Word));
constexpr Tables kRowTables = make_tables(kRow);

// Its lowest byte is the first.
Word load(const unsigned char *bytes)
{
    Word word;
    memcpy(&word, bytes, sizeof(word));
    return le64toh(word);
}

uint32_t look_up(const Tables &tables, Word word)
{
    uint32_t crc = 0;
#pragma GCC unroll 8
    for (size_t i = 0; i < sizeof(word); ++i) {
        crc ^= tables[i][(word >> (8 * i)) & 0xFF];
    }
    return crc;
}

struct Rest {
    const unsigned char *bytes;
    size_t length;

    const unsigned char *take(size_t count)
    {
        length -= count;
        bytes += count;
        return bytes - count;
    }
};

using Row = std::array<Word, kColumns>;

Row load_row(const unsigned char *bytes)
{
    Row row;
#pragma GCC unroll 8
    for (size_t i = 0; i < kColumns; ++i) {
        row[i] = load(bytes + i * sizeof(Word));
    }
    return row;
}

// The same byte of all words, then the next: the look-ups of a row are independent.
void update_columns(std::array<uint32_t, kColumns> &columns, Row row)
{
#pragma GCC unroll 8
    for (size_t i = 0; i < kColumns; ++i) {
        row[i] ^= columns[i];
        columns[i] = 0;
    }
#pragma GCC unroll 8
    for (size_t k = 0; k < sizeof(Word); ++k) {
#pragma GCC unroll 8
        for (size_t i = 0; i < kColumns; ++i) {
            columns[i] ^= kRowTables[k][(row[i] >> (8 * k)) & 0xFF];
        }
    }
}

// The rest is two rows at least.
uint32_t update_rows(uint32_t crc, Rest &rest)
{
    std::array<uint32_t, kColumns> columns = {crc};
    while (rest.length >= 2 * kRow) {
        update_columns(columns, load_row(rest.take(kRow)));
    }
    crc = 0;
    for (const uint32_t column : columns) {
        crc = look_up(kWordTables, load(rest.take(sizeof(Word))) ^ column ^ crc);
    }
    return crc;
}

} // namespace
} // namespace lterouter

using namespace lterouter;

uint32_t nv_crc32_update(uint32_t crc, const void *data, size_t length)
{
    Rest rest = {static_cast<const unsigned char *>(data), length};
    if (kSideBySide) {
        if (rest.length >= 2 * kRow) {
            crc = update_rows(crc, rest);
        }
        while (rest.length >= sizeof(Word)) {
            crc = look_up(kWordTables, load(rest.take(sizeof(Word))) ^ crc);
        }
    }
    while (rest.length != 0) {
        crc = step(crc, *rest.take(1));
    }
    return crc;
}
