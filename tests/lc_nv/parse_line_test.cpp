// The parser of parameter lines.
#include "lc_nv.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

namespace {

// A line parsed in a buffer of exactly its size, its terminator included.
class Parsed {
public:
    explicit Parsed(const std::string &line) : size_(line.size() + 1), buffer_(new char[size_])
    {
        memcpy(buffer_.get(), line.c_str(), size_);
        result = nv_parse_line(buffer_.get(), &name, &bits, &value, "file", 1);
    }

    std::string content() const { return {buffer_.get(), size_}; }
    size_t offset_of(const char *text) const { return static_cast<size_t>(text - buffer_.get()); }

    int result;
    char *name = nullptr;
    uint32_t bits = 0;
    char *value = nullptr;

private:
    size_t size_;
    std::unique_ptr<char[]> buffer_;
};

void expect_parameter(const std::string &line, const std::string &name, uint32_t bits,
                      const std::string &value)
{
    const Parsed parsed(line);
    ASSERT_EQ(parsed.result, 0) << line;
    EXPECT_EQ(parsed.name, name) << line;
    EXPECT_EQ(parsed.bits, bits) << line;
    EXPECT_EQ(parsed.value, value) << line;
}

void expect_skipped(const std::string &line) { EXPECT_EQ(Parsed(line).result, 1) << line; }
void expect_malformed(const std::string &line) { EXPECT_EQ(Parsed(line).result, -1) << line; }

std::string line_of_name(const std::string &name) { return name + "=1=x\n"; }
std::string line_of_bits(const std::string &bits) { return "a=" + bits + "=x\n"; }
std::string line_of_value(const std::string &value) { return "a=1=" + value + "\n"; }

bool g_latin_locale = false;

} // namespace

// In an 8-bit locale the upper half has letters too.
extern "C" int isalnum(int ch) noexcept
{
    return (g_latin_locale && ch >= 0xC0) || (ch >= '0' && ch <= '9') || (ch >= 'A' && ch <= 'Z') ||
           (ch >= 'a' && ch <= 'z');
}

TEST(ParseLine, gives_name_bits_and_value) { expect_parameter("a=1=x\n", "a", 1, "x"); }

TEST(ParseLine, outputs_point_into_the_line_where_nuls_end_its_fields)
{
    const Parsed parsed("ab=1f=xyz\n");
    ASSERT_EQ(parsed.result, 0);
    EXPECT_EQ(parsed.content(), std::string("ab\0001f\0xyz\0\0", 11));
    EXPECT_EQ(parsed.offset_of(parsed.name), 0U);
    EXPECT_EQ(parsed.offset_of(parsed.value), 6U);
}

TEST(ParseLine, path_and_line_number_play_no_part)
{
    for (const uint32_t number : {0U, 1U, 4000000000U}) {
        char line[] = "a=1=x\n";
        char *name;
        char *value;
        uint32_t bits;
        EXPECT_EQ(nv_parse_line(line, &name, &bits, &value, nullptr, number), 0);
        EXPECT_STREQ(value, "x");
    }
}

// ---- Lines to skip ----

TEST(ParseLine, comment_is_skipped)
{
    expect_skipped("# a=1=x\n");
    expect_skipped("#\n");
}

TEST(ParseLine, comment_without_a_line_feed_is_skipped)
{
    expect_skipped("#");
    expect_skipped("#a=1=x");
}

TEST(ParseLine, comment_begins_with_the_first_byte)
{
    expect_malformed(" #\n");
    expect_malformed("a#=1=x\n");
    expect_parameter("a=1=#\n", "a", 1, "#");
}

TEST(ParseLine, empty_line_is_skipped) { expect_skipped("\n"); }

TEST(ParseLine, line_is_empty_when_its_first_byte_is_the_line_feed) { expect_skipped("\na=1=x\n"); }

TEST(ParseLine, blank_line_is_not_empty)
{
    expect_malformed(" \n");
    expect_malformed("\t\n");
    expect_malformed("\r\n");
}

// ---- Line feeds and fields ----

TEST(ParseLine, line_needs_a_line_feed)
{
    expect_malformed("a=1=x");
    expect_malformed("");
}

TEST(ParseLine, line_ends_at_its_first_line_feed)
{
    expect_parameter("a=1=x\nb=2=y\n", "a", 1, "x");
    expect_malformed("a\n=1=x\n");
    expect_malformed("a=1\n=x\n");
}

TEST(ParseLine, what_stands_behind_a_nul_is_not_looked_at)
{
    expect_malformed(std::string("a=1=x\0\n", 7));
    expect_malformed(std::string("a\0=1=x\n", 7));
    expect_malformed(std::string("\0a=1=x\n", 7));
    expect_parameter(std::string("a=1=x\n\0=\n", 9), "a", 1, "x");
}

TEST(ParseLine, line_needs_two_equals_signs)
{
    expect_malformed("a\n");
    expect_malformed("a=\n");
    expect_malformed("a=1\n");
    expect_malformed("=\n");
    expect_malformed("a=1;x\n");
}

// ---- Attribute bits ----

TEST(ParseLine, bits_are_hexadecimal_in_either_case)
{
    expect_parameter(line_of_bits("1f"), "a", 31, "x");
    expect_parameter(line_of_bits("1F"), "a", 31, "x");
    expect_parameter(line_of_bits("0"), "a", 0, "x");
    expect_parameter(line_of_bits("10"), "a", 16, "x");
    expect_parameter(line_of_bits("DeadBeef"), "a", 0xDEADBEEF, "x");
}

TEST(ParseLine, bits_may_have_a_prefix)
{
    expect_parameter(line_of_bits("0x1F"), "a", 31, "x");
    expect_parameter(line_of_bits("0X1f"), "a", 31, "x");
    expect_parameter(line_of_bits("0xffffffff"), "a", 0xFFFFFFFF, "x");
}

TEST(ParseLine, prefix_alone_is_malformed)
{
    expect_malformed(line_of_bits("0x"));
    expect_malformed(line_of_bits("x1"));
    expect_malformed(line_of_bits("0x0x1"));
}

TEST(ParseLine, bits_must_begin_with_a_digit)
{
    for (const char *bits : {"", "g", " 1", "\t1", "+1", "-1", "-0", "_", "\xb2"}) {
        expect_malformed(line_of_bits(bits));
    }
}

TEST(ParseLine, bits_must_fill_their_field)
{
    for (const char *bits : {"1x", "1 ", "1g", "1.0", "1,", "1\r", "1-"}) {
        expect_malformed(line_of_bits(bits));
    }
}

TEST(ParseLine, bits_have_at_most_32_bits_whatever_the_width_of_a_long)
{
    expect_parameter(line_of_bits("ffffffff"), "a", 0xFFFFFFFF, "x");
    expect_parameter(line_of_bits("00000000000000000000000000000001"), "a", 1, "x");
    for (const char *bits : {"100000000", "1ffffffff", "0x100000001", "ffffffffffffffff",
                             "10000000000000000", "ffffffffffffffffffffffffffffffff"}) {
        expect_malformed(line_of_bits(bits));
    }
}

TEST(ParseLine, error_number_from_before_does_no_harm)
{
    errno = ERANGE;
    expect_parameter("a=1=x\n", "a", 1, "x");
}

// ---- Names ----

TEST(ParseLine, name_has_letters_digits_and_three_more_characters)
{
    for (int byte = 1; byte < 256; ++byte) {
        // These three end a line or a field, or make a comment.
        if (byte == '\n' || byte == '=' || byte == '#') {
            continue;
        }
        const std::string name(1, static_cast<char>(byte));
        if (byte < 128 && (isalnum(byte) != 0 || strchr("-_.", byte) != nullptr)) {
            expect_parameter(line_of_name(name), name, 1, "x");
            expect_parameter(line_of_name("n" + name), "n" + name, 1, "x");
        } else {
            expect_malformed(line_of_name(name));
            expect_malformed(line_of_name("n" + name));
        }
    }
    expect_malformed(line_of_name("n#"));
}

TEST(ParseLine, name_is_judged_whatever_the_locale)
{
    g_latin_locale = true;
    ASSERT_NE(isalnum(0xE4), 0);
    for (int byte = 128; byte < 256; ++byte) {
        expect_malformed(line_of_name(std::string(1, static_cast<char>(byte))));
    }
}

TEST(ParseLine, name_of_127_bytes_passes_and_of_128_is_malformed)
{
    const std::string longest(127, 'n');
    expect_parameter(line_of_name(longest), longest, 1, "x");
    expect_malformed(line_of_name(longest + "n"));
    expect_malformed(line_of_name(std::string(4000, 'n')));
}

TEST(ParseLine, empty_name_passes) { expect_parameter("=1=x\n", "", 1, "x"); }

// ---- Values ----

TEST(ParseLine, value_may_be_empty) { expect_parameter("a=1=\n", "a", 1, ""); }

TEST(ParseLine, value_may_hold_equals_signs)
{
    expect_parameter("a=1=b=c\n", "a", 1, "b=c");
    expect_parameter("a=1==\n", "a", 1, "=");
    expect_parameter("a=1=b=2=c\n", "a", 1, "b=2=c");
}

TEST(ParseLine, every_other_byte_is_kept_in_a_value)
{
    std::string value;
    for (int byte = 1; byte < 256; ++byte) {
        if (byte != '\n') {
            value += static_cast<char>(byte);
        }
    }
    expect_parameter(line_of_value(value), "a", 1, value);
    expect_parameter(line_of_value(" x\t\r"), "a", 1, " x\t\r");
    expect_parameter(line_of_value("\"x\\n\""), "a", 1, "\"x\\n\"");
}

TEST(ParseLine, value_of_4095_bytes_passes_and_of_4096_is_malformed)
{
    const std::string longest(4095, 'v');
    expect_parameter(line_of_value(longest), "a", 1, longest);
    expect_malformed(line_of_value(longest + "v"));
    expect_malformed(line_of_value(std::string(100000, 'v')));
}

TEST(ParseLine, longest_line_of_all_is_a_parameter)
{
    const std::string name(127, 'n');
    const std::string value(4095, 'v');
    expect_parameter(name + "=0xffffffff=" + value + "\n", name, 0xFFFFFFFF, value);
}
