// The checksum of parameter files and upgrade images.
#include "lc_nv.h"

#include <gtest/gtest.h>

#include <string>

namespace checksum_test {

namespace {

uint32_t checksum(const std::string &bytes) { return nv_crc32_update(0, bytes.data(), bytes.size()); }

// The same register moved by one bit at a time, with no table.
uint32_t bit_by_bit(uint32_t crc, const std::string &bytes)
{
    for (const char byte : bytes) {
        crc ^= static_cast<uint8_t>(byte);
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1) != 0 ? (crc >> 1) ^ 0xEDB88320U : crc >> 1;
        }
    }
    return crc;
}

} // namespace

TEST(Checksum, of_nothing_leaves_the_register_as_it_is)
{
    EXPECT_EQ(checksum(""), 0U);
    EXPECT_EQ(nv_crc32_update(0x12345678, "", 0), 0x12345678U);
    EXPECT_EQ(nv_crc32_update(0x12345678, nullptr, 0), 0x12345678U);
}

TEST(Checksum, of_known_bytes_is_not_inverted)
{
    EXPECT_EQ(checksum("123456789"), 0x2DFD2D88U);
    EXPECT_EQ(checksum(std::string(1, '\1')), 0x77073096U);
    EXPECT_EQ(checksum(std::string(1, '\xff')), 0x2D02EF8DU);
    EXPECT_EQ(checksum(std::string(100, '\0')), 0U);
}

TEST(Checksum, common_form_is_had_by_inverting_before_and_after)
{
    EXPECT_EQ(~nv_crc32_update(0xFFFFFFFF, "123456789", 9), 0xCBF43926U);
}

TEST(Checksum, every_byte_moves_the_register_by_its_bits)
{
    for (int byte = 0; byte < 256; ++byte) {
        const std::string text(1, static_cast<char>(byte));
        EXPECT_EQ(checksum(text), bit_by_bit(0, text)) << byte;
        EXPECT_EQ(nv_crc32_update(0xFFFFFFFF, text.data(), 1), bit_by_bit(0xFFFFFFFF, text)) << byte;
    }
}

TEST(Checksum, may_be_run_in_pieces_and_from_any_address)
{
    const std::string bytes = "the quick brown fox jumps over the lazy dog";
    const uint32_t whole = checksum(bytes);
    EXPECT_EQ(whole, bit_by_bit(0, bytes));
    for (size_t first = 0; first <= bytes.size(); ++first) {
        const uint32_t crc = nv_crc32_update(0, bytes.data(), first);
        EXPECT_EQ(nv_crc32_update(crc, bytes.data() + first, bytes.size() - first), whole) << first;
    }
}

TEST(Checksum, of_any_length)
{
    std::string bytes;
    for (uint32_t i = 0; i < 400; ++i) {
        bytes += static_cast<char>(i * i * 7 + i / 3);
    }
    for (size_t start = 0; start < sizeof(uintptr_t); ++start) {
        for (size_t length = 0; start + length <= bytes.size(); ++length) {
            const std::string part = bytes.substr(start, length);
            ASSERT_EQ(nv_crc32_update(0x12345678, bytes.data() + start, length),
                      bit_by_bit(0x12345678, part))
                << length << " bytes from " << start;
        }
    }
}

} // namespace checksum_test
