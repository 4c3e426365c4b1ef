// What is printed of the operator list in the RAM store.
#include "lte_sdk/core.h"
#include "support/ram_store.h"
#include "support/standard_output.h"
#include "support/trace_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace netlist_test {

using namespace testing_support;

namespace {

constexpr char kKey[] = "wm_search_netlist_nv";
constexpr char kUnfilled[] = ",0,0,0,0,0,0,0";

std::string printed() { return printed_by(netlist_nv); }

std::string scanned(const std::string &entry) { return "sscanf:**" + entry + "**\n"; }

// The ten records, of which the first have these texts.
std::string list_of(std::vector<std::string> records)
{
    records.resize(10, kUnfilled);
    std::string text = "nv value list:--------\n";
    for (const std::string &record : records) {
        text += record + '\n';
    }
    return text + "nv value list end--------\n";
}

std::string numbered(size_t i)
{
    return "Operator " + std::to_string(i) + ",1,2,3,4,5,6," + std::to_string(i);
}

class Netlist : public RamStore {
protected:
    ~Netlist() override { EXPECT_EQ(trace_text(), ""); }

    static std::string print(const std::string &value)
    {
        put(kKey, stored(value));
        return printed();
    }

    // One entry behind the head, and its record.
    static void expect_entry(const std::string &entry, const std::string &record)
    {
        EXPECT_EQ(print("1>" + entry + '>'), scanned(entry) + list_of({record}));
    }
};

} // namespace

TEST_F(Netlist, missing_parameter_is_a_line) { EXPECT_EQ(printed(), "read nv err\n"); }

TEST_F(Netlist, empty_value_and_end_are_no_list)
{
    EXPECT_EQ(print(""), "nv value:****\n");
    EXPECT_EQ(print("end"), "nv value:**end**\n");
}

TEST_F(Netlist, only_end_itself_is_no_list)
{
    for (const char *value : {"END", "end ", "ending", "en"}) {
        EXPECT_EQ(print(value), list_of({})) << value;
    }
    EXPECT_EQ(print("end>"), list_of({}));
}

TEST_F(Netlist, value_of_523_characters_is_a_list_and_a_longer_one_cannot_be_read)
{
    std::string value = "1>" + numbered(1) + '>';
    const std::string expected = scanned(numbered(1)) + scanned(std::string(63, 'x'));
    value.resize(523, 'x');
    EXPECT_EQ(print(value), expected + list_of({numbered(1), std::string(15, 'x') + kUnfilled}));
    EXPECT_EQ(print(value + 'x'), "read nv err\n");
}

TEST_F(Netlist, head_up_to_the_first_mark_is_skipped)
{
    for (const char *head : {"", "1", "a head, with 1,2,3", "end"}) {
        EXPECT_EQ(print(std::string(head) + '>' + numbered(1) + '>'),
                  scanned(numbered(1)) + list_of({numbered(1)}))
            << head;
    }
}

TEST_F(Netlist, nothing_behind_the_head_is_a_list_of_ten_unfilled_records)
{
    EXPECT_EQ(print(">"), list_of({}));
    EXPECT_EQ(print("head"), list_of({}));
    EXPECT_EQ(print("head>"), list_of({}));
}

TEST_F(Netlist, each_entry_is_shown_as_it_is_read_and_as_a_record)
{
    EXPECT_EQ(print("2>North,1,46001,2,-3,4,5,6>South East,0,65535,7,8,9,10,-11>"),
              scanned("North,1,46001,2,-3,4,5,6") + scanned("South East,0,65535,7,8,9,10,-11") +
                  list_of({"North,1,46001,2,-3,4,5,6", "South East,0,65535,7,8,9,10,-11"}));
}

TEST_F(Netlist, numbers_use_their_whole_width)
{
    expect_entry("N,65535,65535,2147483647,-2147483648,2147483647,-2147483648,0",
                 "N,65535,65535,2147483647,-2147483648,2147483647,-2147483648,0");
}

TEST_F(Netlist, at_most_ten_entries_are_read)
{
    std::string value = "11>";
    std::string lines;
    std::vector<std::string> records;
    for (size_t i = 0; i < 10; ++i) {
        value += numbered(i) + '>';
        lines += scanned(numbered(i));
        records.push_back(numbered(i));
    }
    EXPECT_EQ(print(value), lines + list_of(records));
    EXPECT_EQ(print(value + numbered(10) + '>'), lines + list_of(records));
}

TEST_F(Netlist, last_entry_needs_no_mark)
{
    EXPECT_EQ(print("2>" + numbered(1) + '>' + numbered(2)),
              scanned(numbered(1)) + scanned(numbered(2)) + list_of({numbered(1), numbered(2)}));
}

TEST_F(Netlist, entry_of_63_characters_is_read_whole_and_a_longer_one_is_cut)
{
    // Zeroes in front make it as long as it is to be.
    const auto entry_of = [](size_t size) {
        const std::string start = "N,1,2,3,4,5,6,";
        return start + std::string(size - start.size() - 2, '0') + "12";
    };
    expect_entry(entry_of(63), "N,1,2,3,4,5,6,12");
    const std::string next = '>' + numbered(2) + '>';
    EXPECT_EQ(print("2>" + entry_of(64) + next), scanned(entry_of(64).substr(0, 63)) +
                                                     scanned(numbered(2)) +
                                                     list_of({"N,1,2,3,4,5,6,1", numbered(2)}));
    EXPECT_EQ(print("2>" + entry_of(400) + next), scanned(entry_of(400).substr(0, 63)) +
                                                      scanned(numbered(2)) +
                                                      list_of({"N,1,2,3,4,5,6,0", numbered(2)}));
}

TEST_F(Netlist, name_that_is_too_long_is_cut_and_the_numbers_stay)
{
    const std::string name = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUV";
    for (const size_t size : {14U, 15U, 16U, 17U, 40U, 48U}) {
        const std::string shown = name.substr(0, std::min<size_t>(size, 15));
        expect_entry(name.substr(0, size) + ",1,2,3,4,5,6,7", shown + ",1,2,3,4,5,6,7");
    }
}

TEST_F(Netlist, missing_or_malformed_fields_stay_0)
{
    expect_entry("", kUnfilled);
    expect_entry("Name", std::string("Name") + kUnfilled);
    expect_entry("Name,", std::string("Name") + kUnfilled);
    expect_entry("Name,1,2,3", "Name,1,2,3,0,0,0,0");
    expect_entry("Name,1,x,3,4,5,6,7", "Name,1,0,0,0,0,0,0");
    expect_entry("Name,1,,3,4,5,6,7", "Name,1,0,0,0,0,0,0");
    expect_entry(",1,2,3,4,5,6,7", kUnfilled);
    expect_entry("Name,1,2,3,4,5,6,7,8", "Name,1,2,3,4,5,6,7");
}

TEST_F(Netlist, empty_entry_does_not_end_the_list)
{
    EXPECT_EQ(print("2>>" + numbered(2) + '>'),
              scanned("") + scanned(numbered(2)) + list_of({kUnfilled, numbered(2)}));
}

} // namespace netlist_test
