// When the trace file moves to its second generation.
#include "lct_trace/entry.h"

#include "support/calls.h"
#include "support/trace_file.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace rotation_test {

using namespace testing_support;

namespace {

constexpr size_t kLimit = 262144;
constexpr size_t kEntrySize = sizeof(ENTRY("abc\n")) - 1;

bool exists(const char *path) { return access(path, F_OK) == 0; }

// 0 when there is no such file.
size_t size_of(const char *path)
{
    std::error_code error;
    const uintmax_t size = std::filesystem::file_size(path, error);
    return error ? 0 : static_cast<size_t>(size);
}

void fill_to(size_t size) { write_text(kTraceFile, std::string(size, 'f')); }

} // namespace

TEST(TraceRotation, entry_that_ends_at_262144_bytes_does_not_rotate)
{
    fill_to(kLimit - kEntrySize);
    TRACE("abc\n");
    EXPECT_FALSE(exists(kOldTraceFile));
    EXPECT_EQ(read_text(kTraceFile).size(), kLimit);
}

TEST(TraceRotation, one_more_byte_does)
{
    fill_to(kLimit - kEntrySize);
    TRACE("abcd\n");
    EXPECT_FALSE(exists(kTraceFile));
    EXPECT_EQ(read_text(kOldTraceFile), std::string(kLimit - kEntrySize, 'f') + ENTRY("abcd\n"));
}

TEST(TraceRotation, entry_that_crosses_the_limit_is_whole_in_the_second_generation)
{
    fill_to(kLimit);
    const std::string text(5000, 't');
    TRACE("%s\n", text.c_str());
    EXPECT_FALSE(exists(kTraceFile));
    EXPECT_EQ(read_text(kOldTraceFile), std::string(kLimit, 'f') + ENTRY("") + text + "\n");
}

TEST(TraceRotation, next_entry_starts_a_new_file)
{
    fill_to(kLimit);
    TRACE("last\n");
    TRACE("first\n");
    EXPECT_EQ(read_text(kTraceFile), ENTRY("first\n"));
    EXPECT_EQ(read_text(kOldTraceFile), std::string(kLimit, 'f') + ENTRY("last\n"));
}

TEST(TraceRotation, replaces_the_earlier_second_generation)
{
    write_text(kOldTraceFile, "older\n");
    fill_to(kLimit);
    TRACE("last\n");
    EXPECT_EQ(read_text(kOldTraceFile), std::string(kLimit, 'f') + ENTRY("last\n"));
}

TEST(TraceRotation, leaves_the_second_generation_alone_below_the_limit)
{
    write_text(kOldTraceFile, "older\n");
    TRACE("text\n");
    EXPECT_EQ(read_text(kOldTraceFile), "older\n");
}

TEST(TraceRotation, bounds_what_many_entries_take)
{
    const std::string text(1000, 't');
    size_t most = 0;
    for (int i = 0; i < 1000; ++i) {
        TRACE("%s\n\n", text.c_str());
        most = std::max(most, size_of(kTraceFile) + size_of(kOldTraceFile));
    }
    EXPECT_GT(most, kLimit);
    EXPECT_LE(most, 2 * (kLimit + sizeof(ENTRY("\n\n")) - 1 + text.size()));
}

TEST(TraceRotation, happens_even_when_the_file_could_not_be_opened)
{
    fill_to(kLimit + 1);
    calls::open.fail_nth(1, EACCES);
    TRACE("lost\n");
    EXPECT_TRUE(calls::open.failed());
    EXPECT_FALSE(exists(kTraceFile));
    EXPECT_EQ(read_text(kOldTraceFile), std::string(kLimit + 1, 'f'));
}

TEST(TraceRotation, failed_size_query_is_ignored)
{
    fill_to(kLimit);
    calls::stat.fail_nth(1, EACCES);
    TRACE("abc\n");
    EXPECT_TRUE(calls::stat.failed());
    EXPECT_EQ(read_text(kTraceFile).size(), kLimit + kEntrySize);
    EXPECT_FALSE(exists(kOldTraceFile));
}

TEST(TraceRotation, failed_rename_is_ignored_and_tried_again_after_the_next_entry)
{
    fill_to(kLimit);
    calls::rename.fail_nth(1, EACCES);
    errno = E2BIG;
    TRACE("one\n");
    EXPECT_EQ(errno, E2BIG);
    EXPECT_TRUE(calls::rename.failed());
    EXPECT_EQ(read_text(kTraceFile), std::string(kLimit, 'f') + ENTRY("one\n"));
    TRACE("two\n");
    EXPECT_EQ(read_text(kOldTraceFile), std::string(kLimit, 'f') + ENTRY("one\n") ENTRY("two\n"));
    EXPECT_FALSE(exists(kTraceFile));
}

} // namespace rotation_test
