// Four threads that start, look at and stop timers while the service ticks: each timer ends exactly
// once, stopped or fired.

#include "support/timers.h"

#include <random>
#include <thread>

namespace threads_test {

using namespace testing_support;

namespace {

constexpr int kThreads = 4;
constexpr int kRounds = 3000;

std::atomic<uint32_t> g_expired{0};
std::atomic<uint32_t> g_stopped{0};

void count_expiry(uintptr_t) { ++g_expired; }

timer_id start_any(std::mt19937 &random)
{
    timer descriptor = described(static_cast<uint32_t>(random() % 300));
    descriptor.callback = count_expiry;
    return started(descriptor);
}

// A repeating timer is there until it is stopped.
void use_repeating_timer()
{
    timer descriptor = described(50, kRepeating);
    descriptor.callback = nullptr;
    const timer_id id = started(descriptor);
    EXPECT_EQ(exists(id), TIMER_SUCCESS);
    EXPECT_EQ(stop(id), TIMER_SUCCESS);
    EXPECT_EQ(exists(id), TIMER_ERR_NO_TIMER);
}

void use_timers(unsigned seed)
{
    std::mt19937 random(seed);
    for (int i = 0; i < kRounds; ++i) {
        const timer_id id = start_any(random);
        if (random() % 2 == 0) {
            std::this_thread::yield();
        }
        const int32_t result = random() % 4 == 0 ? TIMER_ERR_NO_TIMER : stop(id);
        EXPECT_TRUE(result == TIMER_SUCCESS || result == TIMER_ERR_NO_TIMER) << result;
        g_stopped += result == TIMER_SUCCESS ? 1 : 0;
        use_repeating_timer();
    }
}

class TimerThreads : public Timers {};

} // namespace

TEST_F(TimerThreads, each_timer_ends_once)
{
    std::vector<std::thread> threads;
    std::atomic<int> left{kThreads};
    for (unsigned i = 0; i < kThreads; ++i) {
        threads.emplace_back([i, &left] {
            use_timers(i);
            --left;
        });
    }
    while (left > 0) {
        ASSERT_TRUE(ticks().pass());
        counts();
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    while (counts() != Counts(0, 0)) {
        ASSERT_TRUE(ticks().pass());
    }
    EXPECT_EQ(g_expired + g_stopped, uint32_t{kThreads * kRounds});
    EXPECT_GT(g_expired, 0U);
    EXPECT_GT(g_stopped, 0U);
    EXPECT_EQ(running_nodes(), Nodes{});
}

} // namespace threads_test
