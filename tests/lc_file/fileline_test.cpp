// One numbered line of a text file.

#include "lc_file.h"
#include "support/calls.h"
#include "support/file_notes.h"
#include "support/scoped_mount.h"
#include "support/text_file.h"

#include <cerrno>

namespace fileline_test {

using namespace testing_support;

namespace {

constexpr char kPath[] = "/tmp/lines";

class FileLine : public FileNotes {
protected:
    int read_line(uint32_t line, uint32_t room)
    {
        memset(buffer, '#', sizeof(buffer));
        size = room;
        return lc_strread_fileline(kPath, line, buffer, &size);
    }
    // What was copied: up to the terminator, if there is one within the room.
    std::string copied(uint32_t room) const { return {buffer, strnlen(buffer, room)}; }

    // Every reading first looks whether there is a file.
    void expect_file_found() { expect_note("lc_file_exist", "file exist\n\n"); }

    void expect_line(uint32_t line, const std::string &text)
    {
        SCOPED_TRACE("line " + std::to_string(line));
        EXPECT_EQ(read_line(line, sizeof(buffer)), 0);
        EXPECT_STREQ(buffer, text.c_str());
        EXPECT_EQ(size, sizeof(buffer));
        expect_file_found();
        expect_note("lc_strread_fileline", "the line string : " + text + "\n\n");
        expect_silence();
    }
    void expect_no_line(uint32_t line)
    {
        SCOPED_TRACE("line " + std::to_string(line));
        EXPECT_EQ(read_line(line, sizeof(buffer)), -2);
        EXPECT_EQ(size, sizeof(buffer));
        EXPECT_EQ(buffer[0], '#');
        expect_file_found();
        expect_silence();
    }
    void expect_too_long_note(const std::string &shown)
    {
        const std::string note = log.next();
        EXPECT_NE(note.find("]:cos,[lc_strread_fileline]:"), std::string::npos) << note;
        EXPECT_NE(note.find(" the size is not enough and the line string : " + shown),
                  std::string::npos)
            << note;
        EXPECT_EQ(note.substr(note.size() - 2), "\n\n");
        expect_silence();
    }

    char buffer[512];
    uint32_t size = 0;
};

} // namespace

TEST_F(FileLine, numbered_line_comes_with_its_newline)
{
    write_text(kPath, "one\n\nthree\n");
    expect_line(1, "one\n");
    expect_line(2, "\n");
    expect_line(3, "three\n");
}

TEST_F(FileLine, line_0_is_the_last_line)
{
    write_text(kPath, "one\ntwo\nthree\n");
    expect_line(0, "three\n");
}

TEST_F(FileLine, last_line_may_lack_its_newline)
{
    write_text(kPath, "one\ntwo");
    expect_line(2, "two");
    expect_line(0, "two");
}

TEST_F(FileLine, line_past_the_end_does_not_exist)
{
    write_text(kPath, "one\ntwo\n");
    expect_no_line(3);
    expect_no_line(UINT32_MAX);
}

TEST_F(FileLine, empty_file_has_an_empty_last_line_and_no_first_one)
{
    write_text(kPath, "");
    expect_line(0, "");
    expect_no_line(1);
}

TEST_F(FileLine, long_line_counts_once_for_each_255_bytes)
{
    const std::string first(255, 'a');
    const std::string rest = std::string(45, 'b') + "\n";
    write_text(kPath, first + rest + "next\n");
    expect_line(1, first);
    expect_line(2, rest);
    expect_line(3, "next\n");
    expect_no_line(4);
}

TEST_F(FileLine, line_of_255_bytes_leaves_its_newline_to_the_next)
{
    const std::string full(255, 'a');
    write_text(kPath, full + "\n" + "next\n");
    expect_line(1, full);
    expect_line(2, "\n");
    expect_line(3, "next\n");
}

TEST_F(FileLine, line_of_254_bytes_and_newline_is_one_line)
{
    const std::string full = std::string(254, 'a') + "\n";
    write_text(kPath, full + "next\n");
    expect_line(1, full);
    expect_line(2, "next\n");
}

TEST_F(FileLine, line_of_exactly_the_size_fits_without_terminator)
{
    write_text(kPath, "abcd");
    for (const uint32_t line : {1u, 0u}) {
        EXPECT_EQ(read_line(line, 4), 0);
        EXPECT_EQ(std::string(buffer, 5), "abcd#");
        EXPECT_EQ(size, 4u);
        expect_file_found();
        expect_note("lc_strread_fileline", "the line string : abcd\n\n");
    }
}

TEST_F(FileLine, what_is_left_of_the_room_is_zeroed)
{
    write_text(kPath, "ab");
    EXPECT_EQ(read_line(1, 5), 0);
    EXPECT_EQ(std::string(buffer, 6), std::string("ab\0\0\0#", 6));
}

TEST_F(FileLine, too_long_numbered_line_is_cut_and_its_length_not_told)
{
    write_text(kPath, "one\nlonger\n");
    EXPECT_EQ(read_line(2, 6), -2);
    EXPECT_EQ(std::string(buffer, 7), "longer#");
    EXPECT_EQ(size, 6u);
    expect_file_found();
    expect_too_long_note("longer");
}

TEST_F(FileLine, too_long_last_line_is_cut_and_its_length_told)
{
    write_text(kPath, "one\nlonger\n");
    EXPECT_EQ(read_line(0, 3), -2);
    EXPECT_EQ(std::string(buffer, 4), "lon#");
    EXPECT_EQ(size, 7u);
    expect_file_found();
    expect_too_long_note("lon");
}

TEST_F(FileLine, length_that_was_told_is_enough)
{
    write_text(kPath, "one\nlonger\n");
    EXPECT_EQ(read_line(0, 0), -2);
    EXPECT_EQ(buffer[0], '#');
    EXPECT_EQ(read_line(0, size), 0);
    EXPECT_EQ(copied(size), "longer\n");
}

TEST_F(FileLine, missing_or_null_path_is_a_null_parameter)
{
    size = sizeof(buffer);
    EXPECT_EQ(lc_strread_fileline(nullptr, 1, buffer, &size), -2);
    expect_rejection("lc_strread_fileline");
    EXPECT_EQ(lc_strread_fileline("/tmp/missing", 0, buffer, &size), -2);
    expect_rejection("lc_strread_fileline");
    EXPECT_EQ(size, sizeof(buffer));
}

TEST_F(FileLine, right_to_read_is_enough)
{
    ScopedMount folder("/2ndfile");
    write_text("/2ndfile/lines", "one\n");
    folder.make_read_only();
    size = sizeof(buffer);
    EXPECT_EQ(lc_strread_fileline("/2ndfile/lines", 1, buffer, &size), 0);
    EXPECT_STREQ(buffer, "one\n");
}

TEST_F(FileLine, directory_is_not_a_normal_file)
{
    size = sizeof(buffer);
    EXPECT_EQ(lc_strread_fileline("/tmp", 1, buffer, &size), -2);
    expect_note("lc_file_exist", "file is not exist\n\n");
    expect_note("lc_strread_fileline", "path is not normal file\n\n");
    expect_silence();
    EXPECT_EQ(size, sizeof(buffer));
}

TEST_F(FileLine, file_that_vanishes_before_it_is_opened_reads_as_an_empty_one)
{
    write_text(kPath, "one\n");
    const Hooked vanished(calls::fopen, [](auto &next, const char *path, const char *mode) -> FILE * {
        if (strcmp(path, kPath) == 0) {
            errno = ENOENT;
            return nullptr;
        }
        return next(path, mode);
    });
    EXPECT_EQ(read_line(1, sizeof(buffer)), -2);
    expect_file_found();
    expect_rejection("lc_fgets");
    EXPECT_EQ(read_line(0, sizeof(buffer)), 0);
    EXPECT_STREQ(buffer, "");
}

TEST_F(FileLine, no_way_out_leaves_the_file_open)
{
    write_text(kPath, "one\nlonger\n");
    switch_log("WanManager", "DEBUG", false);
    const int before = count_descriptors();
    read_line(1, sizeof(buffer));
    read_line(0, sizeof(buffer));
    read_line(9, sizeof(buffer));
    read_line(2, 3);
    read_line(0, 3);
    EXPECT_EQ(count_descriptors(), before);
}

} // namespace fileline_test
