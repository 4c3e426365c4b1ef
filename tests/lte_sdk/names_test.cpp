// Names of the WAN manager's enumerations, compared letter by letter: others compare them too.
#include "support/names.h"

#include <gtest/gtest.h>

#include <ostream>

static void PrintTo(const enumeration &row, std::ostream *out) { *out << row.function; }

namespace names_test {

namespace {

class Names : public testing::TestWithParam<enumeration> {};

} // namespace

INSTANTIATE_TEST_SUITE_P(Of, Names, testing::ValuesIn(enumerations));

TEST_P(Names, are_those_of_the_values_and_one_of_all_others)
{
    const enumeration &row = GetParam();
    for (uint32_t value = 0; value < 300; ++value) {
        EXPECT_STREQ(row.name_of(value), expected_name(&row, value)) << value;
    }
    // No bit of a value is dropped.
    for (uint32_t bit = 5; bit < 32; ++bit) {
        for (uint32_t value = 0; value < 32; ++value) {
            EXPECT_STREQ(row.name_of((1U << bit) | value), row.otherwise) << bit << ' ' << value;
        }
    }
    EXPECT_STREQ(row.name_of(0xFFFFFFFF), row.otherwise);
}

TEST(NamesOf, constants_of_the_header)
{
    EXPECT_STREQ(get_link_str(LCT_LINK_CONNECTED), "CONN_CONNECTED");
    EXPECT_STREQ(get_link_str(LCT_LINK_CLEAR), "WM_LINK_STA_CLEAR");
    EXPECT_STREQ(get_iface_type_str(LCT_IFACE_TYPE_WCDMA), "WM_WCDMA");
}

} // namespace names_test
