// Looking a parameter up in a parameter file.
#include "lc_nv.h"
#include "support/parameter_files.h"

#include <gtest/gtest.h>

#include <cctype>
#include <initializer_list>
#include <string>
#include <unistd.h>
#include <vector>

namespace parsefile_test {

using namespace testing_support;

namespace {

constexpr char kPath[] = "/tmp/parameters";
constexpr uint32_t kSize = 5000;
constexpr size_t kBlock = NV_LINE_SIZE; // what the checksum is run over at a time

ReadResult look_up(const std::string &path, const std::string &name, int has_crc, uint32_t size)
{
    return read_with(size, [&](char *buffer, uint32_t capacity) {
        return nvm_parsefile(path.c_str(), name.c_str(), buffer, capacity, has_crc);
    });
}

ReadResult look_up_in(const std::string &content, const std::string &name, uint32_t size = kSize)
{
    write_text(kPath, content);
    return look_up(kPath, name, 0, size);
}

// The file begins with a checksum line, or should.
ReadResult look_up_checked(const std::string &content, const std::string &name)
{
    write_text(kPath, content);
    return look_up(kPath, name, 1, kSize);
}

std::string lower_case(std::string text)
{
    for (char &ch : text) {
        ch = static_cast<char>(tolower(ch));
    }
    return text;
}

// Lines whose last declares "last=1=value", `size` bytes in all.
std::string lines_of_size(size_t size)
{
    const std::string last = "last=1=value\n";
    const std::string line = "#" + std::string(98, '-') + "\n";
    std::string lines;
    while (lines.size() + line.size() + last.size() < size) {
        lines += line;
    }
    return lines + "#" + std::string(size - last.size() - lines.size() - 2, '-') + "\n" + last;
}

// Lines that declare "a=1=x"; the first two digits of their checksum are 0, so that two bytes are free.
std::string lines_with_a_sum_of_six_digits()
{
    std::string lines;
    int number = 0;
    do {
        lines = "a=1=x\n#" + std::to_string(number++) + "\n";
    } while (!with_checksum(lines).starts_with("00"));
    return lines;
}

} // namespace

TEST(ParseFile, copies_the_value_of_the_parameter)
{
    EXPECT_EQ(look_up_in("a=1=x\nb=0=a value\nc=2=z\n", "b"), found("a value"));
}

TEST(ParseFile, buffer_must_hold_the_value_with_its_terminator)
{
    EXPECT_EQ(look_up_in("a=1=ab\n", "a", 2), refused(2));
    EXPECT_EQ(look_up_in("a=1=ab\n", "a", 3), found("ab"));
    EXPECT_EQ(look_up_in("a=1=\n", "a", 0), refused(2));
    EXPECT_EQ(look_up_in("a=1=\n", "a", 1), found(""));
}

TEST(ParseFile, name_that_is_not_in_the_file_gives_1)
{
    EXPECT_EQ(look_up_in("a=1=x\n", "b"), refused(1));
    EXPECT_EQ(look_up_in("", "a"), refused(1));
    EXPECT_EQ(look_up_in("# a=1=x\n\n", "a"), refused(1));
}

TEST(ParseFile, names_are_equal_byte_for_byte)
{
    const std::string content = "name=1=x\n";
    for (const char *name : {"Name", "nam", "name1", "name=1", "", " name", "name\n"}) {
        EXPECT_EQ(look_up_in(content, name), refused(1)) << name;
    }
    EXPECT_EQ(look_up_in(content, std::string(5000, 'n')), refused(1));
}

TEST(ParseFile, empty_name_is_a_name) { EXPECT_EQ(look_up_in("a=1=x\n=1=y\n", ""), found("y")); }

TEST(ParseFile, first_of_two_lines_counts)
{
    EXPECT_EQ(look_up_in("a=1=first\na=1=second\n", "a"), found("first"));
    // Also when only the second would fit.
    EXPECT_EQ(look_up_in("a=1=first\na=1=2\n", "a", 2), refused(2));
}

TEST(ParseFile, comments_and_empty_lines_are_passed_over)
{
    EXPECT_EQ(look_up_in("\n# comment\n\n#a=1=no\na=1=x\n", "a"), found("x"));
}

TEST(ParseFile, value_of_4095_bytes_is_found)
{
    const std::string value(4095, 'v');
    EXPECT_EQ(look_up_in("a=1=" + value + "\n", "a", 4096), found(value));
    EXPECT_EQ(look_up_in("a=1=" + value + "\n", "a", 4095), refused(2));
    EXPECT_EQ(look_up_in("a=1=" + value + "v\n", "a"), refused(3));
}

// ---- Arguments and files ----

TEST(ParseFile, null_buffer_gives_2_before_anything_else)
{
    write_text(kPath, "broken\n");
    EXPECT_EQ(nvm_parsefile(nullptr, "a", nullptr, 10, 0), 2U);
    EXPECT_EQ(nvm_parsefile("/tmp/missing", "a", nullptr, 10, 0), 2U);
    EXPECT_EQ(nvm_parsefile(kPath, "a", nullptr, 10, 1), 2U);
}

TEST(ParseFile, null_name_gives_2)
{
    write_text(kPath, "a=1=x\n");
    char buffer[8];
    EXPECT_EQ(nvm_parsefile(kPath, nullptr, buffer, sizeof(buffer), 0), 2U);
}

TEST(ParseFile, null_path_gives_3)
{
    char buffer[8];
    EXPECT_EQ(nvm_parsefile(nullptr, "a", buffer, sizeof(buffer), 0), 3U);
    EXPECT_EQ(nvm_parsefile(nullptr, "a", buffer, 0, 1), 3U);
}

TEST(ParseFile, missing_file_gives_3)
{
    EXPECT_EQ(look_up("/tmp/missing", "a", 0, kSize), refused(3));
    EXPECT_EQ(look_up("", "a", 0, kSize), refused(3));
    EXPECT_EQ(look_up("/tmp/missing", "a", 1, kSize), refused(3));
}

TEST(ParseFile, what_opens_but_cannot_be_read_gives_3)
{
    // A folder, and a file whose start is mapped nowhere.
    for (const char *path : {"/tmp", "/tmp/", "/proc/self/mem"}) {
        EXPECT_EQ(look_up(path, "a", 0, kSize), refused(3)) << path;
        EXPECT_EQ(look_up(path, "a", 1, kSize), refused(3)) << path;
    }
}

TEST(ParseFile, is_not_changed_by_a_lookup)
{
    const std::string content = with_checksum("# c\na=1=x=y\n");
    EXPECT_EQ(look_up_checked(content, "a"), found("x=y"));
    EXPECT_EQ(read_text(kPath), content);
}

TEST(ParseFile, leaves_no_descriptor_open)
{
    const std::string good = "a=1=x\n";
    const int before = count_descriptors();
    look_up_in(good, "a");
    look_up_in(good, "a", 1);
    look_up_in(good, "b");
    look_up_in("broken\n", "a");
    look_up_checked(with_checksum(good), "a");
    look_up_checked(with_checksum(good) + "\n", "a");
    look_up_checked("0123\n", "a");
    look_up_checked("", "a");
    look_up("/tmp/missing", "a", 0, kSize);
    EXPECT_EQ(count_descriptors(), before);
}

// ---- Malformed lines ----

TEST(ParseFile, malformed_line_before_the_parameter_gives_3)
{
    for (const char *line : {"b", "b=1", "b=g=y", "b==y", "b d=1=y", " ", "\r", "b=100000000=y"}) {
        EXPECT_EQ(look_up_in(line + std::string("\na=1=x\n"), "a"), refused(3)) << line;
    }
    EXPECT_EQ(look_up_in(std::string("b=1=y\0z\na=1=x\n", 14), "a"), refused(3));
}

TEST(ParseFile, malformed_line_behind_the_parameter_is_not_reached)
{
    EXPECT_EQ(look_up_in("a=1=x\nbroken\n", "a"), found("x"));
    EXPECT_EQ(look_up_in("a=1=xyz\nbroken\n", "a", 3), refused(2));
    EXPECT_EQ(look_up_in("a=1=x\nbroken\n", "b"), refused(3));
}

TEST(ParseFile, malformed_line_or_unreadable_file_gives_3_also_for_a_name_that_no_file_can_hold)
{
    for (const std::string &name : {std::string(128, 'n'), std::string("a d"), std::string("a=1")}) {
        EXPECT_EQ(look_up_in("a=1=x\nbroken\n", name), refused(3)) << name;
        EXPECT_EQ(look_up_checked("00000001\n", name), refused(3)) << name;
        EXPECT_EQ(look_up("/tmp/missing", name, 0, kSize), refused(3)) << name;
    }
}

TEST(ParseFile, last_line_needs_a_line_feed)
{
    EXPECT_EQ(look_up_in("a=1=x", "a"), refused(3));
    EXPECT_EQ(look_up_in("a=1=x\nb=1=y", "a"), found("x"));
    EXPECT_EQ(look_up_in("a=1=x\n# no line feed", "b"), refused(1));
}

TEST(ParseFile, line_of_4255_bytes_is_read_and_of_4256_is_malformed)
{
    const std::string name(127, 'n');
    const std::string longest = line_of_size(4255);
    ASSERT_EQ(longest.size(), 4255U);
    EXPECT_EQ(look_up_in(longest + "a=1=x\n", name), found(std::string(4095, 'v')));
    EXPECT_EQ(look_up_in(longest + "a=1=x\n", "a"), found("x"));
    EXPECT_EQ(look_up_in(line_of_size(4256), name), refused(3));
    EXPECT_EQ(look_up_in(line_of_size(4256) + "a=1=x\n", "a"), refused(3));
    EXPECT_EQ(look_up_in("a=1=x\n" + line_of_size(4256), "a"), found("x"));
}

TEST(ParseFile, comment_of_4255_bytes_is_skipped_and_the_rest_of_a_longer_one_is_a_line)
{
    const std::string comment = "#" + std::string(4254, '-');
    EXPECT_EQ(look_up_in("#" + std::string(4253, '-') + "\na=1=x\n", "a"), found("x"));
    EXPECT_EQ(look_up_in(comment + "\na=1=x\n", "a"), found("x"));
    EXPECT_EQ(look_up_in(comment + "a=1=x\n", "a"), found("x"));
    EXPECT_EQ(look_up_in(comment + "-\na=1=x\n", "a"), refused(3));
}

// ---- The checksum line ----

TEST(ParseFileChecksum, is_asked_for_by_any_non_zero_value)
{
    write_text(kPath, with_checksum("a=1=x\n"));
    for (const int has_crc : {1, 2, -1, 0x100, 0x10000}) {
        EXPECT_EQ(look_up(kPath, "a", has_crc, kSize), found("x")) << has_crc;
    }
}

TEST(ParseFileChecksum, is_a_malformed_line_when_not_asked_for)
{
    EXPECT_EQ(look_up_in(with_checksum("a=1=x\n"), "a"), refused(3));
}

TEST(ParseFileChecksum, may_be_in_either_case)
{
    const std::string lines = "a=1=x\nb=2=y\n";
    const std::string content = with_checksum(lines);
    const std::string header = content.substr(0, 9);
    ASSERT_NE(lower_case(header), header);
    EXPECT_EQ(look_up_checked(content, "b"), found("y"));
    EXPECT_EQ(look_up_checked(lower_case(header) + lines, "b"), found("y"));
}

TEST(ParseFileChecksum, of_nothing_is_0)
{
    EXPECT_EQ(look_up_checked("00000000\n", "a"), refused(1));
    EXPECT_EQ(look_up_checked("00000001\n", "a"), refused(3));
}

TEST(ParseFileChecksum, is_needed_whole)
{
    const std::string lines = "a=1=x\n";
    const std::string content = with_checksum(lines);
    for (size_t size = 0; size < 9; ++size) {
        EXPECT_EQ(look_up_checked(content.substr(0, size), "a"), refused(3)) << size;
    }
    EXPECT_EQ(look_up_checked(lines, "a"), refused(3));
    EXPECT_EQ(look_up_checked("", "a"), refused(3));
}

TEST(ParseFileChecksum, has_eight_digits_and_a_line_feed)
{
    // Nothing follows, so that each would match if it were taken for 0.
    for (const char *header :
         {"00000000 ", "00000000\r", "000000000", "0000000\n\n", "0000000 \n", "0000000g\n",
          "00000000=", "\n00000000", "        \n", "        0", "0000000x\n", "------0-\n"}) {
        EXPECT_EQ(look_up_checked(header, "a"), refused(3)) << header;
    }
    EXPECT_EQ(look_up_checked(std::string("0000000\0\n", 9), "a"), refused(3));
    EXPECT_EQ(look_up_checked(std::string("\0\0\0\0\0\0\0\0\n", 9), "a"), refused(3));
    EXPECT_EQ(look_up_checked(std::string("00000000\0", 9), "a"), refused(3));
}

TEST(ParseFileChecksum, may_have_blanks_a_sign_or_a_prefix_among_its_eight_bytes)
{
    // Nothing follows: the sum is 0.
    for (const char *header : {" 0000000\n", "+0000000\n", "-0000000\n", "0x000000\n", "0X000000\n",
                               "\t\n\r 0000\n", "\v\f  +0x0\n", "       0\n"}) {
        EXPECT_EQ(look_up_checked(header, "a"), refused(1)) << header;
    }
    for (const char *header : {" 0000001\n", "+0000001\n", "-0000001\n", "0x000001\n", "      0x\n",
                               "0x0x0000\n", "+-000000\n", "+ 000000\n", "0000000 \n", "       +\n"}) {
        EXPECT_EQ(look_up_checked(header, "a"), refused(3)) << header;
    }
}

TEST(ParseFileChecksum, with_a_prefix_covers_what_follows)
{
    const std::string lines = lines_with_a_sum_of_six_digits();
    const std::string digits = with_checksum(lines).substr(2);
    EXPECT_EQ(look_up_checked("0x" + digits, "a"), found("x"));
    EXPECT_EQ(look_up_checked("0X" + digits, "a"), found("x"));
    EXPECT_EQ(look_up_checked(" +" + digits, "a"), found("x"));
    EXPECT_EQ(look_up_checked(" -" + digits, "a"), refused(3));
    EXPECT_EQ(look_up_checked("0x" + digits + "\n", "a"), refused(3));
    EXPECT_EQ(look_up_checked("x0" + digits, "a"), refused(3));
}

TEST(ParseFileChecksum, covers_every_byte_behind_it)
{
    const std::string content = with_checksum("a=1=x\nb=1=y\n# end\n");
    ASSERT_EQ(look_up_checked(content, "b"), found("y"));
    for (size_t i = 0; i < content.size(); ++i) {
        for (const int bit : {1, 2, 16, 128}) {
            std::string damaged = content;
            damaged[i] = static_cast<char>(damaged[i] ^ bit);
            EXPECT_EQ(look_up_checked(damaged, "b"), refused(3)) << i << " " << bit;
        }
        EXPECT_EQ(look_up_checked(content.substr(0, i), "b"), refused(3)) << i;
    }
    EXPECT_EQ(look_up_checked(content + "\n", "b"), refused(3));
}

TEST(ParseFileChecksum, covers_files_of_several_blocks)
{
    for (const size_t size : {kBlock - 1, kBlock, kBlock + 1, 3 * kBlock, 5 * kBlock + 17}) {
        const std::string lines = lines_of_size(size);
        ASSERT_EQ(lines.size(), size);
        const std::string content = with_checksum(lines);
        EXPECT_EQ(look_up_checked(content, "last"), found("value")) << size;
        for (size_t at = NV_CHECKSUM_SIZE; at < content.size(); at += kBlock) {
            std::string damaged = content;
            damaged[at] ^= 1;
            EXPECT_EQ(look_up_checked(damaged, "last"), refused(3)) << size << " " << at;
        }
    }
}

TEST(ParseFileChecksum, is_checked_before_any_line_is_looked_at)
{
    std::string content = with_checksum("a=1=x\nb=1=y\n");
    content[content.size() - 2] = 'z';
    EXPECT_EQ(look_up_checked(content, "a"), refused(3));
}

TEST(ParseFileChecksum, that_is_right_does_not_excuse_a_malformed_line)
{
    EXPECT_EQ(look_up_checked(with_checksum("broken\na=1=x\n"), "a"), refused(3));
    EXPECT_EQ(look_up_checked(with_checksum("a=1=x\nbroken\n"), "a"), found("x"));
}

TEST(ParseFileChecksum, needs_a_file_that_can_be_read_twice)
{
    for (const int has_crc : {0, 1}) {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        const std::string lines = "a=1=x\n";
        const std::string content = has_crc != 0 ? with_checksum(lines) : lines;
        EXPECT_EQ(write(ends[1], content.data(), content.size()), static_cast<ssize_t>(content.size()));
        close(ends[1]);
        EXPECT_EQ(look_up("/proc/self/fd/" + std::to_string(ends[0]), "a", has_crc, kSize),
                  has_crc != 0 ? refused(3) : found("x"));
        close(ends[0]);
    }
}

} // namespace parsefile_test
