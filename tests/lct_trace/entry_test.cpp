// One entry of the trace file.
#include "lct_trace/entry.h"

#include "support/interpose.h"
#include "support/scoped_mount.h"
#include "support/trace_file.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

namespace entry_test {

using namespace testing_support;

namespace {

constexpr lterouter::TraceFamily kTraceFamily = lterouter::kTraceUp;

int trace_from_a_function(int *line)
{
    *line = __LINE__ + 1;
    return LC_TRACE(7, "value:%d text:%s\n\n", 42, "abc");
}

bool any_descriptor_is_on(const std::string &path)
{
    bool found = false;
    DIR *descriptors = opendir("/proc/self/fd");
    while (const dirent *entry = readdir(descriptors)) {
        char target[PATH_MAX];
        const ssize_t length = readlinkat(dirfd(descriptors), entry->d_name, target, sizeof(target));
        found = found || (length > 0 && path == std::string(target, static_cast<size_t>(length)));
    }
    closedir(descriptors);
    return found;
}

} // namespace

TEST(TraceEntry, starts_with_unit_function_and_line)
{
    int line = 0;
    EXPECT_EQ(trace_from_a_function(&line), 7);
    EXPECT_EQ(read_text(kTraceFile),
              "[lib/lc_up:trace_from_a_function:" + std::to_string(line) + "]value:42 text:abc\n\n");
}

TEST(TraceEntry, is_appended_to_what_is_there)
{
    write_text(kTraceFile, "from another process\n\n");
    TRACE("one %s\n\n", "x");
    TRACE("two\n");
    EXPECT_EQ(read_text(kTraceFile), "from another process\n\n" ENTRY("one x\n\n") ENTRY("two\n"));
}

TEST(TraceEntry, creates_the_file_and_no_second_generation)
{
    TRACE("text\n");
    EXPECT_EQ(access(kTraceFile, F_OK), 0);
    EXPECT_NE(access(kOldTraceFile, F_OK), 0);
}

TEST(TraceEntry, starts_anew_when_the_file_was_removed)
{
    TRACE("one\n");
    unlink(kTraceFile);
    TRACE("two\n");
    EXPECT_EQ(read_text(kTraceFile), ENTRY("two\n"));
}

TEST(TraceEntry, is_on_disk_and_the_file_closed_as_soon_as_the_call_returns)
{
    TRACE("text\n");
    EXPECT_EQ(read_text(kTraceFile), ENTRY("text\n"));
    EXPECT_FALSE(any_descriptor_is_on(kTraceFile));
    const int before = count_descriptors();
    for (int i = 0; i < 50; ++i) {
        TRACE("text\n");
    }
    EXPECT_EQ(count_descriptors(), before);
}

TEST(TraceEntry, needs_no_flag_file_and_no_module_name)
{
    // Nothing was initialised in this process.
    TRACE("text\n");
    EXPECT_EQ(read_text(kTraceFile), ENTRY("text\n"));
}

TEST(TraceEntry, of_any_length_is_written_whole)
{
    const std::string text(20000, 't');
    TRACE("[%s]\n\n", text.c_str());
    EXPECT_EQ(read_text(kTraceFile), ENTRY("[") + text + "]\n\n");
}

TEST(TraceEntry, keeps_errno_when_written)
{
    errno = E2BIG;
    TRACE("text\n");
    EXPECT_EQ(errno, E2BIG);
}

TEST(TraceEntry, keeps_errno_when_it_cannot_be_written)
{
    ScopedMount tmp("/tmp");
    tmp.make_read_only();
    errno = E2BIG;
    TRACE("text\n");
    EXPECT_EQ(errno, E2BIG);
}

TEST(TraceEntry, that_finds_something_else_in_the_files_place_is_dropped)
{
    ASSERT_EQ(mkdir(kTraceFile, 0755), 0);
    const int before = count_descriptors();
    TRACE("text\n");
    EXPECT_EQ(count_descriptors(), before);
    ASSERT_EQ(rmdir(kTraceFile), 0);
    TRACE("next\n");
    EXPECT_EQ(read_text(kTraceFile), ENTRY("next\n"));
}

} // namespace entry_test
