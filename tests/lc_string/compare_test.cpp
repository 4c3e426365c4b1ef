// The library's own compares.

#include "lc_string.h"

#include <gtest/gtest.h>

#include <climits>

namespace compare_test {

namespace {

// Upper case by position in the alphabet, so as not to lean on the ctype table that the code may use.
int folded(int ch)
{
    static const std::string kLower = "abcdefghijklmnopqrstuvwxyz";
    static const std::string kUpper = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    const size_t place = kLower.find(static_cast<char>(ch));
    return place == std::string::npos ? ch : kUpper[place];
}

int expected_order(int a, int b)
{
    const int difference = folded(a) - folded(b);
    return (difference > 0) - (difference < 0);
}

std::string one_character(int ch) { return std::string(1, static_cast<char>(ch)); }

} // namespace

TEST(CaseCompare, ignores_case)
{
    EXPECT_EQ(lc_strcasecmp("Hello", "hELLO"), 0);
    EXPECT_EQ(lc_strcasecmp("", ""), 0);
}

TEST(CaseCompare, shorter_string_comes_first)
{
    EXPECT_EQ(lc_strcasecmp("abc", "abcd"), -1);
    EXPECT_EQ(lc_strcasecmp("abcd", "abc"), 1);
    EXPECT_EQ(lc_strcasecmp("", "a"), -1);
    EXPECT_EQ(lc_strcasecmp("a", ""), 1);
}

TEST(CaseCompare, first_difference_decides)
{
    EXPECT_EQ(lc_strcasecmp("abc", "ABD"), -1);
    EXPECT_EQ(lc_strcasecmp("ABD", "abc"), 1);
    EXPECT_EQ(lc_strcasecmp("b", "aaaa"), 1);
}

TEST(CaseCompare, letters_count_as_upper_case_beside_signs_between_the_two_alphabets)
{
    EXPECT_EQ(lc_strcasecmp("_", "a"), 1);
    EXPECT_EQ(lc_strcasecmp("z", "["), -1);
    EXPECT_EQ(lc_strcasecmp("`", "A"), 1);
}

TEST(CaseCompare, every_pair_of_7_bit_characters_is_ordered_by_upper_case)
{
    for (int a = 1; a < 0x80; ++a) {
        for (int b = 1; b < 0x80; ++b) {
            const std::string left = one_character(a);
            const std::string right = one_character(b);
            ASSERT_EQ(lc_strcasecmp(left.c_str(), right.c_str()), expected_order(a, b))
                << a << " " << b;
            ASSERT_EQ(lc_strncasecmp(left.c_str(), right.c_str(), 1), expected_order(a, b))
                << a << " " << b;
        }
    }
}

TEST(CaseCompare, null_gives_minus_1)
{
    EXPECT_EQ(lc_strcasecmp(nullptr, "a"), -1);
    EXPECT_EQ(lc_strcasecmp("a", nullptr), -1);
    EXPECT_EQ(lc_strcasecmp(nullptr, nullptr), -1);
}

TEST(CaseCompare, string_that_begins_above_7_bits_gives_minus_1_even_against_itself)
{
    for (const int ch : {0x80, 0xE4, 0xFF}) {
        const std::string text = one_character(ch);
        EXPECT_EQ(lc_strcasecmp(text.c_str(), text.c_str()), -1);
        EXPECT_EQ(lc_strcasecmp(text.c_str(), "a"), -1);
        EXPECT_EQ(lc_strcasecmp("a", text.c_str()), -1);
        EXPECT_EQ(lc_strcasecmp(text.c_str(), ""), -1);
        EXPECT_EQ(lc_strcasecmp("", text.c_str()), -1);
    }
}

TEST(CaseCompare, later_character_above_7_bits_gives_minus_1)
{
    EXPECT_EQ(lc_strcasecmp("a\xE4", "a\xE4"), -1);
    EXPECT_EQ(lc_strcasecmp("a\xE4", "az"), -1);
    EXPECT_EQ(lc_strcasecmp("az", "a\xE4"), -1);
}

TEST(CaseCompare, end_of_a_string_counts_before_a_character_above_7_bits)
{
    EXPECT_EQ(lc_strcasecmp("a", "a\xE4"), -1);
    EXPECT_EQ(lc_strcasecmp("a\xE4", "a"), 1);
}

TEST(CaseCompare, difference_before_a_character_above_7_bits_decides)
{
    EXPECT_EQ(lc_strcasecmp("b\xE4", "a\xE4"), 1);
    EXPECT_EQ(lc_strcasecmp("a\xE4", "b\xE4"), -1);
}

TEST(CountedCaseCompare, only_the_first_n_characters_count)
{
    EXPECT_EQ(lc_strncasecmp("abcX", "ABCy", 3), 0);
    EXPECT_EQ(lc_strncasecmp("abcX", "ABCy", 4), -1);
    EXPECT_EQ(lc_strncasecmp("abcY", "ABCx", 4), 1);
}

TEST(CountedCaseCompare, none_counted_is_equal)
{
    EXPECT_EQ(lc_strncasecmp("a", "b", 0), 0);
    EXPECT_EQ(lc_strncasecmp("\xE4", "b", 0), 0);
}

TEST(CountedCaseCompare, null_gives_minus_1_whatever_the_count)
{
    for (const unsigned int count : {0u, 1u, UINT_MAX}) {
        EXPECT_EQ(lc_strncasecmp(nullptr, "a", count), -1);
        EXPECT_EQ(lc_strncasecmp("a", nullptr, count), -1);
        EXPECT_EQ(lc_strncasecmp(nullptr, nullptr, count), -1);
    }
}

TEST(CountedCaseCompare, strings_may_end_before_the_count)
{
    EXPECT_EQ(lc_strncasecmp("abc", "ABC", UINT_MAX), 0);
    EXPECT_EQ(lc_strncasecmp("", "", 1), 0);
    EXPECT_EQ(lc_strncasecmp("abc", "abcd", 4), -1);
    EXPECT_EQ(lc_strncasecmp("abcd", "abc", 4), 1);
    EXPECT_EQ(lc_strncasecmp("abc", "abcd", 3), 0);
}

TEST(CountedCaseCompare, character_above_7_bits_within_the_count_gives_minus_1)
{
    EXPECT_EQ(lc_strncasecmp("ab\xE4", "AB\xE4", 3), -1);
    EXPECT_EQ(lc_strncasecmp("ab\xE4", "abz", 3), -1);
    EXPECT_EQ(lc_strncasecmp("abz", "ab\xE4", 3), -1);
    EXPECT_EQ(lc_strncasecmp("\xE4", "\xE4", 1), -1);
    EXPECT_EQ(lc_strncasecmp("ab\xE4", "AB\xE4", 2), 0);
}

TEST(CountedCaseCompare, end_of_a_string_counts_before_a_first_character_above_7_bits)
{
    EXPECT_EQ(lc_strncasecmp("\xE4", "", 1), 1);
    EXPECT_EQ(lc_strncasecmp("", "\xE4", 1), -1);
}

TEST(SpaceCompare, ignores_white_space_and_case)
{
    EXPECT_EQ(lc_strwicmp("a b c", "ABC "), 0);
    EXPECT_EQ(lc_strwicmp(" \t\n\v\f\rabc", "a\tB\nc\r\n"), 0);
    EXPECT_EQ(lc_strwicmp("ABC", "abc"), 0);
    EXPECT_EQ(lc_strwicmp("", " \t "), 0);
    EXPECT_EQ(lc_strwicmp(" \t ", ""), 0);
}

TEST(SpaceCompare, same_pointer_is_equal_and_null_comes_first)
{
    const char *text = "abc";
    EXPECT_EQ(lc_strwicmp(text, text), 0);
    EXPECT_EQ(lc_strwicmp(nullptr, nullptr), 0);
    EXPECT_EQ(lc_strwicmp(nullptr, ""), -1);
    EXPECT_EQ(lc_strwicmp("", nullptr), 1);
}

TEST(SpaceCompare, result_is_the_difference_of_the_raw_characters)
{
    EXPECT_EQ(lc_strwicmp("abc", "abd"), -1);
    EXPECT_EQ(lc_strwicmp("abz", "aba"), 25);
    EXPECT_EQ(lc_strwicmp("a b d", "abc"), 1);
}

TEST(SpaceCompare, raw_case_of_the_differing_characters_may_turn_the_sign)
{
    EXPECT_EQ(lc_strwicmp("abc", "ABD"), 31);
    EXPECT_EQ(lc_strwicmp("ABD", "abc"), -31);
}

TEST(SpaceCompare, end_of_a_string_counts_as_zero)
{
    EXPECT_EQ(lc_strwicmp("ab", "abc"), -'c');
    EXPECT_EQ(lc_strwicmp("abC", "ab "), 'C');
}

TEST(SpaceCompare, characters_above_7_bits_count_as_negative)
{
    EXPECT_EQ(lc_strwicmp("\xE4", "a"), -28 - 'a');
    EXPECT_EQ(lc_strwicmp("a", "\xE4"), 'a' + 28);
    EXPECT_EQ(lc_strwicmp("\xE4 b", "\xE4"
                                    "B"),
              0);
}

} // namespace compare_test
