// Taking the first usable access point out of a list in a string.
#include "lte_sdk/core.h"
#include "support/apn_record.h"
#include "support/guarded.h"
#include "support/trace_file.h"

#include <gtest/gtest.h>

#include <cstring>
#include <unistd.h>

namespace apn_list_test {

using namespace testing_support;

namespace {

constexpr char kItem[] = "zero&1&two&three&four&five&6&seven&8&9";

std::string item_trace(const std::string &text) { return trace_entry("parse_apn_item", text); }

std::string parse_error(const std::string &rest, int count)
{
    return item_trace("parse error:" + rest + " idx:" + std::to_string(count) + "\n\n");
}

const std::string kSkip = item_trace("skip\n\n");

std::string found(const std::string &apn)
{
    return trace_entry("parse_apn_list", "found right apn:" + apn + "\n");
}

const std::string kNotFound = trace_entry("parse_apn_list", "not found appropriate apn\n");

// What kItem fills.
ApnRecord record_of_item()
{
    return ApnRecord()
        .text(81, "zero")
        .number(572, 1)
        .text(146, "three")
        .text(211, "four")
        .text(16, "five")
        .number(296, 6)
        .text(276, "seven")
        .number(300, 8)
        .number(304, 9);
}

// What becomes of a text, and what it leaves in the trace file.
template <typename Parse>
void expect_parsed(Parse parse, const std::string &text, int32_t result, const ApnRecord &expected,
                   const std::string &trace)
{
    unlink(kTraceFile);
    Guarded<apn_item> out;
    EXPECT_EQ(parse(text.c_str(), out.get()), result) << text;
    EXPECT_EQ(out.bytes(), expected.bytes()) << text;
    EXPECT_EQ(trace_text(), trace) << text;
}

// kItem with one field of another text.
std::string item_with(size_t index, const std::string &text)
{
    std::string fields[] = {"zero", "1", "two", "three", "four", "five", "6", "seven", "8", "9"};
    fields[index] = text;
    std::string item;
    for (const std::string &field : fields) {
        item += (item.empty() ? "" : "&") + field;
    }
    return item;
}

// kItem with another last field, and a third one so wide that the item has so many characters.
std::string item_of_size(size_t size, const std::string &last)
{
    const std::string rest = "&three&four&five&6&seven&8&" + last;
    std::string item = "zero&1&";
    item.resize(size - rest.size(), '.');
    return item + rest;
}

} // namespace

TEST(ApnItem, fills_the_record_and_zeroes_the_rest)
{
    Guarded<apn_item> out;
    EXPECT_EQ(parse_apn_item(kItem, out.get()), 0);
    EXPECT_EQ(out.bytes(), record_of_item().bytes());
    EXPECT_EQ(trace_text(), kSkip);
    EXPECT_STREQ(out->key, "");
    EXPECT_STREQ(out->apn, "five");
    EXPECT_STREQ(out->text1, "zero");
    EXPECT_STREQ(out->text2, "three");
    EXPECT_STREQ(out->text3, "four");
    EXPECT_STREQ(out->text4, "seven");
    EXPECT_EQ(out->number1, 6U);
    EXPECT_EQ(out->number2, 8);
    EXPECT_EQ(out->number3, 9);
    EXPECT_EQ(out->enabled, 1);
}

TEST(ApnItem, disabled_item_fails_at_once_without_a_trace)
{
    for (const char *flag : {"0", "", "x", "00", "-0", " 0", "0x1"}) {
        expect_parsed(parse_apn_item, item_with(1, flag), -1, ApnRecord().text(81, "zero"), "");
    }
    expect_parsed(parse_apn_item, "zero&0&", -1, ApnRecord().text(81, "zero"), "");
}

TEST(ApnItem, any_other_number_enables)
{
    struct Case {
        const char *flag;
        uint32_t stored;
    };
    for (const auto &[flag, stored] : {Case{"1", 1}, Case{"2", 2}, Case{"-1", 0xFFFFFFFF},
                                       Case{" 3", 3}, Case{"4x", 4}, Case{"+5", 5}}) {
        expect_parsed(parse_apn_item, item_with(1, flag), 0, record_of_item().number(572, stored),
                      kSkip);
    }
}

TEST(ApnItem, other_than_nine_separators_is_an_error_and_a_third_field_that_is_not_ended_not_skipped)
{
    struct Case {
        const char *text;
        const char *rest;
        int count;
    };
    for (const auto &[text, rest, count] : {
             Case{"0&1&2&3&4&5&6&7&8", "8", 8},
             Case{"0&1&2&3&4&5&6&7&8&9&", "", 10},
             Case{"0&1&2&3&4&5&6&7&8&9&10&11&12", "12", 12},
             Case{"0&1&2&3", "3", 3},
             Case{"", "", 0},
             Case{"text", "text", 0},
             Case{"zero&0", "0", 1},
             Case{"zero&1&two", "two", 2},
         }) {
        unlink(kTraceFile);
        Guarded<apn_item> out;
        EXPECT_EQ(parse_apn_item(text, out.get()), -1) << text;
        EXPECT_EQ(trace_text(), (count > 2 ? kSkip : "") + parse_error(rest, count)) << text;
    }
}

TEST(ApnItem, incomplete_item_leaves_what_was_read)
{
    expect_parsed(parse_apn_item, "zero&1&two&three&44", -1,
                  ApnRecord().text(81, "zero").number(572, 1).text(146, "three").number(304, 44),
                  kSkip + parse_error("44", 4));
}

TEST(ApnItem, fields_beyond_the_ninth_are_not_stored_but_the_last)
{
    expect_parsed(parse_apn_item, std::string(kItem) + "9&10&11", -1, record_of_item().number(304, 11),
                  kSkip + parse_error("11", 11));
}

TEST(ApnItem, numbers_are_decimal_with_sign_and_end_where_they_end)
{
    struct Field {
        size_t index;
        size_t offset;
    };
    struct Case {
        const char *text;
        uint32_t number;
    };
    for (const Field &field : {Field{6, 296}, Field{8, 300}, Field{9, 304}}) {
        for (const auto &[text, number] :
             {Case{"", 0}, Case{"x", 0}, Case{"-7", static_cast<uint32_t>(-7)}, Case{" 12", 12},
              Case{"+3", 3}, Case{"010", 10}, Case{"5x", 5}, Case{"2147483647", 0x7FFFFFFF},
              Case{"-2147483648", 0x80000000}, Case{"  ", 0}, Case{"-", 0}}) {
            expect_parsed(parse_apn_item, item_with(field.index, text), 0,
                          record_of_item().number(field.offset, number), kSkip);
        }
    }
}

TEST(ApnItem, text_that_is_too_long_is_cut_and_its_neighbours_stay)
{
    struct Field {
        size_t index;
        size_t offset;
        size_t capacity;
    };
    for (const Field &field : {Field{0, 81, 64}, Field{3, 146, 64}, Field{4, 211, 64}, Field{5, 16, 64},
                               Field{7, 276, 19}}) {
        for (const size_t size : {field.capacity, field.capacity + 1, size_t{5000}}) {
            expect_parsed(parse_apn_item, item_with(field.index, std::string(size, 'W')), 0,
                          record_of_item().text(field.offset, std::string(field.capacity, 'W')), kSkip);
        }
    }
}

TEST(ApnList, takes_the_first_usable_item)
{
    expect_parsed(parse_apn_list, std::string(kItem) + '>' + item_with(5, "later") + '>', 0,
                  record_of_item(), kSkip + found("five"));
}

TEST(ApnList, passes_over_disabled_items_silently_and_over_malformed_ones_with_a_trace)
{
    const std::string item = std::string(kItem) + '>';
    const std::string disabled = item_with(1, "0") + '>';
    expect_parsed(parse_apn_list, disabled + disabled + item, 0, record_of_item(),
                  kSkip + found("five"));
    expect_parsed(parse_apn_list, "a&1&b&c>>" + item, 0, record_of_item(),
                  kSkip + parse_error("c", 3) + parse_error("", 0) + kSkip + found("five"));
}

TEST(ApnList, of_disabled_items_has_nothing_and_leaves_the_last_one)
{
    expect_parsed(parse_apn_list, item_with(1, "0") + ">last&0&>", -1, ApnRecord().text(81, "last"),
                  kNotFound);
}

TEST(ApnList, text_behind_the_last_mark_is_no_item)
{
    for (const std::string &list : {std::string(), std::string(kItem)}) {
        unlink(kTraceFile);
        Guarded<apn_item> out;
        EXPECT_EQ(parse_apn_list(list.c_str(), out.get()), -1);
        EXPECT_TRUE(out.untouched());
        EXPECT_EQ(trace_text(), kNotFound);
    }
    expect_parsed(parse_apn_list, item_with(1, "0") + '>' + kItem, -1, ApnRecord().text(81, "zero"),
                  kNotFound);
}

TEST(ApnList, name_may_be_empty)
{
    expect_parsed(parse_apn_list, item_with(5, "") + '>', 0,
                  record_of_item().text(16, std::string(4, '\0')), kSkip + found(""));
}

TEST(ApnList, item_of_511_characters_is_read_whole_and_a_longer_one_is_cut)
{
    struct Case {
        size_t size;
        uint32_t last;
    };
    for (const auto &[size, last] : {Case{510, 12}, Case{511, 12}, Case{512, 1}}) {
        expect_parsed(parse_apn_list, item_of_size(size, "12") + '>', 0,
                      record_of_item().number(304, last), kSkip + found("five"));
    }
}

TEST(ApnList, item_that_is_far_too_long_does_not_hide_the_next)
{
    const std::string rest(511 - strlen("zero&1&"), '.');
    expect_parsed(parse_apn_list, item_of_size(5000, "12") + '>' + kItem + '>', 0, record_of_item(),
                  parse_error(rest, 2) + kSkip + found("five"));
}

} // namespace apn_list_test
