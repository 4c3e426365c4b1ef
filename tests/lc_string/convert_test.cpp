// Case conversion in place, and lists of integers.

#include "lc_string.h"

#include <gtest/gtest.h>

#include <vector>

namespace convert_test {

namespace {

// What lc_get_int_arg finds in text; slots that it leaves alone are -77.
struct IntArgs {
    IntArgs(std::string text_to_split, char separator) : text(std::move(text_to_split))
    {
        result = lc_get_int_arg(text.data(), separator, &count, values);
    }
    std::vector<int> found() const { return {values, values + count}; }

    std::string text;
    int result = -77;
    int count = -77;
    int values[8] = {-77, -77, -77, -77, -77, -77, -77, -77};
};

} // namespace

TEST(CaseConversion, tolower_converts_in_place_up_to_the_terminator)
{
    char text[] = "AbZ@[`{19\0AZ";
    lc_str_tolower(text);
    EXPECT_EQ(std::string(text, sizeof(text)), std::string("abz@[`{19\0AZ", sizeof(text)));
}

TEST(CaseConversion, toupper_converts_in_place_up_to_the_terminator)
{
    char text[] = "aBz@[`{19\0az";
    lc_str_toupper(text);
    EXPECT_EQ(std::string(text, sizeof(text)), std::string("ABZ@[`{19\0az", sizeof(text)));
}

TEST(CaseConversion, bytes_above_7_bits_stay)
{
    char text[] = "\x80\xE4\xFF";
    lc_str_toupper(text);
    EXPECT_STREQ(text, "\x80\xE4\xFF");
    lc_str_tolower(text);
    EXPECT_STREQ(text, "\x80\xE4\xFF");
}

TEST(CaseConversion, null_is_ignored)
{
    // Reading through the pointer would end the process.
    EXPECT_NO_FATAL_FAILURE(lc_str_tolower(nullptr));
    EXPECT_NO_FATAL_FAILURE(lc_str_toupper(nullptr));
}

TEST(IntArgs, runs_of_separators_make_no_fields_and_text_counts_as_0)
{
    const IntArgs args("10,,20,x", ',');
    EXPECT_EQ(args.result, 0);
    EXPECT_EQ(args.count, 3);
    EXPECT_EQ(args.found(), (std::vector<int>{10, 20, 0}));
    EXPECT_EQ(args.values[3], -77);
}

TEST(IntArgs, empty_string_has_no_fields)
{
    const IntArgs args("", ',');
    EXPECT_EQ(args.result, 0);
    EXPECT_EQ(args.count, 0);
    EXPECT_EQ(args.values[0], -77);
}

TEST(IntArgs, separators_alone_have_no_fields)
{
    const IntArgs args(",,,", ',');
    EXPECT_EQ(args.result, 0);
    EXPECT_EQ(args.count, 0);
}

TEST(IntArgs, single_field_without_separator)
{
    EXPECT_EQ(IntArgs("42", ',').found(), std::vector<int>{42});
}

TEST(IntArgs, separators_at_both_ends_make_no_fields)
{
    EXPECT_EQ(IntArgs(":1:2:", ':').found(), (std::vector<int>{1, 2}));
}

TEST(IntArgs, fields_are_read_as_atoi_does)
{
    EXPECT_EQ(IntArgs(" 7;-5;+3;12ab;0x10; ", ';').found(), (std::vector<int>{7, -5, 3, 12, 0, 0}));
}

TEST(IntArgs, blank_as_separator)
{
    EXPECT_EQ(IntArgs("  1   2 ", ' ').found(), (std::vector<int>{1, 2}));
}

TEST(IntArgs, field_ends_at_its_separator_even_if_that_is_a_digit)
{
    EXPECT_EQ(IntArgs("20304", '0').found(), (std::vector<int>{2, 3, 4}));
}

TEST(IntArgs, every_separator_becomes_a_terminator)
{
    EXPECT_EQ(IntArgs(",1,,23,", ',').text, std::string("\0"
                                                        "1\0\0"
                                                        "23\0",
                                                        7));
}

} // namespace convert_test
