// List operations that fail: messages, results, and that the thread ends when its list is inconsistent.

#include "support/counted_memory.h"
#include "support/error_log.h"
#include "support/library_calls.h"
#include "support/timers.h"

namespace faults_test {

using namespace testing_support;

namespace {

const std::string kNotUnlinked = from_timer("remove list node from gp_timer_list failure");

class TimerFaults : public Timers {
protected:
    void expect_start_to_fail(const Lines &lines)
    {
        timer descriptor = described(100);
        timer_id id = {1, 1};
        EXPECT_EQ(start_timer(&descriptor, &id), TIMER_ERR_INTERNAL);
        EXPECT_EQ(id.node, 0U);
        EXPECT_EQ(id.stamp, 0U);
        EXPECT_EQ(log_.lines(), lines);
    }

    void expect_the_thread_to_end(const Lines &lines)
    {
        EXPECT_FALSE(ticks().pass());
        EXPECT_EQ(log_.lines(), lines);
        counts(); // can be had: it let go of the mutex
    }

    ErrorLog log_;
};

} // namespace

TEST_F(TimerFaults, timer_that_cannot_be_put_at_the_end_is_not_started)
{
    calls::lc_list_add_at_tail.fail_nth(1);
    expect_start_to_fail({from_timer("init list node error\n")});
    EXPECT_EQ(counts(), Counts(0, 0));
    EXPECT_EQ(exists(started(100)), TIMER_SUCCESS);
}

TEST_F(TimerFaults, timer_that_cannot_be_put_before_another_is_not_started)
{
    started(200);
    calls::lc_list_add_before.fail_nth(1);
    expect_start_to_fail({from_timer("init list node error\n")});
    EXPECT_EQ(counts(), Counts(0, 1));
}

TEST_F(TimerFaults, parked_node_that_does_not_come_back_fails_the_start)
{
    ASSERT_EQ(stop(started(100)), TIMER_SUCCESS);
    bool once = true;
    const Hooked failing(calls::lc_list_del_from_head, [&](auto &next, auto *list, uint32_t *error) {
        if (!std::exchange(once, false)) {
            return next(list, error);
        }
        *error = LC_LIST_ERR_EMPTY;
        return static_cast<lc_list_node *>(nullptr);
    });
    expect_start_to_fail({from_timer("get node from delete list error errorno=3\n")});
    EXPECT_EQ(counts(), Counts(0, 0));
    EXPECT_EQ(exists(started(100)), TIMER_SUCCESS);
}

TEST_F(TimerFaults, parked_node_without_an_entry_fails_the_start)
{
    const timer_id id = started(100);
    ASSERT_EQ(stop(id), TIMER_SUCCESS);
    auto *node = reinterpret_cast<lc_list_node *>(id.node);
    void *const entry = std::exchange(node->data, nullptr);
    EXPECT_EQ(exists(id), TIMER_ERR_NO_TIMER);
    expect_start_to_fail({from_timer("deleted node is not validate\n")});
    node->data = entry;
}

TEST_F(TimerFaults, parked_node_whose_entry_is_in_use_fails_the_start)
{
    const timer_id id = started(100);
    ASSERT_EQ(stop(id), TIMER_SUCCESS);
    auto *node = reinterpret_cast<lc_list_node *>(id.node);
    static_cast<TimerEntry *>(node->data)->node = node;
    expect_start_to_fail({from_timer("deleted node is not validate\n")});
}

TEST_F(TimerFaults, timer_that_cannot_be_unlinked_is_not_stopped)
{
    const timer_id id = started(100);
    calls::lc_list_del_node.fail_nth(1);
    EXPECT_EQ(stop(id), TIMER_ERR_INTERNAL);
    EXPECT_EQ(log_.lines(), (Lines{kNotUnlinked, from_timer("remove node error\n")}));
    EXPECT_EQ(exists(id), TIMER_SUCCESS);
    EXPECT_EQ(counts(), Counts(0, 1));
}

TEST_F(TimerFaults, timer_that_cannot_be_parked_is_gone_all_the_same)
{
    const timer_id id = started(100);
    calls::lc_list_add_at_head.fail_nth(1);
    EXPECT_EQ(stop(id), TIMER_ERR_INTERNAL);
    EXPECT_EQ(log_.lines(), (Lines{from_timer("add deleted node into delete list error\n")}));
    EXPECT_EQ(exists(id), TIMER_ERR_NO_TIMER);
    EXPECT_EQ(counts(), Counts(0, 0));
}

TEST_F(TimerFaults, thread_ends_when_an_expired_timer_cannot_be_unlinked)
{
    started(50, kOnce, 1);
    calls::lc_list_del_node.fail_nth(1);
    expect_the_thread_to_end({kNotUnlinked, from_timer("remove node error\n"),
                              from_timer("delete timer node from gp_timer_list error\n")});
    EXPECT_EQ(take_fired(), Fired{1});
}

TEST_F(TimerFaults, thread_ends_when_an_expired_timer_cannot_be_parked)
{
    started(50, kOnce, 1);
    started(50, kOnce, 2);
    calls::lc_list_add_at_head.fail_nth(1);
    expect_the_thread_to_end({from_timer("add deleted node into delete list error\n"),
                              from_timer("delete timer node from gp_timer_list error\n")});
    EXPECT_EQ(take_fired(), Fired{1});
}

TEST_F(TimerFaults, thread_ends_when_a_repeating_timer_cannot_be_taken_out)
{
    started(50, kRepeating, 1);
    calls::lc_list_del_node.fail_nth(1);
    expect_the_thread_to_end(
        {kNotUnlinked, from_timer("remove timer node from gp_timer_list error\n")});
    EXPECT_EQ(take_fired(), Fired{1});
}

TEST_F(TimerFaults, thread_ends_when_a_repeating_timer_cannot_be_put_back)
{
    started(50, kRepeating, 1);
    calls::lc_list_add_at_tail.fail_nth(1);
    expect_the_thread_to_end({from_timer("insert timer node into gp_timer_list error\n")});
    EXPECT_EQ(take_fired(), Fired{1});
    EXPECT_EQ(counts(), Counts(0, 0));
}

} // namespace faults_test
