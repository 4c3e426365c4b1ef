// The plain wrappers return exactly what the call of the same name returns.

#include "lc_string.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace wrapper_test {

TEST(StringWrapper, strcat_appends_and_returns_the_destination)
{
    char text[8] = "ab";
    EXPECT_EQ(lc_strcat(text, "cd"), text);
    EXPECT_STREQ(text, "abcd");
}

TEST(StringWrapper, strchr_finds_the_first_occurrence_the_terminator_or_nothing)
{
    const char *text = "abcb";
    EXPECT_EQ(lc_strchr(text, 'b'), text + 1);
    EXPECT_EQ(lc_strchr(text, '\0'), text + 4);
    EXPECT_EQ(lc_strchr(text, 'x'), nullptr);
}

TEST(StringWrapper, strchr_takes_a_character_above_127_as_a_negative_one)
{
    const char *text = "a\xE4z";
    EXPECT_EQ(lc_strchr(text, static_cast<signed char>(0xE4)), text + 1);
}

TEST(StringWrapper, strcmp_orders_by_unsigned_bytes_and_case)
{
    EXPECT_EQ(lc_strcmp("abc", "abc"), 0);
    EXPECT_LT(lc_strcmp("abc", "abd"), 0);
    EXPECT_GT(lc_strcmp("abc", "ABC"), 0);
    EXPECT_GT(lc_strcmp("\xE4", "z"), 0);
}

TEST(StringWrapper, strcpy_copies_with_terminator_and_returns_the_destination)
{
    char text[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(lc_strcpy(text, "ab"), text);
    EXPECT_EQ(std::string(text, 4), std::string("ab\0x", 4));
}

TEST(StringWrapper, strcspn_counts_up_to_the_first_rejected_character)
{
    EXPECT_EQ(lc_strcspn("key=value", "=;"), 3u);
    EXPECT_EQ(lc_strcspn("key", "=;"), 3u);
    EXPECT_EQ(lc_strcspn("=", "=;"), 0u);
}

TEST(StringWrapper, strerror_gives_the_text_of_the_error)
{
    EXPECT_STREQ(lc_strerror(ENOENT), strerror(ENOENT));
    EXPECT_STREQ(lc_strerror(0), strerror(0));
    EXPECT_STREQ(lc_strerror(123456), "Unknown error 123456");
}

TEST(StringWrapper, strlen_counts_the_bytes_before_the_terminator)
{
    EXPECT_EQ(lc_strlen(""), 0u);
    EXPECT_EQ(lc_strlen("ab\0cd"), 2u);
}

TEST(StringWrapper, strncat_appends_at_most_count_bytes_and_a_terminator)
{
    char text[8] = "abxxxxx";
    text[2] = '\0';
    EXPECT_EQ(lc_strncat(text, "cdef", 2), text);
    EXPECT_EQ(std::string(text, 7), std::string("abcd\0xx", 7));
}

TEST(StringWrapper, strncmp_stops_after_count_bytes)
{
    EXPECT_EQ(lc_strncmp("abcX", "abcY", 3), 0);
    EXPECT_LT(lc_strncmp("abcX", "abcY", 4), 0);
    EXPECT_EQ(lc_strncmp("a", "b", 0), 0);
}

TEST(StringWrapper, strncpy_pads_with_zeroes_or_leaves_the_terminator_out)
{
    char padded[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(lc_strncpy(padded, "a", 3), padded);
    EXPECT_EQ(std::string(padded, 4), std::string("a\0\0x", 4));
    char cut[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(lc_strncpy(cut, "abcd", 2), cut);
    EXPECT_EQ(std::string(cut, 4), "abxx");
}

TEST(StringWrapper, strstr_finds_the_first_occurrence_the_empty_part_or_nothing)
{
    const char *text = "one two two";
    EXPECT_EQ(lc_strstr(text, "two"), text + 4);
    EXPECT_EQ(lc_strstr(text, ""), text);
    EXPECT_EQ(lc_strstr(text, "three"), nullptr);
}

TEST(StringWrapper, strtok_walks_the_tokens)
{
    char text[] = ",,a;b,";
    EXPECT_STREQ(lc_strtok(text, ",;"), "a");
    EXPECT_STREQ(lc_strtok(nullptr, ",;"), "b");
    EXPECT_EQ(lc_strtok(nullptr, ",;"), nullptr);
}

TEST(StringWrapper, strtok_shares_its_place_with_libcs_strtok)
{
    char text[] = "a b c";
    EXPECT_STREQ(lc_strtok(text, " "), "a");
    EXPECT_STREQ(strtok(nullptr, " "), "b");
    EXPECT_STREQ(lc_strtok(nullptr, " "), "c");
}

} // namespace wrapper_test
