// The checksum line, independent of the lines behind it.
#include "lc_nv/parameter_file.h"

#include "support/text_file.h"

#include <gtest/gtest.h>

#include <string>

namespace checksum_line_test {

using namespace testing_support;

namespace {

bool matches(const std::string &content)
{
    write_text("/tmp/parameters", content);
    return lterouter::NvParameterFile("/tmp/parameters").checksum_matches();
}

} // namespace

TEST(ChecksumLine, of_nine_digits_matches_them_alone)
{
    EXPECT_TRUE(matches("2DFD2D88\n123456789"));
    EXPECT_TRUE(matches("2dfd2d88\n123456789"));
    EXPECT_FALSE(matches("2DFD2D88\n123456788"));
    EXPECT_FALSE(matches("2DFD2D88\n123456789\n"));
    EXPECT_FALSE(matches("2DFD2D88\n12345678"));
    EXPECT_FALSE(matches("2DFD2D88\n"));
    EXPECT_FALSE(matches("2DFD2D89\n123456789"));
    EXPECT_FALSE(matches("CBF43926\n123456789"));
}

} // namespace checksum_line_test
