// The service as it is, on the clock.

#include "sdk_timer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <mutex>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr double kTick = 50;
constexpr double kSlackOfATick = 10; // until a thread that is due gets its turn on a busy machine

std::mutex g_mutex;
std::vector<std::pair<uintptr_t, Clock::time_point>> g_fired;

void note(uintptr_t arg)
{
    const std::lock_guard guard(g_mutex);
    g_fired.emplace_back(arg, Clock::now());
}

timer_id start(uint32_t interval, uint32_t repeat)
{
    timer descriptor = {"timer", interval, repeat, note, interval};
    timer_id id;
    EXPECT_EQ(start_timer(&descriptor, &id), TIMER_SUCCESS);
    return id;
}

// So many milliseconds from `from`: not sooner than a tick before, and no later than the machine's
// fault.
void expect_at(Clock::time_point time, Clock::time_point from, double after)
{
    const double elapsed = Milliseconds(time - from).count();
    EXPECT_GE(elapsed, after - kTick);
    EXPECT_LE(elapsed, after + kTick + after / kTick * kSlackOfATick);
}

} // namespace

TEST(TimerRealTime, timers_fire_within_a_tick_of_their_time)
{
    ASSERT_EQ(init_timer(), TIMER_SUCCESS);
    const Clock::time_point begin = Clock::now();
    for (const uint32_t interval : {50, 120, 500, 1000, 2000}) {
        start(interval, 0);
    }
    const timer_id repeating = start(250, 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(2600));
    EXPECT_EQ(stop_timer(repeating.node, repeating.stamp), TIMER_SUCCESS);

    const std::lock_guard guard(g_mutex);
    int once = 0;
    int repeats = 0;
    for (const auto &[interval, time] : g_fired) {
        const bool is_repeating = interval == 250;
        ++(is_repeating ? repeats : once);
        expect_at(time, begin,
                  is_repeating ? 250.0 * repeats : static_cast<double>(interval / 50 * 50));
    }
    EXPECT_EQ(once, 5);
    EXPECT_GE(repeats, 8);
    EXPECT_LE(repeats, 10);
}
