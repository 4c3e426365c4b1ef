#include "support/error_log.h"
#include "support/timers.h"

namespace expiry_test {

using namespace testing_support;

namespace {

struct Caller {
    pthread_t thread;
    int lock_result;
};
Caller g_caller;
std::atomic<pthread_mutex_t *> g_last_locked{nullptr};

// A callback that looks at who calls it, and whether the service's mutex can be had.
void note_caller(uintptr_t) { g_caller = {pthread_self(), pthread_mutex_trylock(g_last_locked)}; }

class TimerExpiry : public Timers {
    const Hooked noted_{calls::lc_pthread_mutex_lock, [](auto &next, pthread_mutex_t *mutex) {
                            g_last_locked = mutex;
                            return next(mutex);
                        }};
};

struct Sequence {
    const char *name;
    std::vector<timer> timers;
    Deltas deltas;
    std::vector<Fired> fired;
    Counts left;
};

void PrintTo(const Sequence &sequence, std::ostream *out) { *out << sequence.name; }

class TimerSequence : public Timers, public testing::WithParamInterface<Sequence> {};

} // namespace

INSTANTIATE_TEST_SUITE_P(
    Of, TimerSequence,
    testing::Values(
        Sequence{
            "two_ticks_in_120_milliseconds", {described(120, kOnce, 1)}, {2}, {{}, {1}, {}}, {0, 0}},
        Sequence{"a_timer_shorter_than_a_tick_before_others_and_delaying_none",
                 {described(100, kOnce, 2), described(50, kOnce, 1), described(0, kOnce, 3)},
                 {0, 1, 1},
                 {{3, 1}, {2}},
                 {0, 0}},
        Sequence{"one_timer_shorter_than_a_tick_at_each",
                 {described(0, kOnce, 1), described(0, kOnce, 2), described(0, kOnce, 3),
                  described(50, kOnce, 4)},
                 {0, 0, 0, 1},
                 {{1}, {2}, {3}, {4}, {}},
                 {0, 0}},
        Sequence{"a_repeating_timer_behind_those_that_expire_with_it_then",
                 {described(50, kRepeating, 1), described(100, kOnce, 2)},
                 {1, 1},
                 {{1}, {2, 1}, {1}},
                 {1, 0}},
        Sequence{"repeating_timers_shorter_than_a_tick_at_every_one",
                 {described(0, kRepeating, 1), described(49, kRepeating, 2)},
                 {0, 0},
                 {{1}, {2, 1}, {2, 1}},
                 {2, 0}},
        Sequence{"the_whole_word_of_an_argument",
                 {described(50, kOnce, UINTPTR_MAX)},
                 {1},
                 {{UINTPTR_MAX}},
                 {0, 0}}));

TEST_P(TimerSequence, fires_tick_by_tick)
{
    for (const timer &descriptor : GetParam().timers) {
        started(descriptor);
    }
    EXPECT_EQ(deltas(), GetParam().deltas);
    EXPECT_EQ(fired_in_ticks(static_cast<unsigned>(GetParam().fired.size())), GetParam().fired);
    EXPECT_EQ(counts(), GetParam().left);
}

TEST_F(TimerExpiry, timer_shorter_than_a_tick_fires_at_the_next)
{
    for (const uint32_t interval : {0U, 1U, 49U, 50U}) {
        const timer_id id = started(interval, kOnce, interval);
        EXPECT_EQ(fired_in_ticks(2), (std::vector<Fired>{{interval}, {}}));
        EXPECT_EQ(exists(id), TIMER_ERR_NO_TIMER);
    }
}

TEST_F(TimerExpiry, tick_touches_only_the_first_timer)
{
    started(150);
    started(150);
    started(500);
    EXPECT_TRUE(ticks().pass());
    EXPECT_EQ(deltas(), (Deltas{2, 0, 7}));
}

TEST_F(TimerExpiry, ticks_without_timers_count_for_none)
{
    EXPECT_TRUE(ticks().pass(7));
    started(100, kOnce, 1);
    EXPECT_EQ(fired_in_ticks(2), (std::vector<Fired>{{}, {1}}));
}

TEST_F(TimerExpiry, one_shot_timer_fires_once_and_is_parked)
{
    const timer_id id = started(50, kOnce, 1);
    EXPECT_EQ(fired_in_ticks(3), (std::vector<Fired>{{1}, {}, {}}));
    EXPECT_EQ(counts(), Counts(0, 0));
    EXPECT_EQ(parked_nodes(), Nodes{id.node});
    EXPECT_EQ(entry_of(reinterpret_cast<const lc_list_node *>(id.node)).node, nullptr);
}

TEST_F(TimerExpiry, repeating_timer_fires_every_interval)
{
    const timer_id id = started(100, kRepeating, 1);
    EXPECT_EQ(fired_in_ticks(6), (std::vector<Fired>{{}, {1}, {}, {1}, {}, {1}}));
    EXPECT_EQ(counts(), Counts(1, 0));
    EXPECT_EQ(running_nodes(), Nodes{id.node});
    EXPECT_EQ(parked_nodes(), Nodes{});
}

TEST_F(TimerExpiry, timer_without_a_callback_only_expires)
{
    timer descriptor = described(50);
    descriptor.callback = nullptr;
    const timer_id id = started(descriptor);
    started(50, kOnce, 1);
    EXPECT_EQ(fired_in_ticks(1), (std::vector<Fired>{{1}}));
    EXPECT_EQ(exists(id), TIMER_ERR_NO_TIMER);
    EXPECT_EQ(counts(), Counts(0, 0));
}

TEST_F(TimerExpiry, callback_runs_on_the_services_thread_with_its_mutex_held)
{
    timer descriptor = described(50);
    descriptor.callback = note_caller;
    started(descriptor);
    ASSERT_TRUE(ticks().pass());
    EXPECT_NE(pthread_equal(g_caller.thread, g_service_thread.id), 0);
    EXPECT_EQ(g_caller.lock_result, EBUSY);
    EXPECT_EQ(pthread_mutex_trylock(g_last_locked), 0);
    EXPECT_EQ(pthread_mutex_unlock(g_last_locked), 0);
}

TEST_F(TimerExpiry, expiry_says_nothing_in_the_log)
{
    ErrorLog log;
    started(50);
    started(50, kRepeating);
    EXPECT_TRUE(ticks().pass(3));
    EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(TimerExpiry, debuggers_hook_is_called_after_every_change)
{
    const int before = calls::printf_timerlist.made;
    const timer_id id = started(50, kRepeating);
    EXPECT_EQ(calls::printf_timerlist.made, before + 1);
    EXPECT_TRUE(ticks().pass());
    EXPECT_EQ(calls::printf_timerlist.made, before + 3); // taken out, put back
    EXPECT_EQ(stop(id), TIMER_SUCCESS);
    EXPECT_EQ(calls::printf_timerlist.made, before + 4);
}

TEST_F(TimerExpiry, debuggers_hook_for_the_list_gives_0) { EXPECT_EQ(printf_list(), 0); }

} // namespace expiry_test
