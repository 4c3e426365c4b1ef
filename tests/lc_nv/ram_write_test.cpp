// Writing a parameter: what the file holds afterwards, and what is refused.
#include "support/ram_store.h"

#include <cctype>
#include <sys/stat.h>

namespace ram_write_test {

using namespace testing_support;

using RamWrite = RamStore;

TEST_F(RamWrite, leaves_the_value_and_one_terminator)
{
    EXPECT_EQ(nvmram_writenv("a", "xyz", 4), 0U);
    EXPECT_EQ(content("a"), std::string("xyz\0", 4));
}

TEST_F(RamWrite, size_must_cover_the_terminator)
{
    EXPECT_EQ(nvmram_writenv("a", "xyz", 3), 4U);
    EXPECT_EQ(files(), std::set<std::string>());
    EXPECT_EQ(nvmram_writenv("a", "", 0), 4U);
    EXPECT_EQ(nvmram_writenv("a", "", 1), 0U);
    EXPECT_EQ(content("a"), stored(""));
}

TEST_F(RamWrite, refused_value_leaves_the_old_one)
{
    ASSERT_EQ(nvmram_writenv("a", "old", 4), 0U);
    EXPECT_EQ(nvmram_writenv("a", "longer", 4), 4U);
    EXPECT_EQ(content("a"), stored("old"));
}

TEST_F(RamWrite, shorter_value_cuts_the_file)
{
    ASSERT_EQ(nvmram_writenv("a", "abcdef", 7), 0U);
    ASSERT_EQ(nvmram_writenv("a", "ab", 7), 0U);
    EXPECT_EQ(content("a"), stored("ab"));
    char buffer[3] = "#";
    EXPECT_EQ(nvmram_readnv("a", buffer, 2), 2U);
    EXPECT_EQ(nvmram_readnv("a", buffer, 3), 0U);
    EXPECT_STREQ(buffer, "ab");
}

TEST_F(RamWrite, longer_value_extends_the_file)
{
    ASSERT_EQ(nvmram_writenv("a", "ab", 3), 0U);
    ASSERT_EQ(nvmram_writenv("a", "abcdef", 7), 0U);
    EXPECT_EQ(content("a"), stored("abcdef"));
}

TEST_F(RamWrite, keeps_every_byte_of_the_value)
{
    std::string value;
    for (int byte = 1; byte < 256; ++byte) {
        value += static_cast<char>(byte);
    }
    EXPECT_EQ(nvmram_writenv("a", value.c_str(), 256), 0U);
    EXPECT_EQ(content("a"), stored(value));
}

TEST_F(RamWrite, stores_more_than_can_be_read)
{
    const std::string value(9000, 'v');
    EXPECT_EQ(nvmram_writenv("a", value.c_str(), 9001), 0U);
    EXPECT_EQ(content("a"), stored(value));
}

TEST_F(RamWrite, null_name_gives_2_before_any_other_check)
{
    EXPECT_EQ(nvmram_writenv(nullptr, nullptr, 0), 2U);
    EXPECT_EQ(nvmram_writenv(nullptr, "value", 2), 2U);
}

TEST_F(RamWrite, bad_value_gives_4_before_the_name_is_looked_at)
{
    EXPECT_EQ(nvmram_writenv("b d", nullptr, 9), 4U);
    EXPECT_EQ(nvmram_writenv(std::string(128, 'n').c_str(), "value", 5), 4U);
    EXPECT_EQ(nvmram_writenv("a", nullptr, 9), 4U);
}

TEST_F(RamWrite, name_of_127_bytes_is_stored_and_of_128_gives_1)
{
    const std::string longest(127, 'n');
    EXPECT_EQ(nvmram_writenv(longest.c_str(), "v", 2), 0U);
    EXPECT_EQ(nvmram_writenv((longest + "n").c_str(), "v", 2), 1U);
    EXPECT_EQ(nvmram_writenv(std::string(100000, 'n').c_str(), "v", 2), 1U);
    EXPECT_EQ(files(), std::set<std::string>{longest});
}

TEST_F(RamWrite, name_of_other_characters_gives_1_and_stores_nothing)
{
    for (int byte = 1; byte < 256; ++byte) {
        const char name[] = {'n', static_cast<char>(byte), '\0'};
        const bool allowed =
            byte < 128 && (isalnum(byte) != 0 || byte == '-' || byte == '_' || byte == '.');
        EXPECT_EQ(nvmram_writenv(name, "v", 2), allowed ? 0U : 1U) << byte;
        EXPECT_EQ(files().contains(name), allowed) << byte;
    }
    EXPECT_EQ(nvmram_writenv("../outside", "v", 2), 1U);
    EXPECT_EQ(read_text("/tmp/outside"), "");
}

TEST_F(RamWrite, empty_name_gives_0_and_stores_nothing)
{
    EXPECT_EQ(nvmram_writenv("", "v", 2), 0U);
    EXPECT_EQ(files(), std::set<std::string>());
}

TEST_F(RamWrite, failed_creation_gives_0)
{
    mkdir("/tmp/nv/folder", 0755);
    EXPECT_EQ(nvmram_writenv("folder", "v", 2), 0U);
    EXPECT_EQ(files(), std::set<std::string>{"folder"});
}

TEST(RamWriteNoStore, gives_5)
{
    EXPECT_EQ(nvmram_writenv("a", "v", 2), 5U);
    // The checks come first.
    EXPECT_EQ(nvmram_writenv("b d", "v", 2), 1U);
}

TEST_F(RamWrite, created_file_has_mode_0666_whatever_the_mask_was)
{
    umask(077);
    EXPECT_EQ(nvmram_writenv("a", "v", 2), 0U);
    EXPECT_EQ(mode_of(file_of("a")), 0666U);
}

TEST_F(RamWrite, existing_file_keeps_its_mode)
{
    put("a", stored("old"));
    chmod(file_of("a").c_str(), 0640);
    EXPECT_EQ(nvmram_writenv("a", "v", 2), 0U);
    EXPECT_EQ(mode_of(file_of("a")), 0640U);
    EXPECT_EQ(content("a"), stored("v"));
}

TEST_F(RamWrite, file_creation_mask_is_0_afterwards_even_when_refused)
{
    for (const char *name : {static_cast<const char *>(nullptr), "b d", "good"}) {
        umask(077);
        nvmram_writenv(name, "v", 2);
        EXPECT_EQ(current_umask(), 0U);
    }
}

TEST_F(RamWrite, reading_leaves_the_file_creation_mask_alone)
{
    put("a", stored("v"));
    umask(027);
    char buffer[8];
    EXPECT_EQ(nvmram_readnv("a", buffer, sizeof(buffer)), 0U);
    EXPECT_EQ(nvram_match("a", "v"), 0U);
    EXPECT_EQ(current_umask(), 027U);
}

TEST_F(RamWrite, leaves_no_descriptor_open)
{
    mkdir("/tmp/nv/folder", 0755);
    const int before = count_descriptors();
    nvmram_writenv("a", "created", 8);
    nvmram_writenv("a", "changed", 8);
    nvmram_writenv("folder", "v", 2);
    nvmram_writenv("b d", "v", 2);
    EXPECT_EQ(count_descriptors(), before);
}

} // namespace ram_write_test
