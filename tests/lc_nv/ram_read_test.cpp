// Reading a parameter.
#include "support/ram_store.h"

#include <sys/stat.h>

namespace ram_read_test {

using namespace testing_support;

namespace {

constexpr uint32_t kSize = 5000;

ReadResult read_into(uint32_t size, const char *name)
{
    return read_with(
        size, [&](char *buffer, uint32_t capacity) { return nvmram_readnv(name, buffer, capacity); });
}

} // namespace

using RamRead = RamStore;

TEST_F(RamRead, gives_the_stored_value)
{
    put("a", stored("value"));
    EXPECT_EQ(read_into(kSize, "a"), found("value"));
}

TEST_F(RamRead, buffer_must_hold_the_value_with_its_terminator)
{
    put("a", stored("ab"));
    EXPECT_EQ(read_into(2, "a"), refused(2));
    EXPECT_EQ(read_into(3, "a"), found("ab"));
}

TEST_F(RamRead, no_room_at_all_gives_2)
{
    put("a", stored(""));
    EXPECT_EQ(read_into(0, "a"), refused(2));
}

TEST_F(RamRead, empty_value_is_a_value)
{
    put("a", stored(""));
    EXPECT_EQ(read_into(1, "a").code, 0U);
    EXPECT_EQ(read_into(1, "a").text, "");
}

TEST_F(RamRead, missing_parameter_gives_1) { EXPECT_EQ(read_into(kSize, "none"), refused(1)); }

TEST_F(RamRead, empty_file_gives_1)
{
    put("a", "");
    EXPECT_EQ(read_into(kSize, "a"), refused(1));
}

TEST_F(RamRead, what_opens_but_cannot_be_read_gives_1)
{
    mkdir("/tmp/nv/folder", 0755);
    EXPECT_EQ(read_into(kSize, "folder"), refused(1));
}

TEST_F(RamRead, empty_name_gives_1) { EXPECT_EQ(read_into(kSize, ""), refused(1)); }

TEST(RamReadNoStore, gives_1) { EXPECT_EQ(read_into(kSize, "a"), refused(1)); }

TEST_F(RamRead, null_name_or_buffer_gives_2)
{
    put("a", stored("value"));
    char buffer[8];
    EXPECT_EQ(nvmram_readnv(nullptr, buffer, sizeof(buffer)), 2U);
    EXPECT_EQ(nvmram_readnv("a", nullptr, 8), 2U);
}

TEST_F(RamRead, null_buffer_is_noticed_before_a_bad_name)
{
    EXPECT_EQ(nvmram_readnv("b d", nullptr, 8), 2U);
    EXPECT_EQ(nvmram_readnv(nullptr, nullptr, 8), 2U);
}

TEST_F(RamRead, file_written_by_other_means_loses_its_last_byte)
{
    put("a", "hello\n");
    EXPECT_EQ(read_into(6, "a").text, "hello");
    put("a", "x");
    EXPECT_EQ(read_into(1, "a").text, "");
}

TEST_F(RamRead, value_ends_at_a_terminator_inside_the_file)
{
    put("a", std::string("ab\0cd\0", 6));
    EXPECT_EQ(read_into(6, "a").text, "ab");
    // What counts for the room is the file.
    EXPECT_EQ(read_into(5, "a"), refused(2));
}

TEST_F(RamRead, value_of_4095_bytes_is_read_whole)
{
    const std::string value(4095, 'v');
    put("a", stored(value));
    EXPECT_EQ(read_into(4096, "a").text, value);
    EXPECT_EQ(read_into(4095, "a"), refused(2));
}

TEST_F(RamRead, longer_value_is_cut_to_its_first_4095_bytes)
{
    for (const size_t length : {4096U, 4097U, 9000U}) {
        std::string value(length, 'v');
        value.replace(4093, 3, "abc");
        put("a", stored(value));
        EXPECT_EQ(read_into(4096, "a").text, value.substr(0, 4095)) << length;
        EXPECT_EQ(read_into(kSize, "a").text, value.substr(0, 4095)) << length;
        EXPECT_EQ(read_into(4095, "a"), refused(2));
    }
}

TEST_F(RamRead, name_of_127_bytes_is_read_and_of_128_gives_1)
{
    const std::string longest(127, 'n');
    put(longest, stored("v"));
    put(longest + "n", stored("v"));
    EXPECT_EQ(read_into(kSize, longest.c_str()).code, 0U);
    EXPECT_EQ(read_into(kSize, (longest + "n").c_str()), refused(1));
}

TEST_F(RamRead, name_of_other_characters_gives_1)
{
    put("b d", stored("v"));
    put("b+d", stored("v"));
    write_text("/tmp/outside", stored("v"));
    for (const char *name : {"b d", "b+d", "../outside", "/tmp/outside", "a\n", "\xc3\xa4"}) {
        EXPECT_EQ(read_into(kSize, name), refused(1));
    }
}

TEST_F(RamRead, every_allowed_character_is_accepted)
{
    const char name[] = "-_.0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
    put(name, stored("v"));
    EXPECT_EQ(read_into(kSize, name).text, "v");
}

TEST_F(RamRead, leaves_no_descriptor_open)
{
    put("a", stored("value"));
    put("empty", "");
    const int before = count_descriptors();
    read_into(kSize, "a");
    read_into(2, "a");
    read_into(kSize, "empty");
    read_into(kSize, "none");
    EXPECT_EQ(count_descriptors(), before);
}

} // namespace ram_read_test
