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

const std::string kLongestName(127, 'n');
const std::string kLongestValue(4095, 'v');
const std::string kComment = "#" + std::string(4254, '-'); // as long as a line that is read at once

const struct {
    const char *claim;
    std::string content;
    std::string name;
    ReadResult result;
    uint32_t size = kSize;
} kLookups[] = {
    {"the parameter's value", "a=1=x\nb=0=a value\nc=2=z\n", "b", found("a value")},
    {"no room for the terminator", "a=1=ab\n", "a", refused(2), 2},
    {"room for it", "a=1=ab\n", "a", found("ab"), 3},
    {"no room at all", "a=1=\n", "a", refused(2), 0},
    {"room for an empty value", "a=1=\n", "a", found(""), 1},
    {"another name", "a=1=x\n", "b", refused(1)},
    {"an empty file", "", "a", refused(1)},
    {"only a comment", "# a=1=x\n\n", "a", refused(1)},
    {"case counts", "name=1=x\n", "Name", refused(1)},
    {"a beginning is not the name", "name=1=x\n", "nam", refused(1)},
    {"nor is more than the name", "name=1=x\n", "name1", refused(1)},
    {"nor is more of the line", "name=1=x\n", "name=1", refused(1)},
    {"nor is nothing", "name=1=x\n", "", refused(1)},
    {"a blank counts", "name=1=x\n", " name", refused(1)},
    {"a line feed counts", "name=1=x\n", "name\n", refused(1)},
    {"a name that is too long", "name=1=x\n", std::string(5000, 'n'), refused(1)},
    {"the empty name", "a=1=x\n=1=y\n", "", found("y")},
    {"the first of two lines", "a=1=first\na=1=second\n", "a", found("first")},
    {"also when only the second would fit", "a=1=first\na=1=2\n", "a", refused(2), 2},
    {"comments and empty lines", "\n# comment\n\n#a=1=no\na=1=x\n", "a", found("x")},
    {"the longest value", "a=1=" + kLongestValue + "\n", "a", found(kLongestValue), 4096},
    {"without room for it", "a=1=" + kLongestValue + "\n", "a", refused(2), 4095},
    {"a longer value", "a=1=" + kLongestValue + "v\n", "a", refused(3)},
    {"one field before it", "b\na=1=x\n", "a", refused(3)},
    {"two fields before it", "b=1\na=1=x\n", "a", refused(3)},
    {"bad bits before it", "b=g=y\na=1=x\n", "a", refused(3)},
    {"no bits before it", "b==y\na=1=x\n", "a", refused(3)},
    {"a bad name before it", "b d=1=y\na=1=x\n", "a", refused(3)},
    {"a blank before it", " \na=1=x\n", "a", refused(3)},
    {"a carriage return before it", "\r\na=1=x\n", "a", refused(3)},
    {"too many bits before it", "b=100000000=y\na=1=x\n", "a", refused(3)},
    {"a NUL before it", std::string("b=1=y\0z\na=1=x\n", 14), "a", refused(3)},
    {"a malformed line behind it is not reached", "a=1=x\nbroken\n", "a", found("x")},
    {"nor when there is no room", "a=1=xyz\nbroken\n", "a", refused(2), 3},
    {"but by another name", "a=1=x\nbroken\n", "b", refused(3)},
    {"the last line needs a line feed", "a=1=x", "a", refused(3)},
    {"when it is reached", "a=1=x\nb=1=y", "a", found("x")},
    {"but not as a comment", "a=1=x\n# no line feed", "b", refused(1)},
    {"a line of 4255 bytes", line_of_size(4255) + "a=1=x\n", kLongestName, found(kLongestValue)},
    {"and what follows", line_of_size(4255) + "a=1=x\n", "a", found("x")},
    {"a line of 4256 bytes", line_of_size(4256), kLongestName, refused(3)},
    {"and what follows", line_of_size(4256) + "a=1=x\n", "a", refused(3)},
    {"but not what comes before", "a=1=x\n" + line_of_size(4256), "a", found("x")},
    {"a comment of 4254 bytes", kComment.substr(0, 4254) + "\na=1=x\n", "a", found("x")},
    {"a comment of 4255 bytes", kComment + "\na=1=x\n", "a", found("x")},
    {"the rest of a longer one is a line", kComment + "a=1=x\n", "a", found("x")},
    {"that may be malformed", kComment + "-\na=1=x\n", "a", refused(3)},
    {"a checksum that is not asked for", with_checksum("a=1=x\n"), "a", refused(3)},
};

// Nothing follows, so that the sum is 0: 1 when the header is taken for that, else 3.
const std::pair<std::string, uint32_t> kHeaders[] = {
    {"00000000\n", 1},
    {"00000001\n", 3},
    {" 0000000\n", 1},
    {"+0000000\n", 1},
    {"-0000000\n", 1},
    {"0x000000\n", 1},
    {"0X000000\n", 1},
    {"\t\n\r 0000\n", 1},
    {"\v\f  +0x0\n", 1},
    {"       0\n", 1},
    {" 0000001\n", 3},
    {"+0000001\n", 3},
    {"-0000001\n", 3},
    {"0x000001\n", 3},
    {"      0x\n", 3},
    {"0x0x0000\n", 3},
    {"+-000000\n", 3},
    {"+ 000000\n", 3},
    {"0000000 \n", 3},
    {"       +\n", 3},
    {"00000000 ", 3},
    {"00000000\r", 3},
    {"000000000", 3},
    {"0000000\n\n", 3},
    {"0000000g\n", 3},
    {"00000000=", 3},
    {"\n00000000", 3},
    {"        \n", 3},
    {"        0", 3},
    {"0000000x\n", 3},
    {"------0-\n", 3},
    {std::string("0000000\0\n", 9), 3},
    {std::string("\0\0\0\0\0\0\0\0\n", 9), 3},
    {std::string("00000000\0", 9), 3},
};

} // namespace

TEST(ParseFile, gives_what_the_file_says_and_leaves_no_descriptor_open)
{
    for (const auto &[claim, content, name, result, size] : kLookups) {
        SCOPED_TRACE(claim);
        const int before = count_descriptors();
        EXPECT_EQ(look_up_in(content, name, size), result);
        EXPECT_EQ(count_descriptors(), before);
    }
}

TEST(ParseFileChecksum, header_is_a_number_of_eight_bytes_and_a_line_feed)
{
    for (const auto &[header, code] : kHeaders) {
        const int before = count_descriptors();
        EXPECT_EQ(look_up_checked(header, "a"), refused(code)) << testing::PrintToString(header);
        EXPECT_EQ(count_descriptors(), before);
    }
}

TEST(ParseFileChecksum, that_is_right_does_not_excuse_a_malformed_line)
{
    const int before = count_descriptors();
    EXPECT_EQ(look_up_checked(with_checksum("broken\na=1=x\n"), "a"), refused(3));
    EXPECT_EQ(look_up_checked(with_checksum("a=1=x\nbroken\n"), "a"), found("x"));
    EXPECT_EQ(look_up("/tmp/missing", "a", 0, kSize), refused(3));
    EXPECT_EQ(count_descriptors(), before);
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

TEST(ParseFile, malformed_line_or_unreadable_file_gives_3_also_for_a_name_that_no_file_can_hold)
{
    for (const std::string &name : {std::string(128, 'n'), std::string("a d"), std::string("a=1")}) {
        EXPECT_EQ(look_up_in("a=1=x\nbroken\n", name), refused(3)) << name;
        EXPECT_EQ(look_up_checked("00000001\n", name), refused(3)) << name;
        EXPECT_EQ(look_up("/tmp/missing", name, 0, kSize), refused(3)) << name;
    }
}

// ---- The checksum line ----

TEST(ParseFileChecksum, is_asked_for_by_any_non_zero_value)
{
    write_text(kPath, with_checksum("a=1=x\n"));
    for (const int has_crc : {1, 2, -1, 0x100, 0x10000}) {
        EXPECT_EQ(look_up(kPath, "a", has_crc, kSize), found("x")) << has_crc;
    }
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
            EXPECT_EQ(look_up_checked(damaged, "a"), refused(3)) << i << " " << bit;
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
