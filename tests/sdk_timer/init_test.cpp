#include "support/counted_memory.h"
#include "support/error_log.h"
#include "support/library_calls.h"
#include "support/signals.h"
#include "support/timers.h"

#include <set>

namespace init_test {

using namespace testing_support;

TEST(TimerInit, service_starts_without_timers_in_a_thread_with_default_attributes)
{
    EXPECT_EQ(init_timer(), TIMER_SUCCESS);
    EXPECT_EQ(counts(), Counts(0, 0));
    EXPECT_EQ(running_nodes(), Nodes{});
    EXPECT_EQ(parked_nodes(), Nodes{});
    EXPECT_TRUE(ticks().pass(3));
    EXPECT_FALSE(g_service_thread.slept_otherwise);
    EXPECT_FALSE(g_service_thread.has_attributes);
}

TEST(TimerInit, signal_that_was_blocked_before_is_left_to_its_waiter)
{
    expect_signal_is_left_to_its_waiter([] { ASSERT_EQ(init_timer(), TIMER_SUCCESS); },
                                        [] { EXPECT_TRUE(ticks().pass()); });
}

TEST(TimerInit, signal_that_is_blocked_afterwards_is_taken_by_the_services_thread)
{
    expect_signal_is_taken_by_started_thread([] { ASSERT_EQ(init_timer(), TIMER_SUCCESS); });
}

TEST(TimerInit, lists_begin_with_an_entry_of_zeros)
{
    ASSERT_EQ(init_timer(), TIMER_SUCCESS);
    ASSERT_EQ(g_service_lists.timers->count, 1U);
    const TimerEntry zeros = {};
    const lc_list_node *head = g_service_lists.timers->head;
    EXPECT_EQ(memcmp(head->data, &zeros, sizeof(zeros)), 0);
    EXPECT_EQ(head->reserved, 0U);
}

TEST(TimerInit, second_time_gives_1_and_a_line)
{
    ErrorLog log;
    ASSERT_EQ(init_timer(), TIMER_SUCCESS);
    const timer_id id = started(100);
    EXPECT_EQ(init_timer(), TIMER_ERR_NOT_INIT);
    EXPECT_EQ(log.lines(), Lines{from_timer("timer_list has been inited\n")});
    EXPECT_EQ(exists(id), TIMER_SUCCESS);
    EXPECT_EQ(counts(), Counts(0, 1));
}

TEST(TimerInit, before_it_start_stop_and_exist_give_1_and_a_line_but_2_for_bad_parameters)
{
    ErrorLog log;
    const Lines line = {from_timer("gp_timer_list is NULL\n")};
    timer descriptor = described(120);
    timer_id id = {1, 1};
    EXPECT_EQ(start_timer(&descriptor, &id), TIMER_ERR_NOT_INIT);
    EXPECT_EQ(id.node, 0U);
    EXPECT_EQ(id.stamp, 0U);
    EXPECT_EQ(descriptor.interval, 120U);
    EXPECT_EQ(log.lines(), line);
    EXPECT_EQ(exist_timer(1, 1), TIMER_ERR_NOT_INIT);
    EXPECT_EQ(log.lines(), line);
    EXPECT_EQ(stop_timer(1, 1), TIMER_ERR_NOT_INIT);
    EXPECT_EQ(log.lines(), line);
    EXPECT_EQ(exist_timer(0, 1), TIMER_ERR_PARAM);
    descriptor.repeat = 2;
    EXPECT_EQ(start_timer(&descriptor, &id), TIMER_ERR_PARAM);
}

TEST(TimerInit, before_it_query_gives_1_and_leaves_the_counts)
{
    ErrorLog log;
    uint32_t words[2] = {7, 8};
    EXPECT_EQ(query_timer(words), TIMER_ERR_NOT_INIT);
    EXPECT_EQ(words[0], 7U);
    EXPECT_EQ(words[1], 8U);
    EXPECT_EQ(log.lines(), Lines{});
}

TEST(TimerInit, memory_belongs_to_the_timer_service_and_its_lists)
{
    ASSERT_EQ(init_timer(), TIMER_SUCCESS);
    std::multiset<uint32_t> owners;
    for (const MemoryCall &call : memory().take_allocations()) {
        owners.insert(call.owner);
        EXPECT_EQ(call.thread_tag, current_thread_tag());
        EXPECT_GT(call.line, 0U);
    }
    EXPECT_EQ(owners, (std::multiset<uint32_t>{0x1000000, 0x1000000, 0x7000000, 0x7000000, 0x7000000}));
}

TEST(TimerInit, that_fails_gives_its_code_and_line_leaves_nothing_and_can_be_tried_again)
{
    const struct {
        std::function<void()> fail;
        int32_t result;
        const char *line;
    } kFailures[] = {
        {[] { memory().fail(kTimerControl); }, TIMER_ERR_NOT_INIT, "create gp_timer_list error\n"},
        {[] { memory().fail(kList); }, TIMER_ERR_NOT_INIT, "create timer header error\n"},
        {[] { memory().fail(kList.number(2)); }, TIMER_ERR_NOT_INIT,
         "create deleted list header error\n"},
        {[] { memory().fail(kTimerEntry); }, TIMER_ERR_INTERNAL, "init first timer node error\n"},
        {[] { memory().fail(kTimerNode); }, TIMER_ERR_INTERNAL, "init first list node error\n"},
        {[] { calls::lc_list_add_at_head.fail_nth(1); }, TIMER_ERR_INTERNAL,
         "add first list node error\n"},
        {[] { calls::lc_pthread_create.fail_nth(1); }, TIMER_ERR_THREAD, "create thread failed.\n"},
    };
    ErrorLog log;
    for (const auto &[fail, result, line] : kFailures) {
        fail();
        EXPECT_EQ(init_timer(), result) << line;
        EXPECT_EQ(log.lines(), Lines{from_timer(line)});
        EXPECT_EQ(memory().blocks_in_use(), 0U) << line;
        uint32_t words[2];
        EXPECT_EQ(query_timer(words), TIMER_ERR_NOT_INIT);
    }
    memory().take();
    EXPECT_EQ(init_timer(), TIMER_SUCCESS);
    EXPECT_EQ(memory().take_allocations().size(), 5U) << "there is nothing more to allocate";
    EXPECT_EQ(counts(), Counts(0, 0));
    started(100, kOnce, 5);
    EXPECT_EQ(fired_in_ticks(2), (std::vector<Fired>{{}, {5}}));
}

} // namespace init_test
