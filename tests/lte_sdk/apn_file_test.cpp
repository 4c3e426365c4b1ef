// Looking an operator code up in a list file.
#include "lte_sdk.h"
#include "support/apn_record.h"
#include "support/guarded.h"
#include "support/trace_file.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace apn_file_test {

using namespace testing_support;

namespace {

constexpr char kList[] = "/tmp/apn.list";
constexpr char kMatch[] = "x>46001>match>apn>c>d>1>\n";
constexpr char kOther[] = "x>46002>other>apn>c>d>1>\n";

int32_t match(const std::string &list, const std::string &key, Guarded<apn_item> *out)
{
    write_text(kList, list);
    return auto_match_apn(kList, key.c_str(), out->get());
}

bool matches(const std::string &list, const std::string &key)
{
    Guarded<apn_item> out;
    const int32_t result = match(list, key, &out);
    EXPECT_TRUE(result == 0 || result == -1);
    EXPECT_EQ(out.untouched(), result == -1);
    return result == 0;
}

void expect_record(const std::string &list, const std::string &key, const ApnRecord &expected)
{
    Guarded<apn_item> out;
    EXPECT_EQ(match(list, key, &out), 0) << list;
    EXPECT_EQ(out.bytes(), expected.bytes()) << list;
}

// The search ends at a line, with a trace of what is left of it, before the line that would match.
void expect_parse_error(const std::string &list, const std::string &rest, int fields)
{
    unlink(kTraceFile);
    EXPECT_FALSE(matches(list, "46001")) << list;
    EXPECT_EQ(trace_text(), trace_entry("auto_match_apn", "parse error:" + rest + " idx:" +
                                                              std::to_string(fields) + "\n\n"))
        << list;
}

std::string line_with(const std::string &key, const std::string &number)
{
    return "x>" + key + ">a>b>c>d>" + number + ">\n";
}

// Its record, but for a number.
ApnRecord record_of_line(const std::string &key)
{
    return ApnRecord().text(0, key).text(16, "b").text(81, "a").text(146, "c").text(211, "d");
}

// A line of so many characters, line feed included, with text behind its seven fields.
std::string line_of_size(const std::string &key, size_t size)
{
    std::string line = "x>" + key + ">wide>apn>c>d>1>";
    line.resize(size - 1, '.');
    return line + '\n';
}

} // namespace

TEST(ApnFile, fills_the_record_from_the_line_and_zeroes_the_rest)
{
    Guarded<apn_item> out;
    EXPECT_EQ(match("ignored>46001>text one>internet>text two>text three>5>\n", "46001", &out), 0);
    EXPECT_EQ(out.bytes(), ApnRecord()
                               .text(0, "46001")
                               .text(16, "internet")
                               .text(81, "text one")
                               .text(146, "text two")
                               .text(211, "text three")
                               .number(296, 5)
                               .bytes());
    EXPECT_STREQ(out->key, "46001");
    EXPECT_STREQ(out->apn, "internet");
    EXPECT_STREQ(out->text1, "text one");
    EXPECT_STREQ(out->text2, "text two");
    EXPECT_STREQ(out->text3, "text three");
    EXPECT_EQ(out->number1, 5U);
    EXPECT_EQ(trace_text(), "");
}

TEST(ApnFile, one_F_at_the_end_of_the_code_is_padding)
{
    EXPECT_TRUE(matches(line_with("46001F", "1"), "46001"));
    EXPECT_FALSE(matches(line_with("46001F", "1"), "46001F"));
    EXPECT_TRUE(matches(line_with("46001FF", "1"), "46001F"));
    EXPECT_FALSE(matches(line_with("46001FF", "1"), "46001"));
    EXPECT_FALSE(matches(line_with("46001f", "1"), "46001"));
    EXPECT_TRUE(matches(line_with("46001f", "1"), "46001f"));
    EXPECT_TRUE(matches(line_with("F46001", "1"), "F46001"));
    EXPECT_TRUE(matches(line_with("F", "1"), ""));
}

TEST(ApnFile, padding_is_not_in_the_record)
{
    expect_record(line_with("46001F", "0"), "46001", record_of_line("46001"));
}

TEST(ApnFile, code_is_compared_as_a_whole_and_by_case)
{
    const std::string list = line_with("ab01", "1");
    EXPECT_TRUE(matches(list, "ab01"));
    for (const char *key : {"ab0", "ab012", "b01", "AB01", "", " ab01", "ab01 "}) {
        EXPECT_FALSE(matches(list, key)) << key;
    }
    EXPECT_EQ(trace_text(), "");
}

TEST(ApnFile, fields_may_be_empty) { expect_record(">>>>>>>\n", "", ApnRecord()); }

TEST(ApnFile, first_line_with_the_code_wins)
{
    expect_record(std::string(kOther) + line_with("46001", "1") + "x>46001F>later>apn>c>d>1>\n",
                  "46001", record_of_line("46001").number(296, 1));
}

TEST(ApnFile, record_has_nothing_of_the_lines_before)
{
    expect_record("x>46002>a long text>a long name>c>d>1>\nx>46001>>>>>>\n", "46001",
                  ApnRecord().text(0, "46001"));
}

TEST(ApnFile, list_without_the_code_fails_without_a_trace)
{
    EXPECT_FALSE(matches(kOther, "46001"));
    EXPECT_FALSE(matches("", "46001"));
    EXPECT_EQ(trace_text(), "");
}

TEST(ApnFile, line_of_other_than_seven_fields_ends_the_search)
{
    const std::string match = kMatch;
    expect_parse_error("0>1>2>3>4>5>\n" + match, "\n", 6);
    expect_parse_error("0>1>2>3>4>5>6\n" + match, "6\n", 6);
    expect_parse_error("0>1>2>3>4>5>6>7>\n" + match, "\n", 8);
    expect_parse_error("0>1>2>3>4>5>6>7>8>9>rest\n" + match, "rest\n", 10);
    expect_parse_error("\n" + match, "\n", 0);
    expect_parse_error("no field\n" + match, "no field\n", 0);
    expect_parse_error(kOther + ("one>two\n" + match), "two\n", 1);
    expect_parse_error("0>46001>2>3>4>5>\n", "\n", 6);
    expect_parse_error("0>46001>2>3>4>5>6>7>\n", "\n", 8);
    expect_parse_error(std::string(kOther) + "0>46001>2>3>4>5>6", "6", 6);
}

TEST(ApnFile, malformed_line_behind_the_match_is_not_read)
{
    EXPECT_TRUE(matches(kMatch + std::string("\n"), "46001"));
    EXPECT_EQ(trace_text(), "");
}

TEST(ApnFile, text_behind_the_seventh_field_is_ignored)
{
    for (const char *rest : {"", "\n", "\r\n", " a comment\n", "& 8\n"}) {
        EXPECT_TRUE(matches("x>46002>a>b>c>d>1>\nx>46001>a>b>c>d>1>" + std::string(rest), "46001"));
    }
    EXPECT_EQ(trace_text(), "");
}

TEST(ApnFile, number_is_the_last_digit_of_its_field)
{
    struct Case {
        const char *field;
        uint32_t number;
    };
    for (const auto &[field, number] :
         {Case{"", 0}, Case{"0", 0}, Case{"7", 7}, Case{"12", 2}, Case{"90", 0}, Case{"-3", 3},
          Case{" 4", 4}, Case{"x5", 5}, Case{"5x", 0}, Case{"x", 0}, Case{"5 ", 0}, Case{"-", 0}}) {
        Guarded<apn_item> out;
        EXPECT_EQ(match(line_with("46001", field), "46001", &out), 0);
        EXPECT_EQ(out->number1, number) << field;
    }
}

TEST(ApnFile, text_that_is_too_long_is_cut_and_its_neighbours_stay)
{
    struct Field {
        size_t index;
        size_t offset;
    };
    for (const Field &field : {Field{2, 81}, Field{3, 16}, Field{4, 146}, Field{5, 211}}) {
        for (const size_t size : {64U, 65U, 66U, 200U}) {
            std::string texts[] = {"x", "46001", "a", "b", "c", "d", "9"};
            texts[field.index] = std::string(size, 'W');
            std::string line;
            for (const std::string &text : texts) {
                line += text + '>';
            }
            expect_record(
                line + '\n', "46001",
                record_of_line("46001").number(296, 9).text(field.offset, std::string(64, 'W')));
        }
    }
}

TEST(ApnFile, code_that_is_too_long_is_compared_as_it_stands_and_cut_in_the_record)
{
    for (const size_t size : {15U, 16U, 17U, 200U}) {
        const std::string key(size, '4');
        expect_record(line_with(key + 'F', "1"), key,
                      record_of_line(std::string(15, '4')).number(296, 1));
        EXPECT_EQ(matches(line_with(key, "1"), std::string(15, '4')), size == 15);
    }
}

TEST(ApnFile, line_of_255_characters_is_one_line)
{
    EXPECT_TRUE(matches(line_of_size("46002", 255) + kMatch, "46001"));
    EXPECT_TRUE(matches(line_of_size("46001", 255), "46001"));
    EXPECT_EQ(trace_text(), "");
}

TEST(ApnFile, rest_of_a_longer_line_is_a_line_of_its_own)
{
    expect_parse_error(line_of_size("46002", 256) + kMatch, "\n", 0);
    expect_parse_error(line_of_size("46002", 300) + kMatch, std::string(44, '.') + "\n", 0);
    // The piece in front matches all the same.
    EXPECT_TRUE(matches(line_of_size("46001", 256), "46001"));
    EXPECT_TRUE(matches(line_of_size("46001", 3000), "46001"));
}

TEST(ApnFile, that_has_no_lines_fails_and_one_that_cannot_be_opened_is_traced_with_its_path)
{
    ASSERT_EQ(mkdir("/tmp/folder", 0755), 0);
    for (const char *path :
         {"/tmp/none", "", "/tmp/none/apn.list", "/tmp/folder", static_cast<const char *>(nullptr)}) {
        unlink(kTraceFile);
        Guarded<apn_item> out;
        EXPECT_EQ(auto_match_apn(path, "46001", out.get()), -1);
        EXPECT_TRUE(out.untouched());
        EXPECT_EQ(trace_text(),
                  path == nullptr || strcmp(path, "/tmp/folder") == 0
                      ? ""
                      : trace_entry("auto_match_apn",
                                    std::string("open the apn list file failed:") + path + "\n\n"));
    }
}

TEST(ApnFile, file_is_closed_whatever_the_outcome)
{
    const int before = count_descriptors();
    EXPECT_TRUE(matches(kMatch, "46001"));
    EXPECT_FALSE(matches(kOther, "46001"));
    EXPECT_FALSE(matches("\n", "46001"));
    EXPECT_EQ(count_descriptors(), before);
}

} // namespace apn_file_test
