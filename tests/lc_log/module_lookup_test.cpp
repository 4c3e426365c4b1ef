// The log modules: sixteen built in, the others in the configuration file.

#include "lc_log.h"
#include "support/log_config.h"

#include <climits>

namespace module_lookup_test {

using namespace testing_support;

namespace {

constexpr int kNotFound = 3;
constexpr int kNoFile = 4;

void expect_module(int32_t id, char letter, const std::string &name)
{
    logconfig found;
    memset(&found, 0x55, sizeof(found));
    ASSERT_EQ(get_logconfig_by_ID(&found, id), 0) << "id " << id;
    EXPECT_EQ(found.id, id);
    EXPECT_EQ(found.letter, letter);
    EXPECT_EQ(found.name, name);
}

void expect_no_module(int32_t id)
{
    EXPECT_EQ(get_logconfig_by_ID(nullptr, id), kNotFound) << "id " << id;
}

// A file that has this line, and behind it one for module 77.
void expect_line_is_skipped(const std::string &line)
{
    SCOPED_TRACE(line);
    const LogConfig config(line + "\n77,k,KNOWN\n");
    expect_no_module(16);
    expect_module(77, 'k', "KNOWN");
}

} // namespace

TEST(ModuleLookup, sixteen_modules_are_built_in)
{
    expect_module(0, 's', "SC");
    expect_module(1, 'd', "DM");
    expect_module(2, 'a', "ATPXYD");
    expect_module(3, 'w', "WanManager");
    expect_module(4, 'n', "NM");
    expect_module(5, 'r', "RM");
    expect_module(6, 'u', "UI");
    expect_module(7, 'U', "UP");
    expect_module(8, 'N', "NS");
    expect_module(9, 'D', "DIAG");
    expect_module(10, 'c', "CGI");
    expect_module(11, 'W', "DOG");
    expect_module(12, 'M', "MM");
    expect_module(13, 'z', "WLAN");
    expect_module(14, 'y', "SMSPB");
    expect_module(15, 'C', "CM");
}

TEST(ModuleLookup, other_modules_need_the_file)
{
    for (const int32_t id : {16, 123, INT32_MAX, -1, INT32_MIN}) {
        EXPECT_EQ(get_logconfig_by_ID(nullptr, id), kNoFile);
    }
}

TEST(ModuleLookup, record_that_is_not_found_is_not_written)
{
    logconfig record = {-7, '?', "unwritten"};
    EXPECT_EQ(get_logconfig_by_ID(&record, 16), kNoFile);
    const LogConfig config("17,x,OTHER\n");
    EXPECT_EQ(get_logconfig_by_ID(&record, 16), kNotFound);
    EXPECT_EQ(record.id, -7);
    EXPECT_EQ(record.letter, '?');
    EXPECT_STREQ(record.name, "unwritten");
}

TEST(ModuleLookup, caller_may_ask_without_a_record)
{
    const LogConfig config("16,x,NEWMOD\n");
    EXPECT_EQ(get_logconfig_by_ID(nullptr, 3), 0);
    EXPECT_EQ(get_logconfig_by_ID(nullptr, 16), 0);
}

TEST(ModuleLookup, file_cannot_change_a_built_in_module)
{
    const LogConfig config("3,x,OTHER\n0,x,OTHER\n15,x,OTHER\n");
    expect_module(3, 'w', "WanManager");
    expect_module(0, 's', "SC");
    expect_module(15, 'C', "CM");
}

TEST(ModuleLookup, file_names_further_modules)
{
    const LogConfig config("16,x,NEWMOD\n123,y,Other-Mod_2\n");
    expect_module(16, 'x', "NEWMOD");
    expect_module(123, 'y', "Other-Mod_2");
    expect_no_module(17);
}

TEST(ModuleLookup, negative_ids_are_looked_for_in_the_file)
{
    const LogConfig config("-5,x,BELOW\n");
    expect_module(-5, 'x', "BELOW");
    expect_no_module(-6);
}

TEST(ModuleLookup, shorter_name_behind_a_longer_one_has_nothing_of_it)
{
    const LogConfig config("16,x,LONGER_NAME\n17,y,AB\n");
    expect_module(17, 'y', "AB");
}

TEST(ModuleLookup, first_of_two_lines_with_the_same_id_wins)
{
    const LogConfig config("16,x,FIRST\n16,y,SECOND\n");
    expect_module(16, 'x', "FIRST");
}

TEST(ModuleLookup, malformed_line_does_not_count_as_the_first)
{
    const LogConfig config("16,xy,FIRST\n16,y,SECOND\n");
    expect_module(16, 'y', "SECOND");
}

TEST(ModuleLookup, last_line_may_lack_its_newline)
{
    const LogConfig config("17,y,OTHER\n16,x,NEWMOD");
    expect_module(16, 'x', "NEWMOD");
}

TEST(ModuleLookup, empty_file_and_empty_lines_name_nothing)
{
    {
        const LogConfig config("");
        expect_no_module(16);
    }
    const LogConfig config("\n\n16,x,NEWMOD\n\n");
    expect_module(16, 'x', "NEWMOD");
    expect_no_module(17);
}

TEST(ModuleLookup, line_that_begins_with_a_hash_sign_is_a_comment)
{
    expect_line_is_skipped("#16,x,NAME");
    expect_line_is_skipped("#");
}

TEST(ModuleLookup, hash_sign_further_on_is_part_of_its_field)
{
    const LogConfig config("16,#,N#1\n");
    expect_module(16, '#', "N#1");
}

TEST(ModuleLookup, line_needs_three_fields)
{
    expect_line_is_skipped("16");
    expect_line_is_skipped("16,x");
    expect_line_is_skipped("16,");
    expect_line_is_skipped(",");
}

TEST(ModuleLookup, id_is_1_to_10_characters)
{
    expect_line_is_skipped(",x,NAME");
    expect_line_is_skipped("00000000016,x,NAME");
    const LogConfig config("0000000016,x,TEN\n1,x,ONE\n2147483647,y,LARGEST\n");
    expect_module(16, 'x', "TEN");
    expect_module(INT_MAX, 'y', "LARGEST");
}

TEST(ModuleLookup, id_is_read_as_atoi_does)
{
    const LogConfig config(" 16abc,x,SPACED\n+17,y,SIGNED\n");
    expect_module(16, 'x', "SPACED");
    expect_module(17, 'y', "SIGNED");
}

TEST(ModuleLookup, letter_is_exactly_one_character)
{
    expect_line_is_skipped("16,xy,NAME");
    expect_line_is_skipped("16,,NAME");
    expect_line_is_skipped("16,,,NAME");
    const LogConfig config("16, ,BLANK\n");
    expect_module(16, ' ', "BLANK");
}

TEST(ModuleLookup, name_is_1_to_32_characters)
{
    expect_line_is_skipped("16,x,");
    expect_line_is_skipped("16,x," + std::string(33, 'N'));
    const LogConfig config("16,x," + std::string(32, 'N') + "\n17,y,1\n");
    expect_module(16, 'x', std::string(32, 'N'));
    expect_module(17, 'y', "1");
}

TEST(ModuleLookup, name_goes_to_the_end_of_the_line_as_it_stands)
{
    const LogConfig config("16,x,A,B,,C\n17,x, BLANKS \n18,x,RETURN\r\n19,x,\xFF\xE4\n");
    expect_module(16, 'x', "A,B,,C");
    expect_module(17, 'x', " BLANKS ");
    expect_module(18, 'x', "RETURN\r");
    expect_module(19, 'x', "\xFF\xE4");
}

TEST(ModuleLookup, line_of_44_characters_counts_whole)
{
    const std::string name(31, 'N');
    const LogConfig config("0000000016,x," + name + "\n");
    expect_module(16, 'x', name);
}

TEST(ModuleLookup, line_counts_up_to_its_44th_character)
{
    const std::string name(31, 'N');
    const LogConfig config("0000000016,x," + name + "!\n0000000017,y," + name + std::string(500, '!') +
                           "\n18,z,NEXT\n");
    expect_module(16, 'x', name);
    expect_module(17, 'y', name);
    expect_module(18, 'z', "NEXT");
}

TEST(ModuleLookup, rest_of_an_over_long_line_is_no_line)
{
    expect_line_is_skipped(std::string(44, '#') + "16,x,REST");
    expect_line_is_skipped(std::string(44, ' ') + "16,x,REST");
    expect_line_is_skipped(std::string(45, ' ') + "16,x,REST");
}

TEST(ModuleLookup, file_is_closed_whether_or_not_the_module_is_found)
{
    const LogConfig config("16,x,NEWMOD\n");
    const int before = count_descriptors();
    EXPECT_EQ(get_logconfig_by_ID(nullptr, 16), 0);
    EXPECT_EQ(get_logconfig_by_ID(nullptr, 17), kNotFound);
    EXPECT_EQ(count_descriptors(), before);
}

} // namespace module_lookup_test
