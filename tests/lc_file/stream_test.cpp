// With good arguments a wrapper returns what the call returns, success or failure, and logs nothing.

#include "lc_file.h"
#include "support/file_notes.h"
#include "support/text_file.h"

#include <cerrno>
#include <unistd.h>

namespace stream_test {

using namespace testing_support;

namespace {

constexpr char kPath[] = "/tmp/file";
constexpr off_t kBeyond32Bit = 3'000'000'000;

class Streams : public FileNotes {
protected:
    Streams() { write_text(kPath, "one\ntwo\n"); }
    ~Streams() override { expect_silence(); }
};

// A stream on the test file, closed with its scope.
class Opened {
public:
    explicit Opened(const char *mode) : stream_(lc_fopen(kPath, mode)) { EXPECT_NE(stream_, nullptr); }
    ~Opened() { lc_fclose(stream_); }
    Opened(const Opened &) = delete;
    Opened &operator=(const Opened &) = delete;

    operator FILE *() const { return stream_; }

private:
    FILE *stream_;
};

// The writing end of a pipe, on which nothing can be sought.
class PipeStream {
public:
    PipeStream()
    {
        EXPECT_EQ(pipe(ends_), 0);
        stream_ = fdopen(ends_[1], "w");
    }
    ~PipeStream()
    {
        fclose(stream_);
        close(ends_[0]);
    }
    PipeStream(const PipeStream &) = delete;
    PipeStream &operator=(const PipeStream &) = delete;

    operator FILE *() const { return stream_; }

private:
    int ends_[2];
    FILE *stream_;
};

} // namespace

TEST_F(Streams, fopen_follows_the_mode)
{
    FILE *stream = lc_fopen(kPath, "w");
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(lc_fclose(stream), 0);
    EXPECT_EQ(read_text(kPath), "");
}

TEST_F(Streams, fopen_of_a_missing_file_returns_null_with_the_calls_errno)
{
    errno = 0;
    EXPECT_EQ(lc_fopen("/tmp/missing", "r"), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(Streams, fopen_with_a_senseless_mode_returns_null_with_the_calls_errno)
{
    errno = 0;
    EXPECT_EQ(lc_fopen(kPath, "?"), nullptr);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(Streams, files_beyond_2_gib_are_opened_and_exist)
{
    ASSERT_EQ(truncate(kPath, kBeyond32Bit), 0);
    const Opened stream("r");
    EXPECT_EQ(lc_fseek(stream, INT32_MAX, SEEK_SET), 0);
    EXPECT_EQ(lc_fseek(stream, INT32_MAX - 8, SEEK_CUR), 0);
    EXPECT_EQ(ftello(stream), off_t{INT32_MAX} * 2 - 8);
    EXPECT_EQ(lc_file_exist(kPath), 0);
    expect_note("lc_file_exist", "file exist\n\n");
}

TEST_F(Streams, fclose_closes_the_descriptor)
{
    const int before = count_descriptors();
    FILE *stream = lc_fopen(kPath, "r");
    EXPECT_EQ(count_descriptors(), before + 1);
    EXPECT_EQ(lc_fclose(stream), 0);
    EXPECT_EQ(count_descriptors(), before);
}

TEST_F(Streams, fclose_reports_what_could_not_be_written)
{
    FILE *stream = lc_fopen("/dev/full", "w");
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(lc_fputs("text", stream), fputs("text", stream));
    errno = 0;
    EXPECT_EQ(lc_fclose(stream), EOF);
    EXPECT_EQ(errno, ENOSPC);
}

TEST_F(Streams, fputc_writes_one_byte_and_returns_it)
{
    {
        const Opened stream("w");
        EXPECT_EQ(lc_fputc('x', stream), 'x');
        EXPECT_EQ(lc_fputc(0x1E4, stream), 0xE4);
    }
    EXPECT_EQ(read_text(kPath), "x\xE4");
}

TEST_F(Streams, fputc_to_a_full_buffer_goes_on_in_the_file)
{
    const std::string content(3 * BUFSIZ, 'x');
    {
        const Opened stream("w");
        for (const char ch : content) {
            ASSERT_EQ(lc_fputc(ch, stream), ch);
        }
    }
    EXPECT_EQ(read_text(kPath), content);
}

TEST_F(Streams, fputc_on_a_stream_for_reading_returns_eof)
{
    const Opened stream("r");
    EXPECT_EQ(lc_fputc('x', stream), EOF);
    EXPECT_NE(ferror(stream), 0);
}

TEST_F(Streams, fgetc_returns_each_byte_as_unsigned_then_eof)
{
    write_text(kPath, "a\xE4");
    const Opened stream("r");
    EXPECT_EQ(lc_fgetc(stream), 'a');
    EXPECT_EQ(lc_fgetc(stream), 0xE4);
    EXPECT_EQ(lc_fgetc(stream), EOF);
    EXPECT_NE(feof(stream), 0);
}

TEST_F(Streams, fputs_writes_the_text_without_terminator_or_newline)
{
    {
        const Opened stream("w");
        EXPECT_GE(lc_fputs("ab", stream), 0);
        EXPECT_GE(lc_fputs("", stream), 0);
        EXPECT_GE(lc_fputs("c", stream), 0);
    }
    EXPECT_EQ(read_text(kPath), "abc");
}

TEST_F(Streams, fputs_on_a_stream_for_reading_returns_eof)
{
    const Opened stream("r");
    EXPECT_EQ(lc_fputs("x", stream), EOF);
}

TEST_F(Streams, fgets_reads_a_line_with_its_newline_then_null_at_the_end)
{
    char line[16];
    const Opened stream("r");
    EXPECT_EQ(lc_fgets(line, sizeof(line), stream), line);
    EXPECT_STREQ(line, "one\n");
    EXPECT_EQ(lc_fgets(line, sizeof(line), stream), line);
    EXPECT_STREQ(line, "two\n");
    EXPECT_EQ(lc_fgets(line, sizeof(line), stream), nullptr);
}

TEST_F(Streams, fgets_reads_one_byte_less_than_the_size)
{
    char line[16];
    const Opened stream("r");
    EXPECT_EQ(lc_fgets(line, 3, stream), line);
    EXPECT_STREQ(line, "on");
    EXPECT_EQ(lc_fgets(line, 1, stream), line);
    EXPECT_STREQ(line, "");
}

TEST_F(Streams, fread_returns_the_number_of_whole_items)
{
    char items[16] = {};
    const Opened stream("r");
    EXPECT_EQ(lc_fread(items, 3, 2, stream), 2u);
    EXPECT_STREQ(items, "one\ntw");
    EXPECT_EQ(lc_fread(items, 3, 2, stream), 0u);
    EXPECT_NE(feof(stream), 0);
}

TEST_F(Streams, fread_does_not_look_at_the_buffer)
{
    const Opened stream("r");
    ASSERT_EQ(lc_fseek(stream, 0, SEEK_END), 0);
    char *none = nullptr;
    EXPECT_EQ(lc_fread(none, 1, 1, stream), 0u);
}

TEST_F(Streams, fgets_does_not_look_at_the_buffer)
{
    const Opened stream("r");
    ASSERT_EQ(lc_fseek(stream, 0, SEEK_END), 0);
    char *none = nullptr;
    EXPECT_EQ(lc_fgets(none, 16, stream), nullptr);
    EXPECT_NE(feof(stream), 0);
}

TEST_F(Streams, fwrite_writes_the_items_and_returns_their_number)
{
    {
        const Opened stream("w");
        EXPECT_EQ(lc_fwrite("a\0b\0c\0", 2, 3, stream), 3u);
    }
    EXPECT_EQ(read_text(kPath), std::string("a\0b\0c\0", 6));
}

TEST_F(Streams, fwrite_on_a_stream_for_reading_returns_0)
{
    const Opened stream("r");
    EXPECT_EQ(lc_fwrite("x", 1, 1, stream), 0u);
}

TEST_F(Streams, fprintf_formats_and_returns_the_length)
{
    {
        const Opened stream("w");
        EXPECT_EQ(lc_fprintf(stream, "%s=%lx=%s\n", "name", 255ul, "value"), 14);
        EXPECT_EQ(lc_fprintf(stream, "%c%d %.1f", 'x', -1, 0.5), 7);
    }
    EXPECT_EQ(read_text(kPath), "name=ff=value\nx-1 0.5");
}

TEST_F(Streams, fprintf_on_a_stream_for_reading_is_negative)
{
    const Opened stream("r");
    EXPECT_EQ(lc_fprintf(stream, "x"), -1);
}

TEST_F(Streams, fseek_knows_the_three_origins)
{
    const Opened stream("r");
    EXPECT_EQ(lc_fseek(stream, 4, SEEK_SET), 0);
    EXPECT_EQ(lc_fgetc(stream), 't');
    EXPECT_EQ(lc_fseek(stream, -3, SEEK_CUR), 0);
    EXPECT_EQ(lc_fgetc(stream), 'e');
    EXPECT_EQ(lc_fseek(stream, -2, SEEK_END), 0);
    EXPECT_EQ(lc_fgetc(stream), 'o');
}

TEST_F(Streams, fseek_before_the_start_fails_as_the_call_does)
{
    const Opened stream("r");
    errno = 0;
    EXPECT_EQ(lc_fseek(stream, -1, SEEK_SET), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(Streams, ftell_returns_the_position)
{
    const Opened stream("r");
    EXPECT_EQ(lc_ftell(stream), 0);
    lc_fgetc(stream);
    EXPECT_EQ(lc_ftell(stream), 1);
    lc_fseek(stream, 0, SEEK_END);
    EXPECT_EQ(lc_ftell(stream), 8);
}

TEST_F(Streams, fseek_and_ftell_on_a_pipe_fail_as_the_calls_do)
{
    const PipeStream stream;
    errno = 0;
    EXPECT_EQ(lc_ftell(stream), -1);
    EXPECT_EQ(errno, ESPIPE);
    errno = 0;
    EXPECT_EQ(lc_fseek(stream, 0, SEEK_CUR), -1);
    EXPECT_EQ(errno, ESPIPE);
}

TEST_F(Streams, rewind_goes_to_the_start_and_clears_the_error)
{
    const Opened stream("r");
    lc_fgetc(stream);
    lc_fputc('x', stream);
    ASSERT_NE(ferror(stream), 0);
    lc_rewind(stream);
    EXPECT_EQ(ferror(stream), 0);
    EXPECT_EQ(lc_fgetc(stream), 'o');
}

TEST_F(Streams, access_tells_each_right_apart)
{
    // Even root may execute only what somebody may execute.
    chmod(kPath, 0644);
    EXPECT_EQ(lc_access(kPath, F_OK), 0);
    EXPECT_EQ(lc_access(kPath, R_OK), 0);
    EXPECT_EQ(lc_access(kPath, W_OK), 0);
    errno = 0;
    EXPECT_EQ(lc_access(kPath, X_OK), -1);
    EXPECT_EQ(errno, EACCES);
    chmod(kPath, 0755);
    EXPECT_EQ(lc_access(kPath, X_OK), 0);
}

TEST_F(Streams, access_of_a_read_only_device_for_writing_fails)
{
    errno = 0;
    EXPECT_EQ(lc_access("/usr", W_OK), -1);
    EXPECT_EQ(errno, EROFS);
    EXPECT_EQ(lc_access("/usr", R_OK), 0);
}

TEST_F(Streams, access_of_a_missing_path_fails_for_every_right)
{
    for (const int mode : {F_OK, X_OK, W_OK, R_OK}) {
        errno = 0;
        EXPECT_EQ(lc_access("/tmp/missing", mode), -1);
        EXPECT_EQ(errno, ENOENT);
    }
}

} // namespace stream_test
