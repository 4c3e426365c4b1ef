// The cost of a message: the calls are everywhere, and logging is nearly always off.

#include "support/allocation_counter.h"

#include "lc_log.h"
#include "support/interpose.h"
#include "support/pattern.h"
#include "support/syslog_listener.h"
#include "support/text_file.h"

using namespace testing_support;

namespace {

// Notes what the library looks for, without the heap, whose use is measured here.
struct LookedFor {
    char paths[4][64];
    size_t count = 0;
} g_looked_for;

} // namespace

int access(const char *path, int mode) noexcept
{
    static const auto real = next_definition<int(const char *, int)>("access");
    EXPECT_EQ(mode, F_OK);
    if (g_looked_for.count < std::size(g_looked_for.paths)) {
        snprintf(g_looked_for.paths[g_looked_for.count++], sizeof(g_looked_for.paths[0]), "%s", path);
    }
    return real(path, mode);
}

namespace {

class Cost : public testing::Test {
protected:
    Cost() { EXPECT_EQ(log_init(3), 0); }

    static std::vector<std::string> looked_for_by_error_message()
    {
        g_looked_for.count = 0;
        log_print(LC_LOG_ERROR, "text");
        return {g_looked_for.paths, g_looked_for.paths + g_looked_for.count};
    }

    SyslogListener log;
    const std::vector<std::string> level_file{"/tmp/.LC_DEBUG_FLAG_WanManager_ERROR"};
    const std::vector<std::string> both_files{"/tmp/.LC_DEBUG_FLAG_WanManager_ERROR",
                                              "/tmp/.LC_DEBUG_FLAG_TIME"};
};

} // namespace

TEST_F(Cost, message_that_is_off_looks_for_its_own_flag_file_alone)
{
    write_text("/tmp/.LC_DEBUG_FLAG_TIME", "");
    EXPECT_EQ(looked_for_by_error_message(), level_file);
    EXPECT_EQ(looked_for_by_error_message(), level_file);
}

TEST_F(Cost, message_that_is_on_looks_for_both_files)
{
    switch_log("WanManager", "ERROR");
    EXPECT_EQ(looked_for_by_error_message(), both_files);
    write_text("/tmp/.LC_DEBUG_FLAG_TIME", "");
    EXPECT_EQ(looked_for_by_error_message(), both_files);
}

TEST_F(Cost, message_of_an_unknown_level_looks_for_nothing)
{
    log_print(5, "text");
    EXPECT_EQ(g_looked_for.count, 0u);
}

TEST(CostWithoutModule, message_looks_for_nothing)
{
    log_print(LC_LOG_ERROR, "text");
    EXPECT_EQ(g_looked_for.count, 0u);
}

TEST_F(Cost, message_that_is_off_is_not_formatted)
{
    // Formatting would follow the pointer and end the process.
    const char *nowhere = reinterpret_cast<const char *>(uintptr_t{1});
    log_print(LC_LOG_ERROR, "%s", nowhere);
    EXPECT_EQ(log.next_raw(), "");
}

TEST_F(Cost, message_that_is_on_takes_nothing_from_the_heap)
{
    switch_log("WanManager", "ERROR");
    write_text("/tmp/.LC_DEBUG_FLAG_TIME", "");
    log_print(LC_LOG_ERROR, "libc prepares itself with the first message");
    const int before = AllocationCounter::count;
    log_print(LC_LOG_ERROR, "[ERR][%s:%d]text %ld\n", "lib/unit", 1, 2L);
    EXPECT_EQ(AllocationCounter::count, before);
    log.next();
    const std::string line = log.next();
    EXPECT_TRUE(matches(line, "\\[[0-9]+\\.[0-9]{2}\\]\\[ERR\\]\\[lib/unit:1\\]text 2\n")) << line;
}
