// Copying the text between two separators.
#include "lte_sdk.h"
#include "support/guarded.h"
#include "support/trace_file.h"

#include <gtest/gtest.h>

#include <unistd.h>

namespace split_test {

using namespace testing_support;

namespace {

constexpr uint32_t kSize = 8;
using Buffer = char[kSize];

std::string trace_of(const std::string &text) { return trace_entry("get_split_str", text + "\n\n"); }

// The text between, and where the closing separator stands.
void expect_split(const char *in, const char *sep, const std::string &between, ptrdiff_t closing)
{
    Guarded<Buffer> out;
    const char *end = get_split_str(in, sep, *out.get(), kSize);
    ASSERT_NE(end, nullptr) << in;
    EXPECT_EQ(end - in, closing) << in;
    std::string padded = between;
    padded.resize(kSize);
    EXPECT_EQ(out.bytes(), padded) << in;
}

void expect_nothing(const char *in, const char *sep, const std::string &text)
{
    unlink(kTraceFile);
    Guarded<Buffer> out;
    EXPECT_EQ(get_split_str(in, sep, *out.get(), kSize), nullptr);
    EXPECT_TRUE(out.untouched());
    EXPECT_EQ(trace_text(), trace_of(text));
}

} // namespace

TEST(Split, copies_what_is_between_and_points_at_the_closing_separator)
{
    expect_split("a,b,c", ",", "b", 3);
    expect_split(",one,", ",", "one", 4);
    expect_split(",,", ",", "", 1);
    expect_split("head,,tail", ",", "", 5);
    EXPECT_EQ(trace_text(), "");
}

TEST(Split, caller_can_go_on_from_the_closing_separator)
{
    char out[8];
    const char *text = "x,one,two,y";
    text = get_split_str(text, ",", out, sizeof(out));
    EXPECT_STREQ(out, "one");
    text = get_split_str(text, ",", out, sizeof(out));
    EXPECT_STREQ(out, "two");
    EXPECT_EQ(get_split_str(text, ",", out, sizeof(out)), nullptr);
    EXPECT_STREQ(out, "two");
}

TEST(Split, null_text_or_separator_is_traced)
{
    expect_nothing(nullptr, ",", "in str or split str is NULL");
    expect_nothing("a,b,c", nullptr, "in str or split str is NULL");
    expect_nothing(nullptr, nullptr, "in str or split str is NULL");
}

TEST(Split, text_without_a_separator_has_no_start)
{
    expect_nothing("abc", ",", "can't find start position");
    expect_nothing("", ",", "can't find start position");
    expect_nothing("a#b", "##", "can't find start position");
}

TEST(Split, text_with_one_separator_has_no_end)
{
    expect_nothing("a,b", ",", "can't find end position");
    expect_nothing(",", ",", "can't find end position");
    expect_nothing("a##b", "##", "can't find end position");
    expect_nothing("a=>b", "=>", "can't find end position");
}

TEST(Split, end_of_a_separator_of_two_characters_is_searched_from_its_second)
{
    expect_split("a##b##c", "##", "#b", 4);
    expect_split("a=>b=>c", "=>", ">b", 4);
    expect_split("a###b", "##", "", 2);
    expect_split("####", "##", "", 1);
}

TEST(Split, empty_separator_is_found_everywhere)
{
    expect_split("abc", "", "", 1);
    expect_split("a", "", "", 1);
    expect_split("", "", "", 0);
}

TEST(Split, text_that_fills_the_buffer_is_cut_for_its_end)
{
    expect_split(",123456,", ",", "123456", 7);
    expect_split(",1234567,", ",", "1234567", 8);
    expect_split(",12345678,", ",", "1234567", 9);
    expect_split(",123456789012345,", ",", "1234567", 16);
    EXPECT_EQ(trace_text(), "");
}

TEST(Split, buffer_of_one_byte_takes_the_end_only)
{
    Guarded<Buffer> out;
    const char *text = ",abc,";
    EXPECT_EQ(get_split_str(text, ",", *out.get(), 1), text + 4);
    EXPECT_EQ(out.bytes().substr(0, 2), std::string("\0\xA5", 2));
}

TEST(Split, buffer_of_no_bytes_takes_nothing)
{
    Guarded<Buffer> out;
    const char *text = ",abc,";
    EXPECT_EQ(get_split_str(text, ",", *out.get(), 0), text + 4);
    EXPECT_TRUE(out.untouched());
    EXPECT_EQ(get_split_str(text, ",", nullptr, 0), text + 4);
}

} // namespace split_test
