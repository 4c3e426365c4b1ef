#include "support/counted_memory.h"
#include "support/error_log.h"
#include "support/library_calls.h"
#include "support/queues.h"

#include <future>

namespace usage_test {

using namespace testing_support;

namespace {

struct Entry {
    uint32_t capacity;
    uint32_t high;
    uint32_t normal;
    bool operator==(const Entry &) const = default;
};

Entry entry(const ipc_mq_usg &usg) { return {usg.capacity, usg.high_count, usg.normal_count}; }

} // namespace

TEST(QueueUsage, before_the_family_is_initialised_it_gives_2_whatever_the_arguments)
{
    ErrorLog log;
    EXPECT_EQ(ipc_mq_usg_state(nullptr, nullptr), IPC_ERR_NOT_INIT);
    EXPECT_EQ(log.lines(), Lines{from_mq("Not initialized.\n")});
}

TEST(QueueUsage, checks_the_array_before_its_length)
{
    ErrorLog log;
    ipc_mq_init();
    ipc_mq_usg usg = {};
    EXPECT_EQ(ipc_mq_usg_state(nullptr, nullptr), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{from_mq("Para check failed! Para usg_stat is NULL.\n")});
    EXPECT_EQ(ipc_mq_usg_state(&usg, nullptr), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{from_mq("Para check failed! Para num is NULL.\n")});
}

TEST(QueueUsage, is_silent_while_the_flag_file_is_absent)
{
    ErrorLog log;
    ErrorLog::switch_off();
    ipc_mq_usg usg = {};
    ipc_mq_usg_state(nullptr, nullptr);
    ipc_mq_init();
    ipc_mq_usg_state(nullptr, nullptr);
    ipc_mq_usg_state(&usg, nullptr);
    EXPECT_EQ(log.lines(), Lines{});
}

TEST(QueueUsage, without_queues_it_reports_none)
{
    ipc_mq_init();
    ipc_mq_usg usg = {9, 9, 9};
    uint32_t num = 1;
    EXPECT_EQ(ipc_mq_usg_state(&usg, &num), IPC_SUCCESS);
    EXPECT_EQ(num, 0U);
    EXPECT_EQ(entry(usg), (Entry{9, 9, 9}));
}

TEST(QueueUsage, after_the_queues_were_destroyed_it_reports_none)
{
    new_queue(1);
    ipc_mq_destroy();
    ipc_mq_usg usg = {};
    uint32_t num = 1;
    EXPECT_EQ(ipc_mq_usg_state(&usg, &num), IPC_SUCCESS);
    EXPECT_EQ(num, 0U);
}

TEST(QueueUsage, reports_capacity_and_messages_of_each_queue_newest_first)
{
    const mq_cb oldest = new_queue(1);
    const mq_cb middle = new_queue(2);
    new_queue(0);
    put(oldest, 10);
    put(middle, 10);
    put(middle, 10);
    const std::vector<ipc_mq_usg> report = usage(5);
    ASSERT_EQ(report.size(), 3U);
    EXPECT_EQ(entry(report[0]), (Entry{256, 0, 0}));
    EXPECT_EQ(entry(report[1]), (Entry{2, 0, 2}));
    EXPECT_EQ(entry(report[2]), (Entry{1, 0, 1}));
    ipc_mq_destroy();
}

TEST(QueueUsage, follows_messages_in_and_out)
{
    const mq_cb cb = new_queue(4);
    put(cb, 10);
    put(cb, 11);
    EXPECT_EQ(entry(usage()[0]), (Entry{4, 0, 2}));
    take(cb);
    EXPECT_EQ(entry(usage()[0]), (Entry{4, 0, 1}));
    take(cb);
    EXPECT_EQ(entry(usage()[0]), (Entry{4, 0, 0}));
    ipc_mq_destroy();
}

TEST(QueueUsage, exactly_as_much_room_as_queues_is_enough)
{
    new_queue(1);
    new_queue(2);
    EXPECT_EQ(usage(2).size(), 2U);
    ipc_mq_destroy();
}

TEST(QueueUsage, too_little_room_gives_5_with_the_entries_that_fit_and_the_length_unchanged)
{
    ErrorLog log;
    new_queue(1);
    new_queue(2);
    new_queue(3);
    ipc_mq_usg report[3] = {{9, 9, 9}, {9, 9, 9}, {9, 9, 9}};
    uint32_t num = 2;
    EXPECT_EQ(ipc_mq_usg_state(report, &num), IPC_ERR_TOO_SMALL);
    EXPECT_EQ(num, 2U);
    EXPECT_EQ(entry(report[0]), (Entry{3, 0, 0}));
    EXPECT_EQ(entry(report[1]), (Entry{2, 0, 0}));
    EXPECT_EQ(entry(report[2]), (Entry{9, 9, 9}));
    EXPECT_EQ(log.lines(), Lines{});
    ipc_mq_destroy();
}

TEST(QueueUsage, no_room_and_one_queue_gives_5_and_writes_nothing)
{
    new_queue(1);
    ipc_mq_usg report = {9, 9, 9};
    uint32_t num = 0;
    EXPECT_EQ(ipc_mq_usg_state(&report, &num), IPC_ERR_TOO_SMALL);
    EXPECT_EQ(num, 0U);
    EXPECT_EQ(entry(report), (Entry{9, 9, 9}));
    ipc_mq_destroy();
}

// A report must come even when a module is stuck with its queue.
TEST(QueueUsage, and_create_do_not_wait_for_a_queue_that_is_in_use)
{
    const mq_cb cb = new_queue(1);
    std::promise<void> inside;
    std::promise<void> leave;
    const Hooked stuck(calls::lc_list_add_at_tail, [&](auto &next, auto *list, auto *node) {
        inside.set_value();
        leave.get_future().wait();
        return next(list, node);
    });
    std::thread sender([=] { put(cb, 10); });
    inside.get_future().wait();
    EXPECT_EQ(entry(usage()[0]), (Entry{1, 0, 0}));
    new_queue(2);
    leave.set_value();
    sender.join();
    EXPECT_EQ(entry(usage()[1]), (Entry{1, 0, 1}));
    ipc_mq_destroy();
}

} // namespace usage_test
