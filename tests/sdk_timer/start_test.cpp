#include "support/counted_memory.h"
#include "support/error_log.h"
#include "support/library_calls.h"
#include "support/timers.h"

namespace start_test {

using namespace testing_support;

namespace {

class TimerStart : public Timers {
protected:
    // Refused as a parameter, with nothing but a zeroed id and a line.
    void expect_refusal(timer descriptor, const char *line)
    {
        ErrorLog log;
        const timer before = descriptor;
        timer_id id = {1, 1};
        EXPECT_EQ(start_timer(&descriptor, &id), TIMER_ERR_PARAM);
        EXPECT_EQ(id.node, 0U);
        EXPECT_EQ(id.stamp, 0U);
        EXPECT_EQ(log.lines(), Lines{from_timer(line)});
        EXPECT_EQ(memcmp(&descriptor, &before, sizeof(before)), 0);
        EXPECT_EQ(counts(), Counts(0, 0));
    }
};

} // namespace

TEST_F(TimerStart, name_of_20_characters_is_taken)
{
    EXPECT_EQ(exists(started(described(100, kOnce, 0, "12345678901234567890"))), TIMER_SUCCESS);
    EXPECT_EQ(exists(started(described(100, kOnce, 0, ""))), TIMER_SUCCESS);
}

TEST_F(TimerStart, bad_name_or_repeat_gives_2_and_the_name_is_looked_at_first)
{
    const char *const long_name = "123456789012345678901";
    timer endless = described(120);
    memset(endless.name, 'x', sizeof(endless.name));
    expect_refusal(described(120, kOnce, 0, long_name), "timer's name error\n");
    expect_refusal(endless, "timer's name error\n");
    expect_refusal(described(120, 2), "timer's repeat error\n");
    expect_refusal(described(120, 0xFFFFFFFF), "timer's repeat error\n");
    expect_refusal(described(120, 2, 0, long_name), "timer's name error\n");
}

TEST_F(TimerStart, interval_is_rounded_down_to_ticks_in_the_callers_descriptor)
{
    const std::pair<uint32_t, uint32_t> expected[] = {
        {0, 0}, {49, 0}, {50, 50}, {99, 50}, {120, 100}, {0xFFFFFFFF, 0xFFFFFFFF - 45}};
    for (const auto &[interval, rounded] : expected) {
        timer descriptor = described(interval);
        timer_id id;
        EXPECT_EQ(start_timer(&descriptor, &id), TIMER_SUCCESS);
        EXPECT_EQ(descriptor.interval, rounded);
    }
}

TEST_F(TimerStart, descriptor_is_copied)
{
    timer descriptor = described(100, kOnce, 5);
    timer_id id;
    ASSERT_EQ(start_timer(&descriptor, &id), TIMER_SUCCESS);
    memset(&descriptor, 0xFF, sizeof(descriptor));
    EXPECT_EQ(fired_in_ticks(2), (std::vector<Fired>{{}, {5}}));
}

TEST_F(TimerStart, id_is_the_node_and_the_seconds_plus_the_microseconds)
{
    g_clock.stop_at(0x65000000, 999999);
    const timer_id id = started(100);
    EXPECT_EQ(Nodes{id.node}, running_nodes());
    EXPECT_EQ(id.stamp, 0x65000000U + 999999U);
    const auto *node = reinterpret_cast<const lc_list_node *>(id.node);
    EXPECT_EQ(entry_of(node).node, node);
    EXPECT_EQ(entry_of(node).stamp, id.stamp);
    EXPECT_EQ(node->reserved, 0U);
}

TEST_F(TimerStart, stamp_is_never_0_which_no_id_has)
{
    g_clock.stop_at(0xFFFFFFFF, 1);
    const timer_id id = started(100);
    EXPECT_NE(id.stamp, 0U);
    EXPECT_EQ(exists(id), TIMER_SUCCESS);
}

TEST_F(TimerStart, timers_hang_on_each_other_by_the_ticks_between_them)
{
    const timer_id first = started(100, kOnce, 1);
    const timer_id second = started(100, kOnce, 2);
    const timer_id third = started(250, kOnce, 3);
    EXPECT_EQ(deltas(), (Deltas{2, 0, 3}));
    EXPECT_EQ(running_nodes(), (Nodes{first.node, second.node, third.node}));
    EXPECT_EQ(fired_in_ticks(5), (std::vector<Fired>{{}, {1, 2}, {}, {}, {3}}));
}

TEST_F(TimerStart, timer_goes_before_those_that_expire_later_and_behind_all_others)
{
    const struct {
        std::vector<uint32_t> intervals;
        std::vector<size_t> order;
        Deltas deltas;
    } starts[] = {
        {{500, 100, 300}, {1, 2, 0}, {2, 4, 4}},
        {{100, 150, 100}, {0, 2, 1}, {2, 0, 1}},
        {{0xFFFFFFFF, 0xFFFFFFFF, 50}, {2, 0, 1}, {1, 85899344, 0}},
    };
    for (const auto &[intervals, order, expected] : starts) {
        std::vector<timer_id> ids;
        for (const uint32_t interval : intervals) {
            ids.push_back(started(interval));
        }
        EXPECT_EQ(running_nodes(), (Nodes{ids[order[0]].node, ids[order[1]].node, ids[order[2]].node}));
        EXPECT_EQ(deltas(), expected);
        for (const timer_id id : ids) {
            EXPECT_EQ(stop(id), TIMER_SUCCESS);
        }
    }
}

TEST_F(TimerStart, kinds_are_counted_apart)
{
    started(100, kRepeating);
    started(100, kRepeating);
    started(100, kOnce);
    EXPECT_EQ(counts(), Counts(2, 1));
}

namespace {

// What the clock shows meanwhile, and whether it fails in the end.
struct Clock {
    const char *name;
    bool stopped;
    uint32_t seconds;
    uint32_t microseconds;
    bool fails;
};

void PrintTo(const Clock &clock, std::ostream *out) { *out << clock.name; }

class TimerRestart : public Timers, public testing::WithParamInterface<Clock> {};

} // namespace

INSTANTIATE_TEST_SUITE_P(
    After, TimerRestart,
    testing::Values(Clock{"some_time", false, 0, 0, false}, Clock{"no_time", true, 1000, 0, false},
                    Clock{"no_time_where_stamps_begin_again", true, 0xFFFFFFFF, 1, false},
                    Clock{"a_time_that_is_not_known", true, 1000, 5, true}));

TEST_P(TimerRestart, takes_the_same_node_with_a_new_stamp_so_that_old_ids_stay_stale)
{
    const Clock &clock = GetParam();
    if (clock.stopped) {
        g_clock.stop_at(clock.seconds, clock.microseconds);
    }
    const timer_id old = started(100);
    ASSERT_EQ(stop(old), TIMER_SUCCESS);
    g_clock.fails = clock.fails;
    const timer_id id = started(100);
    EXPECT_EQ(id.node, old.node);
    EXPECT_NE(id.stamp, old.stamp);
    if (clock.fails) {
        EXPECT_EQ(id.stamp, old.stamp + 1);
    }
    EXPECT_EQ(exists(old), TIMER_ERR_NO_TIMER);
    EXPECT_EQ(stop(old), TIMER_ERR_NO_TIMER);
    EXPECT_EQ(exists(id), TIMER_SUCCESS);
}

TEST_F(TimerStart, without_the_time_a_stamp_is_not_0_either)
{
    g_clock.stop_at(0xFFFFFFFF, 0);
    ASSERT_EQ(stop(started(100)), TIMER_SUCCESS);
    g_clock.fails = true;
    EXPECT_EQ(started(100).stamp, 1U);
    EXPECT_EQ(started(100).stamp, 1U); // of a node that had none
}

TEST_F(TimerStart, node_parked_last_is_taken_first)
{
    const timer_id one = started(100);
    const timer_id other = started(100);
    ASSERT_EQ(stop(one), TIMER_SUCCESS);
    ASSERT_EQ(stop(other), TIMER_SUCCESS);
    EXPECT_EQ(parked_nodes(), (Nodes{other.node, one.node}));
    EXPECT_EQ(started(100).node, other.node);
    EXPECT_EQ(started(100).node, one.node);
}

TEST_F(TimerStart, node_of_an_expired_timer_is_used_again_and_cleared)
{
    const timer_id old = started(50, kOnce, 5);
    EXPECT_EQ(fired_in_ticks(1), (std::vector<Fired>{{5}}));
    timer descriptor = described(100);
    descriptor.callback = nullptr;
    const timer_id id = started(descriptor);
    EXPECT_EQ(id.node, old.node);
    EXPECT_EQ(fired_in_ticks(2), (std::vector<Fired>{{}, {}}));
    EXPECT_EQ(exists(id), TIMER_ERR_NO_TIMER);
}

TEST_F(TimerStart, parked_nodes_make_it_go_without_allocation)
{
    const timer_id one = started(100);
    const timer_id other = started(50);
    ASSERT_EQ(stop(one), TIMER_SUCCESS);
    ASSERT_TRUE(ticks().pass());
    EXPECT_EQ(exists(other), TIMER_ERR_NO_TIMER);
    memory().take();
    started(100);
    started(100);
    EXPECT_EQ(memory().take().size(), 0U);
    started(100);
    EXPECT_EQ(memory().take().size(), 2U);
}

TEST_F(TimerStart, memory_belongs_to_the_timer_service)
{
    memory().take();
    started(100);
    const std::vector<MemoryCall> calls = memory().take();
    ASSERT_EQ(calls.size(), 2U);
    for (const MemoryCall &call : calls) {
        EXPECT_FALSE(call.is_free);
        EXPECT_EQ(call.owner, 0x7000000U);
        EXPECT_EQ(call.thread_tag, current_thread_tag());
        EXPECT_GT(call.line, 0U);
    }
}

TEST_F(TimerStart, each_failing_allocation_gives_minus_1_and_leaves_nothing_behind)
{
    const size_t blocks = memory().blocks_in_use();
    const std::pair<Allocation, const char *> failures[] = {{kTimerEntry, "init timer node error\n"},
                                                            {kTimerNode, "init list node error\n"}};
    for (const auto &[what, line] : failures) {
        memory().fail(what);
        ErrorLog log;
        timer descriptor = described(120);
        timer_id id = {1, 1};
        EXPECT_EQ(start_timer(&descriptor, &id), TIMER_ERR_INTERNAL);
        EXPECT_EQ(id.node, 0U);
        EXPECT_EQ(id.stamp, 0U);
        EXPECT_EQ(log.lines(), Lines{from_timer(line)});
        EXPECT_EQ(memory().blocks_in_use(), blocks);
        EXPECT_EQ(counts(), Counts(0, 0));
        EXPECT_EQ(descriptor.interval, 100U);
    }
    EXPECT_EQ(exists(started(100)), TIMER_SUCCESS);
}

} // namespace start_test
