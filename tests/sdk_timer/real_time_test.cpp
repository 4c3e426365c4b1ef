// The service in real time.

#include "sdk_timer.h"
#include "support/calls.h"

#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <mutex>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

constexpr double kTick = 50;

double milliseconds_since(Clock::time_point begin)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

// When a timer expired, and how late the tick was: ticks are counted, so what the machine has taken
// from the service by then delays all timers.
struct Expiry {
    double elapsed;
    double late;
};

std::mutex g_mutex;
Clock::time_point g_begin;
double g_late = 0;
std::map<uintptr_t, std::vector<Expiry>> g_expiries; // by the timer's interval

void note(uintptr_t interval)
{
    const std::lock_guard guard(g_mutex);
    g_expiries[interval].push_back({milliseconds_since(g_begin), g_late});
}

timer_id start(uint32_t interval, uint32_t repeat)
{
    timer descriptor = {"timer", interval, repeat, note, interval};
    timer_id id;
    EXPECT_EQ(start_timer(&descriptor, &id), TIMER_SUCCESS);
    return id;
}

// No sooner than a tick before its time, as of the first some may have been over when the timer
// started, nor later than a tick after what the machine is to blame for.
void expect_in_time(const std::vector<Expiry> &expiries, double interval)
{
    double due = 0;
    for (const auto &[elapsed, late] : expiries) {
        due += interval;
        EXPECT_GE(elapsed, due - kTick) << interval;
        EXPECT_LE(elapsed, due + late + kTick) << interval;
    }
}

} // namespace

TEST(TimerRealTime, timers_fire_within_a_tick_of_their_time)
{
    testing_support::calls::select.add([](auto &next, int count, auto *readable, auto *writable,
                                          auto *exceptional, timeval *timeout) {
        static const Clock::time_point first = Clock::now();
        static double asked = 0;
        asked +=
            static_cast<double>(timeout->tv_sec) * 1000 + static_cast<double>(timeout->tv_usec) / 1000;
        const int result = next(count, readable, writable, exceptional, timeout);
        const std::lock_guard guard(g_mutex);
        g_late = milliseconds_since(first) - asked;
        return result;
    });
    ASSERT_EQ(init_timer(), TIMER_SUCCESS);
    g_begin = Clock::now();
    const uint32_t intervals[] = {50, 120, 500, 1000, 2000};
    for (const uint32_t interval : intervals) {
        start(interval, 0);
    }
    const timer_id repeating = start(250, 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(2600));
    EXPECT_EQ(stop_timer(repeating.node, repeating.stamp), TIMER_SUCCESS);

    const std::lock_guard guard(g_mutex);
    for (const uint32_t interval : intervals) {
        EXPECT_EQ(g_expiries[interval].size(), 1U) << interval;
        expect_in_time(g_expiries[interval], interval / 50 * kTick);
    }
    expect_in_time(g_expiries[250], 250);
    EXPECT_LE(g_expiries[250].size(), 10U);
    EXPECT_GE(static_cast<double>(g_expiries[250].size()), (2600 - g_late - kTick) / 250 - 1);
}
