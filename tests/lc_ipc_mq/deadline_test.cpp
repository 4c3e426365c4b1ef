// Deadlines with an interposed clock. Near the end of a 32-bit time_t in 2038, and after it, when
// gettimeofday fails.

#include "lc_ipc_mq.h"
#include "support/calls.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>

namespace deadline_test {

using namespace testing_support;

namespace {

std::optional<time_t> g_now; // nothing: libc has no time to give

// What is called next finds a stack full of what somebody else left there.
[[gnu::noinline]] void leave_remains()
{
    volatile unsigned char remains[4096];
    for (volatile unsigned char &byte : remains) {
        byte = 0x5A;
    }
}

timespec deadline_after(uint32_t timeout_ms)
{
    timespec deadline = {-1, -1};
    leave_remains();
    mkcondtimeout(&deadline, timeout_ms);
    return deadline;
}

class Deadline : public testing::Test {
    const Hooked set_{calls::gettimeofday, [](auto &, timeval *now, void *) {
                          if (!g_now) {
                              errno = EOVERFLOW;
                              return -1;
                          }
                          *now = {*g_now, 999'999};
                          return 0;
                      }};
};

} // namespace

TEST_F(Deadline, drops_the_fraction_of_the_current_second)
{
    g_now = 1000;
    const timespec deadline = deadline_after(0);
    EXPECT_EQ(deadline.tv_sec, 1000);
    EXPECT_EQ(deadline.tv_nsec, 0);
}

TEST_F(Deadline, adds_whole_seconds_and_keeps_the_milliseconds_as_the_fraction)
{
    struct Case {
        uint32_t timeout_ms;
        time_t seconds;
        long nanoseconds;
    };
    g_now = 1000;
    for (const Case &c : {Case{1, 1000, 1'000'000}, Case{999, 1000, 999'000'000}, Case{1000, 1001, 0},
                          Case{1500, 1001, 500'000'000}, Case{400'000, 1400, 0},
                          Case{UINT32_MAX, 1000 + 4'294'967, 295'000'000}}) {
        const timespec deadline = deadline_after(c.timeout_ms);
        EXPECT_EQ(deadline.tv_sec, c.seconds) << c.timeout_ms;
        EXPECT_EQ(deadline.tv_nsec, c.nanoseconds) << c.timeout_ms;
    }
}

TEST_F(Deadline, has_passed_when_the_clock_gives_no_time)
{
    g_now.reset();
    const timespec deadline = deadline_after(400'500);
    EXPECT_EQ(deadline.tv_sec, 400);
    EXPECT_EQ(deadline.tv_nsec, 500'000'000);
}

TEST_F(Deadline, that_the_clock_cannot_show_is_the_last_that_it_can)
{
    constexpr time_t kLast = std::numeric_limits<time_t>::max();
    g_now = kLast - 400;
    EXPECT_EQ(deadline_after(400'000).tv_sec, kLast);
    EXPECT_EQ(deadline_after(401'000).tv_sec, kLast);
    EXPECT_EQ(deadline_after(UINT32_MAX).tv_sec, kLast);
}

} // namespace deadline_test
