#include "lc_ipc_mq.h"
#include "support/interpose.h"

#include <gtest/gtest.h>
#include <sys/time.h>

namespace {

bool g_fixed_clock = false;

timespec deadline_after(uint32_t timeout_ms)
{
    g_fixed_clock = true;
    timespec deadline = {-1, -1};
    mkcondtimeout(&deadline, timeout_ms);
    g_fixed_clock = false;
    return deadline;
}

} // namespace

extern "C" int gettimeofday(timeval *__restrict now, void *__restrict zone) noexcept
{
    if (g_fixed_clock) {
        *now = {1000, 999'999};
        return 0;
    }
    return testing_support::next_definition<int(timeval *, void *)>("gettimeofday")(now, zone);
}

TEST(Deadline, drops_the_fraction_of_the_current_second)
{
    const timespec deadline = deadline_after(0);
    EXPECT_EQ(deadline.tv_sec, 1000);
    EXPECT_EQ(deadline.tv_nsec, 0);
}

TEST(Deadline, adds_whole_seconds_and_keeps_the_milliseconds_as_the_fraction)
{
    struct Case {
        uint32_t timeout_ms;
        time_t seconds;
        long nanoseconds;
    };
    for (const Case &c : {Case{1, 1000, 1'000'000}, Case{999, 1000, 999'000'000}, Case{1000, 1001, 0},
                          Case{1500, 1001, 500'000'000}, Case{400'000, 1400, 0},
                          Case{UINT32_MAX, 1000 + 4'294'967, 295'000'000}}) {
        const timespec deadline = deadline_after(c.timeout_ms);
        EXPECT_EQ(deadline.tv_sec, c.seconds) << c.timeout_ms;
        EXPECT_EQ(deadline.tv_nsec, c.nanoseconds) << c.timeout_ms;
    }
}
