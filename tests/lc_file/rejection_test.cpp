// With bad arguments a wrapper logs one message with its own name, and makes no call.

#include "lc_file.h"
#include "support/calls.h"
#include "support/file_notes.h"
#include "support/text_file.h"

#include <cerrno>
#include <climits>
#include <unistd.h>

namespace rejection_test {

using namespace testing_support;

namespace {

constexpr char kPath[] = "/tmp/file";
constexpr size_t kRejectedCount = static_cast<size_t>(-2);

class Rejection : public FileNotes {
protected:
    Rejection()
    {
        write_text(kPath, "text\n");
        stream = lc_fopen(kPath, "r+");
        EXPECT_NE(stream, nullptr);
        expect_silence();
    }
    ~Rejection() override
    {
        // Nothing that was rejected may have moved the stream, written or failed.
        EXPECT_EQ(ferror(stream), 0);
        EXPECT_EQ(ftell(stream), 0);
        fclose(stream);
        EXPECT_EQ(read_text(kPath), "text\n");
    }

    FILE *stream;
    FILE *const no_stream = nullptr;
    char buffer[8] = "intact";
};

} // namespace

TEST_F(Rejection, fopen_checks_path_and_mode)
{
    EXPECT_EQ(lc_fopen(nullptr, "r"), nullptr);
    expect_rejection("lc_fopen");
    EXPECT_EQ(lc_fopen("/tmp/new", nullptr), nullptr);
    expect_rejection("lc_fopen");
    EXPECT_EQ(lc_fopen(nullptr, nullptr), nullptr);
    expect_rejection("lc_fopen");
    EXPECT_EQ(access("/tmp/new", F_OK), -1);
}

TEST_F(Rejection, fclose_checks_the_stream)
{
    EXPECT_EQ(lc_fclose(no_stream), -2);
    expect_rejection("lc_fclose");
}

TEST_F(Rejection, fputc_checks_the_stream)
{
    EXPECT_EQ(lc_fputc('x', no_stream), -2);
    expect_rejection("lc_fputc");
}

TEST_F(Rejection, fgetc_checks_the_stream)
{
    EXPECT_EQ(lc_fgetc(no_stream), -2);
    expect_rejection("lc_fgetc");
}

TEST_F(Rejection, fputs_checks_text_and_stream)
{
    EXPECT_EQ(lc_fputs(nullptr, stream), -2);
    expect_rejection("lc_fputs");
    EXPECT_EQ(lc_fputs("x", no_stream), -2);
    expect_rejection("lc_fputs");
}

TEST_F(Rejection, fgets_checks_stream_and_size)
{
    EXPECT_EQ(lc_fgets(buffer, sizeof(buffer), no_stream), nullptr);
    expect_rejection("lc_fgets");
    for (const int size : {0, -1, INT_MIN}) {
        EXPECT_EQ(lc_fgets(buffer, size, stream), nullptr);
        expect_rejection("lc_fgets");
    }
    EXPECT_STREQ(buffer, "intact");
}

TEST_F(Rejection, fread_checks_stream_size_and_count)
{
    EXPECT_EQ(lc_fread(buffer, 1, 1, no_stream), kRejectedCount);
    expect_rejection("lc_fread");
    EXPECT_EQ(lc_fread(buffer, 0, 1, stream), kRejectedCount);
    expect_rejection("lc_fread");
    EXPECT_EQ(lc_fread(buffer, 1, 0, stream), kRejectedCount);
    expect_rejection("lc_fread");
    EXPECT_STREQ(buffer, "intact");
}

TEST_F(Rejection, fwrite_checks_buffer_stream_size_and_count)
{
    EXPECT_EQ(lc_fwrite(nullptr, 1, 1, stream), kRejectedCount);
    expect_rejection("lc_fwrite");
    EXPECT_EQ(lc_fwrite(buffer, 1, 1, no_stream), kRejectedCount);
    expect_rejection("lc_fwrite");
    EXPECT_EQ(lc_fwrite(buffer, 0, 1, stream), kRejectedCount);
    expect_rejection("lc_fwrite");
    EXPECT_EQ(lc_fwrite(buffer, 1, 0, stream), kRejectedCount);
    expect_rejection("lc_fwrite");
}

TEST_F(Rejection, fprintf_checks_the_stream)
{
    EXPECT_EQ(lc_fprintf(no_stream, "%d", 1), -2);
    expect_rejection("lc_fprintf");
}

TEST_F(Rejection, access_checks_the_path)
{
    EXPECT_EQ(lc_access(nullptr, R_OK), -2);
    expect_rejection("lc_access");
}

TEST_F(Rejection, access_takes_one_right_at_a_time_and_is_not_called_otherwise)
{
    int asked = 0; // for kPath
    const Hooked counted(calls::access, [&](auto &next, const char *path, int mode) {
        asked += strcmp(path, kPath) == 0 ? 1 : 0;
        return next(path, mode);
    });
    for (const int mode : {R_OK | W_OK, W_OK | X_OK, R_OK | X_OK, 7, 8, -1, INT_MIN}) {
        EXPECT_EQ(lc_access(kPath, mode), -2) << mode;
        expect_rejection("lc_access");
    }
    EXPECT_EQ(asked, 0);
    EXPECT_EQ(lc_access(kPath, R_OK), 0);
    EXPECT_EQ(asked, 1);
}

TEST_F(Rejection, fseek_checks_stream_and_origin)
{
    EXPECT_EQ(lc_fseek(no_stream, 1, SEEK_SET), -2);
    expect_rejection("lc_fseek");
    // 3 and 4 are origins that the kernel would know: the next data, the next hole.
    for (const int whence : {3, 4, -1, INT_MAX}) {
        EXPECT_EQ(lc_fseek(stream, 1, whence), -2);
        expect_rejection("lc_fseek");
    }
}

TEST_F(Rejection, ftell_checks_the_stream)
{
    EXPECT_EQ(lc_ftell(no_stream), -2);
    expect_rejection("lc_ftell");
}

TEST_F(Rejection, rewind_checks_the_stream)
{
    lc_rewind(no_stream);
    expect_rejection("lc_rewind");
}

TEST_F(Rejection, existence_tests_check_the_path)
{
    EXPECT_EQ(lc_file_exist(nullptr), -2);
    expect_rejection("lc_file_exist");
    EXPECT_EQ(lc_dir_exist(nullptr), -2);
    expect_rejection("lc_dir_exist");
}

TEST_F(Rejection, rejection_is_silent_while_debug_messages_are_off)
{
    switch_log("WanManager", "DEBUG", false);
    switch_log("WanManager", "INFO");
    switch_log("WanManager", "ERROR");
    EXPECT_EQ(lc_fclose(no_stream), -2);
    EXPECT_EQ(lc_access(kPath, 6), -2);
    EXPECT_EQ(lc_file_exist(kPath), 0);
    EXPECT_EQ(lc_dir_exist(kPath), -1);
    expect_silence();
}

TEST_F(Rejection, rejection_and_its_note_leave_errno_alone)
{
    errno = 77;
    lc_fopen(nullptr, "r");
    lc_fclose(no_stream);
    lc_access(kPath, 6);
    lc_fseek(stream, 0, 3);
    lc_strread_fileline(nullptr, 1, buffer, nullptr);
    EXPECT_EQ(errno, 77);
}

} // namespace rejection_test
