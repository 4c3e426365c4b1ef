// The parser of parameter lines.
#include "lc_nv.h"
#include "support/calls.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

namespace parse_line_test {

using namespace testing_support;

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

constexpr int kSkipped = 1, kMalformed = -1;

const std::string kLongestName(127, 'n');
const std::string kLongestValue(4095, 'v');

struct Line {
    const char *claim;
    std::string line;
    int result = 0;
    std::string name = "a";
    uint32_t bits = 1;
    std::string value = "x";
};

void expect_parsed(const Line &line)
{
    SCOPED_TRACE(std::string(line.claim) + ": " + line.line);
    const Parsed parsed(line.line);
    ASSERT_EQ(parsed.result, line.result);
    if (line.result == 0) {
        EXPECT_EQ(parsed.name, line.name);
        EXPECT_EQ(parsed.bits, line.bits);
        EXPECT_EQ(parsed.value, line.value);
    }
}

std::string line_of_name(const std::string &name) { return name + "=1=x\n"; }
std::string line_of_bits(const std::string &bits) { return "a=" + bits + "=x\n"; }
std::string line_of_value(const std::string &value) { return "a=1=" + value + "\n"; }

const Line kLines[] = {
    {"name, bits and value", "a=1=x\n"},
    {"comment", "# a=1=x\n", kSkipped},
    {"comment", "#\n", kSkipped},
    {"comment without a line feed", "#", kSkipped},
    {"comment without a line feed", "#a=1=x", kSkipped},
    {"comment begins with the first byte", " #\n", kMalformed},
    {"comment begins with the first byte", "a#=1=x\n", kMalformed},
    {"comment begins with the first byte", "a=1=#\n", 0, "a", 1, "#"},
    {"empty line", "\n", kSkipped},
    {"line is empty when its first byte is the line feed", "\na=1=x\n", kSkipped},
    {"blank line is not empty", " \n", kMalformed},
    {"blank line is not empty", "\t\n", kMalformed},
    {"blank line is not empty", "\r\n", kMalformed},
    {"line needs a line feed", "a=1=x", kMalformed},
    {"line needs a line feed", "", kMalformed},
    {"line ends at its first line feed", "a=1=x\nb=2=y\n"},
    {"line ends at its first line feed", "a\n=1=x\n", kMalformed},
    {"line ends at its first line feed", "a=1\n=x\n", kMalformed},
    {"what stands behind a NUL is not looked at", std::string("a=1=x\0\n", 7), kMalformed},
    {"what stands behind a NUL is not looked at", std::string("a\0=1=x\n", 7), kMalformed},
    {"what stands behind a NUL is not looked at", std::string("\0a=1=x\n", 7), kMalformed},
    {"what stands behind a NUL is not looked at", std::string("a=1=x\n\0=\n", 9)},
    {"line needs two equals signs", "a\n", kMalformed},
    {"line needs two equals signs", "a=\n", kMalformed},
    {"line needs two equals signs", "a=1\n", kMalformed},
    {"line needs two equals signs", "=\n", kMalformed},
    {"line needs two equals signs", "a=1;x\n", kMalformed},
    {"bits are hexadecimal in either case", line_of_bits("1f"), 0, "a", 31},
    {"bits are hexadecimal in either case", line_of_bits("1F"), 0, "a", 31},
    {"bits are hexadecimal in either case", line_of_bits("0"), 0, "a", 0},
    {"bits are hexadecimal in either case", line_of_bits("10"), 0, "a", 16},
    {"bits are hexadecimal in either case", line_of_bits("DeadBeef"), 0, "a", 0xDEADBEEF},
    {"bits may have a prefix", line_of_bits("0x1F"), 0, "a", 31},
    {"bits may have a prefix", line_of_bits("0X1f"), 0, "a", 31},
    {"bits may have a prefix", line_of_bits("0xffffffff"), 0, "a", 0xFFFFFFFF},
    {"bits have at most 32 bits", line_of_bits("ffffffff"), 0, "a", 0xFFFFFFFF},
    {"but any width", line_of_bits("00000000000000000000000000000001")},
    {"empty name", "=1=x\n", 0, ""},
    {"longest name", line_of_name(kLongestName), 0, kLongestName},
    {"longer name", line_of_name(kLongestName + "n"), kMalformed},
    {"much longer name", line_of_name(std::string(4000, 'n')), kMalformed},
    {"number sign in a name", line_of_name("n#"), kMalformed},
    {"empty value", "a=1=\n", 0, "a", 1, ""},
    {"equals sign in a value", "a=1=b=c\n", 0, "a", 1, "b=c"},
    {"equals sign alone", "a=1==\n", 0, "a", 1, "="},
    {"equals signs in a value", "a=1=b=2=c\n", 0, "a", 1, "b=2=c"},
    {"blanks are kept in a value", line_of_value(" x\t\r"), 0, "a", 1, " x\t\r"},
    {"escapes are none", line_of_value("\"x\\n\""), 0, "a", 1, "\"x\\n\""},
    {"longest value", line_of_value(kLongestValue), 0, "a", 1, kLongestValue},
    {"longer value", line_of_value(kLongestValue + "v"), kMalformed},
    {"much longer value", line_of_value(std::string(100000, 'v')), kMalformed},
    {"longest line", kLongestName + "=0xffffffff=" + kLongestValue + "\n", 0, kLongestName, 0xFFFFFFFF,
     kLongestValue},
};

// A prefix alone, no digit first, more than the digits, more than 32 bits whatever the width of a long.
constexpr const char *kBadBits[] = {"0x",
                                    "x1",
                                    "0x0x1",
                                    "",
                                    "g",
                                    " 1",
                                    "\t1",
                                    "+1",
                                    "-1",
                                    "-0",
                                    "_",
                                    "\xb2",
                                    "1x",
                                    "1 ",
                                    "1g",
                                    "1.0",
                                    "1,",
                                    "1\r",
                                    "1-",
                                    "100000000",
                                    "1ffffffff",
                                    "0x100000001",
                                    "ffffffffffffffff",
                                    "10000000000000000",
                                    "ffffffffffffffffffffffffffffffff"};

} // namespace

TEST(ParseLine, gives_what_the_line_holds)
{
    for (const Line &line : kLines) {
        expect_parsed(line);
    }
}

TEST(ParseLine, refuses_bits_that_are_no_number_of_32_bits)
{
    for (const char *bits : kBadBits) {
        expect_parsed({"bits", line_of_bits(bits), kMalformed});
    }
}

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

TEST(ParseLine, error_number_from_before_does_no_harm)
{
    errno = ERANGE;
    expect_parsed({"number", "a=1=x\n"});
}

TEST(ParseLine, name_has_letters_digits_and_three_more_characters)
{
    for (int byte = 1; byte < 256; ++byte) {
        // These three end a line or a field, or make a comment.
        if (byte == '\n' || byte == '=' || byte == '#') {
            continue;
        }
        const bool good = byte < 128 && (isalnum(byte) != 0 || strchr("-_.", byte) != nullptr);
        for (const char *before : {"", "n"}) {
            const std::string name = before + std::string(1, static_cast<char>(byte));
            expect_parsed({"character", line_of_name(name), good ? 0 : kMalformed, name});
        }
    }
}

TEST(ParseLine, name_is_judged_whatever_the_locale)
{
    // In an 8-bit locale the upper half has letters too.
    const Hooked latin(calls::isalnum, [](auto &next, int character) {
        return character >= 0xC0 ? 1 : next(character);
    });
    ASSERT_NE(isalnum(0xE4), 0);
    for (int byte = 128; byte < 256; ++byte) {
        expect_parsed({"letter", line_of_name(std::string(1, static_cast<char>(byte))), kMalformed});
    }
}

TEST(ParseLine, every_byte_but_a_line_feed_is_kept_in_a_value)
{
    std::string value;
    for (int byte = 1; byte < 256; ++byte) {
        if (byte != '\n') {
            value += static_cast<char>(byte);
        }
    }
    expect_parsed({"bytes", line_of_value(value), 0, "a", 1, value});
}

} // namespace parse_line_test
