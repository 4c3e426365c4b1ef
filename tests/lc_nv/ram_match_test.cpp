// Comparing a parameter with an expected value.
#include "support/ram_store.h"

namespace ram_match_test {

using namespace testing_support;

using RamMatch = RamStore;

TEST_F(RamMatch, equal_value_gives_0)
{
    put("a", stored("sim_ready"));
    EXPECT_EQ(nvram_match("a", "sim_ready"), 0U);
    put("a", stored(""));
    EXPECT_EQ(nvram_match("a", ""), 0U);
}

TEST_F(RamMatch, different_value_gives_6)
{
    put("a", stored("sim_ready"));
    for (const char *value : {"sim_read", "sim_ready ", "Sim_ready", ""}) {
        EXPECT_EQ(nvram_match("a", value), 6U) << value;
    }
}

TEST_F(RamMatch, missing_parameter_gives_5) { EXPECT_EQ(nvram_match("none", "v"), 5U); }

TEST_F(RamMatch, bad_name_or_empty_file_gives_5)
{
    put("empty", "");
    EXPECT_EQ(nvram_match("b d", "v"), 5U);
    EXPECT_EQ(nvram_match("", "v"), 5U);
    EXPECT_EQ(nvram_match("empty", ""), 5U);
}

TEST_F(RamMatch, null_argument_gives_4)
{
    put("a", stored("v"));
    EXPECT_EQ(nvram_match(nullptr, "v"), 4U);
    EXPECT_EQ(nvram_match("a", nullptr), 4U);
    EXPECT_EQ(nvram_match(nullptr, nullptr), 4U);
    EXPECT_EQ(nvram_match("none", nullptr), 4U);
}

TEST_F(RamMatch, value_of_2047_bytes_is_compared)
{
    const std::string value(2047, 'v');
    put("a", stored(value));
    EXPECT_EQ(nvram_match("a", value.c_str()), 0U);
    EXPECT_EQ(nvram_match("a", "other"), 6U);
}

TEST_F(RamMatch, longer_value_gives_5_and_not_6)
{
    const std::string value(2048, 'v');
    put("a", stored(value));
    EXPECT_EQ(nvram_match("a", value.c_str()), 5U);
    EXPECT_EQ(nvram_match("a", "other"), 5U);
}

} // namespace ram_match_test
