#include "support/counted_memory.h"
#include "support/error_log.h"
#include "support/eventually.h"
#include "support/timers.h"

#include <future>

namespace stop_test {

using namespace testing_support;

namespace {

class TimerStop : public Timers {};

class TimerExist : public Timers {};

// A callback that runs until it may go on.
std::promise<void> g_entered;
std::promise<void> g_may_leave;
std::atomic<bool> g_left{false};

void stay(uintptr_t)
{
    g_entered.set_value();
    g_may_leave.get_future().wait();
    g_left = true;
}

} // namespace

TEST_F(TimerExist, word_that_is_0_gives_2_and_a_line)
{
    ErrorLog log;
    const timer_id id = started(100);
    for (const auto look : {exist_timer, stop_timer}) {
        for (const timer_id wrong : {timer_id{id.node, 0}, timer_id{0, id.stamp}}) {
            EXPECT_EQ(look(wrong.node, wrong.stamp), TIMER_ERR_PARAM);
            EXPECT_EQ(log.lines(), Lines{from_timer("exclusive id is invalid\n")});
        }
    }
    EXPECT_EQ(exists(id), TIMER_SUCCESS);
}

TEST_F(TimerExist, other_stamp_gives_3_without_a_line)
{
    ErrorLog log;
    const timer_id id = started(100);
    EXPECT_EQ(exist_timer(id.node, id.stamp + 1), TIMER_ERR_NO_TIMER);
    EXPECT_EQ(stop_timer(id.node, id.stamp + 1), TIMER_ERR_NO_TIMER);
    EXPECT_EQ(log.lines(), Lines{});
    EXPECT_EQ(exists(id), TIMER_SUCCESS);
}

TEST_F(TimerExist, repeating_timer_keeps_its_id)
{
    const timer_id id = started(50, kRepeating);
    EXPECT_TRUE(ticks().pass(5));
    EXPECT_EQ(exists(id), TIMER_SUCCESS);
    EXPECT_EQ(stop(id), TIMER_SUCCESS);
}

TEST_F(TimerStop, stopped_timer_exists_no_longer_and_does_not_fire)
{
    ErrorLog log;
    const timer_id once = started(50, kOnce, 1);
    const timer_id repeating = started(50, kRepeating, 2);
    EXPECT_EQ(exists(once), TIMER_SUCCESS);
    EXPECT_EQ(exists(repeating), TIMER_SUCCESS);
    EXPECT_EQ(stop(once), TIMER_SUCCESS);
    EXPECT_EQ(counts(), Counts(1, 0));
    EXPECT_EQ(parked_nodes(), Nodes{once.node});
    EXPECT_EQ(stop(once), TIMER_ERR_NO_TIMER);
    EXPECT_EQ(exists(once), TIMER_ERR_NO_TIMER);
    EXPECT_EQ(fired_in_ticks(1), (std::vector<Fired>{{2}}));
    EXPECT_EQ(stop(repeating), TIMER_SUCCESS);
    EXPECT_EQ(counts(), Counts(0, 0));
    EXPECT_EQ(fired_in_ticks(3), (std::vector<Fired>{{}, {}, {}}));
    EXPECT_EQ(log.lines(), Lines{});
}

// Stopped or expired, it is over with the callback when the call returns.
TEST_F(TimerStop, waits_for_a_callback_that_runs)
{
    timer descriptor = described(50);
    descriptor.callback = stay;
    const timer_id id = started(descriptor);
    std::future<bool> passed = std::async(std::launch::async, [] { return ticks().pass(); });
    g_entered.get_future().wait();
    const int locks = calls::lc_pthread_mutex_lock.made;
    std::future<int32_t> stopped = std::async(std::launch::async, [id] {
        const int32_t result = stop(id);
        EXPECT_TRUE(g_left);
        return result;
    });
    EXPECT_TRUE(eventually([locks] { return calls::lc_pthread_mutex_lock.made > locks; }));
    g_may_leave.set_value();
    EXPECT_EQ(stopped.get(), TIMER_ERR_NO_TIMER);
    EXPECT_TRUE(passed.get());
}

TEST_F(TimerStop, after_a_one_shot_timer_fired_gives_3)
{
    const timer_id id = started(100, kOnce, 1);
    EXPECT_EQ(fired_in_ticks(2), (std::vector<Fired>{{}, {1}}));
    EXPECT_EQ(stop(id), TIMER_ERR_NO_TIMER);
}

TEST_F(TimerStop, timers_behind_keep_their_time)
{
    started(100, kOnce, 1);
    const timer_id middle = started(150, kOnce, 2);
    started(250, kOnce, 3);
    const timer_id last = started(300, kOnce, 4);
    EXPECT_EQ(stop(middle), TIMER_SUCCESS);
    EXPECT_EQ(deltas(), (Deltas{2, 3, 1}));
    EXPECT_EQ(stop(last), TIMER_SUCCESS);
    EXPECT_EQ(deltas(), (Deltas{2, 3}));
    EXPECT_EQ(fired_in_ticks(5), (std::vector<Fired>{{}, {1}, {}, {}, {3}}));
}

TEST_F(TimerStop, first_timer_leaves_its_ticks_to_the_next)
{
    const timer_id id = started(100);
    started(100);
    started(250);
    EXPECT_TRUE(ticks().pass());
    EXPECT_EQ(stop(id), TIMER_SUCCESS);
    EXPECT_EQ(deltas(), (Deltas{1, 3}));
}

TEST_F(TimerStop, memory_is_kept)
{
    const timer_id id = started(100);
    memory().take();
    EXPECT_EQ(stop(id), TIMER_SUCCESS);
    EXPECT_EQ(memory().take().size(), 0U);
}

TEST_F(TimerStop, timer_that_expires_between_its_two_looks_gives_3)
{
    const timer_id id = started(50, kOnce, 1);
    started(100, kOnce, 2);
    int locks = 0;
    const pthread_t own = pthread_self();
    const Hooked expiring(calls::lc_pthread_mutex_lock, [&](auto &next, pthread_mutex_t *mutex) {
        if (pthread_equal(pthread_self(), own) != 0 && ++locks == 2) {
            EXPECT_TRUE(ticks().pass());
        }
        return next(mutex);
    });
    EXPECT_EQ(stop(id), TIMER_ERR_NO_TIMER);
    EXPECT_EQ(take_fired(), Fired{1});
    EXPECT_EQ(parked_nodes(), Nodes{id.node});
    EXPECT_EQ(deltas(), Deltas{1});
    EXPECT_EQ(counts(), Counts(0, 1));
}

} // namespace stop_test
