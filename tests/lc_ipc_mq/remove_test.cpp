#include "support/counted_memory.h"
#include "support/error_log.h"
#include "support/library_calls.h"
#include "support/queues.h"
#include "support/waits.h"

#include <thread>

namespace remove_test {

using namespace testing_support;

namespace {

using Ids = std::vector<uint32_t>;

mq_cb queue_with(const Ids &ids, uint32_t capacity = 8)
{
    const mq_cb cb = new_queue(capacity);
    for (const uint32_t id : ids) {
        EXPECT_EQ(put(cb, id), IPC_SUCCESS);
    }
    return cb;
}

Ids without(uint32_t removed, const Ids &ids)
{
    const mq_cb cb = queue_with(ids);
    EXPECT_EQ(ipc_mq_remove(cb, removed), IPC_SUCCESS);
    const uint32_t left = queued();
    Ids result = drain(cb);
    EXPECT_EQ(left, result.size()) << "the counter goes with the messages";
    ipc_mq_destroy();
    return result;
}

} // namespace

TEST(QueueRemove, takes_every_message_with_the_identifier_and_keeps_the_order_of_the_rest)
{
    EXPECT_EQ(without(5, {5, 6, 5, 7, 5}), (Ids{6, 7}));
}

TEST(QueueRemove, works_at_the_head_in_the_middle_and_at_the_tail)
{
    EXPECT_EQ(without(5, {5, 6, 7}), (Ids{6, 7}));
    EXPECT_EQ(without(6, {5, 6, 7}), (Ids{5, 7}));
    EXPECT_EQ(without(7, {5, 6, 7}), (Ids{5, 6}));
}

TEST(QueueRemove, may_empty_the_queue)
{
    EXPECT_EQ(without(5, {5}), Ids{});
    EXPECT_EQ(without(5, {5, 5, 5}), Ids{});
}

TEST(QueueRemove, an_identifier_that_is_not_queued_changes_nothing)
{
    EXPECT_EQ(without(9, {5, 6}), (Ids{5, 6}));
    EXPECT_EQ(without(9, {}), Ids{});
}

TEST(QueueRemove, frees_buffers_and_nodes)
{
    const mq_cb cb = queue_with({});
    const size_t blocks = memory().blocks_in_use();
    put(cb, 5);
    put(cb, 5);
    ASSERT_EQ(ipc_mq_remove(cb, 5), IPC_SUCCESS);
    EXPECT_EQ(memory().blocks_in_use(), blocks);
    ipc_mq_destroy();
}

TEST(QueueRemove, a_node_without_a_buffer_counts_as_identifier_0)
{
    const mq_cb cb = new_queue(4);
    const MessagePtr left_out = make_message(5);
    {
        const Hooked emptied(calls::lc_list_add_at_tail, [](auto &next, auto *list, auto *node) {
            node->data = nullptr;
            return next(list, node);
        });
        ASSERT_EQ(ipc_mq_send(cb, left_out.get(), 0, 0), IPC_SUCCESS);
    }
    EXPECT_EQ(ipc_mq_remove(cb, 5), IPC_SUCCESS);
    EXPECT_EQ(queued(), 1U);
    EXPECT_EQ(ipc_mq_remove(cb, 0), IPC_SUCCESS);
    EXPECT_EQ(queued(), 0U);
    ipc_mq_destroy();
}

TEST(QueueRemove, without_a_handle_gives_1)
{
    ErrorLog log;
    EXPECT_EQ(ipc_mq_remove(nullptr, 5), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{from_mq("Para check failed! Para mq_cb is NULL.\n")});
    ErrorLog::switch_off();
    EXPECT_EQ(ipc_mq_remove(nullptr, 5), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{});
}

TEST(QueueRemove, from_a_full_queue_wakes_a_blocked_sender)
{
    const mq_cb cb = queue_with({5, 6}, 2);
    uint32_t sent = UINT32_MAX;
    std::thread sender([&] { sent = put(cb, 7, -1); });
    ASSERT_TRUE(g_waits.until_asleep(1));
    ASSERT_EQ(ipc_mq_remove(cb, 5), IPC_SUCCESS);
    sender.join();
    EXPECT_EQ(sent, IPC_SUCCESS);
    EXPECT_EQ(drain(cb), (Ids{6, 7}));
    ipc_mq_destroy();
}

TEST(QueueRemove, gives_a_wake_up_only_when_a_full_queue_lost_a_message)
{
    const mq_cb cb = queue_with({5, 6, 7, 8}, 4);
    const int before = calls::lc_pthread_cond_signal.made;
    ASSERT_EQ(ipc_mq_remove(cb, 9), IPC_SUCCESS);
    EXPECT_EQ(calls::lc_pthread_cond_signal.made, before) << "nothing was removed";
    ASSERT_EQ(ipc_mq_remove(cb, 5), IPC_SUCCESS);
    EXPECT_EQ(calls::lc_pthread_cond_signal.made, before + 1) << "it was full";
    ASSERT_EQ(ipc_mq_remove(cb, 6), IPC_SUCCESS);
    EXPECT_EQ(calls::lc_pthread_cond_signal.made, before + 1) << "it was not full any more";
    EXPECT_EQ(calls::lc_pthread_cond_broadcast.made, 0);
    ipc_mq_destroy();
}

TEST(QueueRemove, several_messages_from_a_full_queue_give_one_wake_up)
{
    const mq_cb cb = queue_with({5, 5, 6}, 3);
    const int before = calls::lc_pthread_cond_signal.made;
    ASSERT_EQ(ipc_mq_remove(cb, 5), IPC_SUCCESS);
    EXPECT_EQ(calls::lc_pthread_cond_signal.made, before + 1);
    ipc_mq_destroy();
}

TEST(QueueRemove, a_list_failure_gives_11_after_the_message_was_discounted)
{
    ErrorLog log;
    const mq_cb cb = queue_with({5, 6});
    const size_t blocks = memory().blocks_in_use();
    calls::lc_list_del_node.fail_nth(1);
    EXPECT_EQ(ipc_mq_remove(cb, 5), IPC_ERR_RESOURCE);
    EXPECT_EQ(log.lines(), Lines{from_mq("Delete from list mgt->mq_head failed! sret=3\n")});
    EXPECT_EQ(memory().blocks_in_use(), blocks);
    EXPECT_EQ(queued(), 1U);
    EXPECT_EQ(drain(cb), (Ids{5, 6})) << "and the queue is unlocked";
    ErrorLog::switch_off();
    put(cb, 5);
    calls::lc_list_del_node.fail_nth(1);
    EXPECT_EQ(ipc_mq_remove(cb, 5), IPC_ERR_RESOURCE);
    EXPECT_EQ(log.lines(), Lines{});
    ipc_mq_destroy();
}

} // namespace remove_test
