// The cost of a message: the calls are everywhere, and logging is nearly always off.

#include "support/allocation_counter.h"

#include "lc_log.h"
#include "support/calls.h"
#include "support/pattern.h"
#include "support/syslog_listener.h"
#include "support/text_file.h"

namespace cost_test {

using namespace testing_support;

namespace {

// Notes what the library looks for, without the heap, whose use is measured here.
class LookedFor {
public:
    size_t count() const { return count_; }
    std::vector<std::string> by_error_message()
    {
        count_ = 0;
        log_print(LC_LOG_ERROR, "text");
        return {paths_, paths_ + count_};
    }

private:
    char paths_[4][64] = {};
    size_t count_ = 0;
    const Hooked noted_{calls::access, [this](auto &next, const char *path, int mode) {
                            EXPECT_EQ(mode, F_OK);
                            if (count_ < std::size(paths_)) {
                                snprintf(paths_[count_++], sizeof(paths_[0]), "%s", path);
                            }
                            return next(path, mode);
                        }};
};

class Cost : public testing::Test {
protected:
    Cost() { EXPECT_EQ(log_init(3), 0); }

    SyslogListener log;
    LookedFor looked_for;
    const std::vector<std::string> level_file{"/tmp/.LC_DEBUG_FLAG_WanManager_ERROR"};
    const std::vector<std::string> both_files{"/tmp/.LC_DEBUG_FLAG_WanManager_ERROR",
                                              "/tmp/.LC_DEBUG_FLAG_TIME"};
};

} // namespace

TEST_F(Cost, message_that_is_off_looks_for_its_own_flag_file_alone)
{
    write_text("/tmp/.LC_DEBUG_FLAG_TIME", "");
    EXPECT_EQ(looked_for.by_error_message(), level_file);
    EXPECT_EQ(looked_for.by_error_message(), level_file);
}

TEST_F(Cost, message_that_is_on_looks_for_both_files)
{
    switch_log("WanManager", "ERROR");
    EXPECT_EQ(looked_for.by_error_message(), both_files);
    write_text("/tmp/.LC_DEBUG_FLAG_TIME", "");
    EXPECT_EQ(looked_for.by_error_message(), both_files);
}

TEST_F(Cost, message_of_an_unknown_level_looks_for_nothing)
{
    log_print(5, "text");
    EXPECT_EQ(looked_for.count(), 0u);
}

TEST(CostWithoutModule, message_looks_for_nothing)
{
    const LookedFor looked_for;
    log_print(LC_LOG_ERROR, "text");
    EXPECT_EQ(looked_for.count(), 0u);
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

} // namespace cost_test
