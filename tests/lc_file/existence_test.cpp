// What counts as a file and what as a directory; every result is logged.

#include "lc_file.h"
#include "support/file_notes.h"
#include "support/text_file.h"

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

namespace existence_test {

using namespace testing_support;

namespace {

class Existence : public FileNotes {
protected:
    void expect_file(const char *path)
    {
        EXPECT_EQ(lc_file_exist(path), 0) << path;
        expect_note("lc_file_exist", "file exist\n\n");
        EXPECT_EQ(lc_dir_exist(path), -1) << path;
        expect_note("lc_dir_exist", "dir is not exist\n\n");
        expect_silence();
    }
    void expect_directory(const char *path)
    {
        EXPECT_EQ(lc_file_exist(path), -1) << path;
        expect_note("lc_file_exist", "file is not exist\n\n");
        EXPECT_EQ(lc_dir_exist(path), 0) << path;
        expect_note("lc_dir_exist", "dir is exist\n\n");
        expect_silence();
    }
    void expect_nothing(const char *path)
    {
        EXPECT_EQ(lc_file_exist(path), -1) << path;
        expect_note("lc_file_exist", "file is not exist\n\n");
        EXPECT_EQ(lc_dir_exist(path), -1) << path;
        expect_note("lc_dir_exist", "dir is not exist\n\n");
        expect_silence();
    }
};

} // namespace

TEST_F(Existence, regular_file_is_a_file)
{
    write_text("/tmp/file", "");
    expect_file("/tmp/file");
}

TEST_F(Existence, device_fifo_and_socket_are_files)
{
    expect_file("/dev/null");
    ASSERT_EQ(mkfifo("/tmp/fifo", 0600), 0);
    expect_file("/tmp/fifo");
    expect_file("/dev/log");
}

TEST_F(Existence, directory_is_a_directory) { expect_directory("/tmp"); }

TEST_F(Existence, link_is_what_it_leads_to)
{
    write_text("/tmp/file", "");
    ASSERT_EQ(symlink("/tmp/file", "/tmp/to_file"), 0);
    ASSERT_EQ(symlink("/tmp", "/tmp/to_directory"), 0);
    ASSERT_EQ(symlink("/tmp/missing", "/tmp/to_nothing"), 0);
    expect_file("/tmp/to_file");
    expect_directory("/tmp/to_directory");
    expect_nothing("/tmp/to_nothing");
}

TEST_F(Existence, missing_path_is_neither)
{
    expect_nothing("/tmp/missing");
    expect_nothing("");
}

TEST_F(Existence, note_leaves_the_errno_of_a_failed_look)
{
    errno = 0;
    EXPECT_EQ(lc_file_exist("/tmp/missing"), -1);
    EXPECT_EQ(errno, ENOENT);
    errno = 0;
    EXPECT_EQ(lc_dir_exist("/dev/null/below"), -1);
    EXPECT_EQ(errno, ENOTDIR);
}

} // namespace existence_test
