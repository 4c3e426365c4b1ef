#include "support/counted_memory.h"
#include "support/error_log.h"
#include "support/library_calls.h"
#include "support/queues.h"
#include "support/waits.h"

#include <climits>

namespace send_recv_test {

using namespace testing_support;

TEST(Queue, messages_come_out_in_the_order_in_which_they_went_in)
{
    const mq_cb cb = new_queue(4);
    ASSERT_EQ(put(cb, 10), IPC_SUCCESS);
    ASSERT_EQ(put(cb, 11), IPC_SUCCESS);
    EXPECT_EQ(take(cb)->msg_id, 10U);
    ASSERT_EQ(put(cb, 12), IPC_SUCCESS);
    EXPECT_EQ(drain(cb), (std::vector<uint32_t>{11, 12}));
    ipc_mq_destroy();
}

TEST(Queue, receive_gives_the_very_buffer_that_was_sent_and_the_queue_keeps_nothing)
{
    const mq_cb cb = new_queue(1);
    const size_t blocks = memory().blocks_in_use();
    MessagePtr msg = make_message(10, pattern(5));
    ipc_msg_hdr *const sent = msg.get();
    ASSERT_EQ(ipc_mq_send(cb, msg.release(), 0, 0), IPC_SUCCESS);
    const MessagePtr received = take(cb);
    EXPECT_EQ(received.get(), sent);
    EXPECT_EQ(body_of(message_bytes(*received)), pattern(5));
    EXPECT_EQ(memory().blocks_in_use(), blocks + 1);
    ipc_mq_destroy();
}

TEST(Queue, queues_are_independent_of_each_other)
{
    const mq_cb first = new_queue(1);
    const mq_cb second = new_queue(1);
    ASSERT_EQ(put(first, 10), IPC_SUCCESS);
    ASSERT_EQ(put(second, 20), IPC_SUCCESS);
    EXPECT_EQ(drain(second), std::vector<uint32_t>{20});
    EXPECT_EQ(drain(first), std::vector<uint32_t>{10});
    ipc_mq_destroy();
}

TEST(Queue, send_to_full_queue_without_waiting_returns_8_and_the_caller_keeps_the_buffer)
{
    ErrorLog log;
    const mq_cb cb = new_queue(1);
    ASSERT_EQ(put(cb, 10), IPC_SUCCESS);
    const MessagePtr kept = make_message(11);
    EXPECT_EQ(ipc_mq_send(cb, kept.get(), 0, 0), IPC_ERR_FULL);
    EXPECT_EQ(calls::lc_pthread_cond_timedwait.made + calls::lc_pthread_cond_wait.made, 0);
    EXPECT_EQ(drain(cb), std::vector<uint32_t>{10});
    EXPECT_EQ(log.lines(), Lines{});
    ipc_mq_destroy();
}

TEST(Queue, receive_on_empty_queue_without_waiting_returns_9)
{
    ErrorLog log;
    const mq_cb cb = new_queue(1);
    ipc_msg_hdr untouched = {};
    ipc_msg_hdr *msg = &untouched;
    EXPECT_EQ(ipc_mq_recv(cb, &msg, 0), IPC_ERR_EMPTY);
    EXPECT_EQ(msg, &untouched);
    EXPECT_EQ(calls::lc_pthread_cond_timedwait.made + calls::lc_pthread_cond_wait.made, 0);
    EXPECT_EQ(log.lines(), Lines{});
    ipc_mq_destroy();
}

TEST(Queue, send_checks_handle_then_buffer_then_priority_then_timeout)
{
    ErrorLog log;
    const mq_cb cb = new_queue(1);
    const MessagePtr msg = make_message(10);
    EXPECT_EQ(ipc_mq_send(nullptr, nullptr, 1, -2), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{from_mq("Para check failed! Para mq_cb is NULL.\n")});
    EXPECT_EQ(ipc_mq_send(cb, nullptr, 1, -2), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{from_mq("Para check failed! Para msg_hdr is NULL.\n")});
    EXPECT_EQ(ipc_mq_send(cb, msg.get(), 1, -2), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{from_mq("Para check failed! Para priority is 1.\n")});
    EXPECT_EQ(ipc_mq_send(cb, msg.get(), 0, -2), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{from_mq("Para check failed! Para timeout is -2.\n")});
    EXPECT_EQ(queued(), 0U);
    ipc_mq_destroy();
}

TEST(Queue, send_refuses_every_priority_but_0)
{
    ErrorLog log;
    const mq_cb cb = new_queue(1);
    const MessagePtr msg = make_message(10);
    EXPECT_EQ(ipc_mq_send(cb, msg.get(), 2, 0), IPC_ERR_PARAM);
    EXPECT_EQ(ipc_mq_send(cb, msg.get(), UINT32_MAX, 0), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), (Lines{from_mq("Para check failed! Para priority is 2.\n"),
                                  from_mq("Para check failed! Para priority is 4294967295.\n")}));
    EXPECT_EQ(queued(), 0U);
    ipc_mq_destroy();
}

TEST(Queue, receive_checks_handle_then_buffer_then_timeout)
{
    ErrorLog log;
    const mq_cb cb = new_queue(1);
    ASSERT_EQ(put(cb, 10), IPC_SUCCESS);
    ipc_msg_hdr *msg = nullptr;
    EXPECT_EQ(ipc_mq_recv(nullptr, nullptr, -2), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{from_mq("Para check failed! Para mq_cb is NULL.\n")});
    EXPECT_EQ(ipc_mq_recv(cb, nullptr, -2), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{from_mq("Para check failed! Para msg_hdr is NULL.\n")});
    EXPECT_EQ(ipc_mq_recv(cb, &msg, -2), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{from_mq("Para check failed! Para timeout is -2.\n")});
    EXPECT_EQ(msg, nullptr);
    EXPECT_EQ(queued(), 1U);
    ipc_mq_destroy();
}

TEST(Queue, every_negative_timeout_but_minus_1_is_refused_even_when_no_wait_is_needed)
{
    ErrorLog log;
    const mq_cb cb = new_queue(2);
    ASSERT_EQ(put(cb, 10, -1), IPC_SUCCESS);
    EXPECT_EQ(put(cb, 11, INT32_MIN), IPC_ERR_PARAM);
    ipc_msg_hdr *msg = nullptr;
    EXPECT_EQ(ipc_mq_recv(cb, &msg, INT32_MIN), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), (Lines{from_mq("Para check failed! Para timeout is -2147483648.\n"),
                                  from_mq("Para check failed! Para timeout is -2147483648.\n")}));
    EXPECT_EQ(take(cb, -1)->msg_id, 10U);
    ipc_mq_destroy();
}

TEST(Queue, send_without_memory_or_list_returns_11_frees_its_node_and_the_caller_keeps_the_buffer)
{
    ErrorLog log;
    const mq_cb cb = new_queue(2);
    const MessagePtr kept = make_message(10);
    const size_t blocks = memory().blocks_in_use();
    for (const bool has_memory : {false, true}) {
        has_memory ? calls::lc_list_add_at_tail.fail_nth(1) : memory().fail(kQueueNode);
        EXPECT_EQ(ipc_mq_send(cb, kept.get(), 0, 0), IPC_ERR_RESOURCE);
        EXPECT_EQ(log.lines(), Lines{from_mq(has_memory ? "Add to list mgt->mq_head failed! sret=1\n"
                                                        : "Assign memory failed!\n")});
        EXPECT_EQ(memory().blocks_in_use(), blocks);
        EXPECT_EQ(queued(), 0U);
        EXPECT_EQ(put(cb, 11), IPC_SUCCESS);
        EXPECT_EQ(drain(cb), std::vector<uint32_t>{11});
    }
    ipc_mq_destroy();
}

TEST(Queue, nodes_carry_the_familys_owner_tag)
{
    const mq_cb cb = new_queue(1);
    MessagePtr msg = make_message(10);
    memory().take_allocations();
    ASSERT_EQ(ipc_mq_send(cb, msg.get(), 0, 0), IPC_SUCCESS);
    static_cast<void>(msg.release());
    const std::vector<MemoryCall> allocations = memory().take_allocations();
    ASSERT_EQ(allocations.size(), 1U);
    EXPECT_EQ(allocations[0].owner, 0x3000000U);
    EXPECT_EQ(allocations[0].size, sizeof(lc_list_node));
    ipc_mq_destroy();
}

TEST(Queue, a_wake_up_is_given_only_when_the_queue_stops_being_empty_or_full)
{
    const mq_cb cb = new_queue(2);
    ASSERT_EQ(put(cb, 10), IPC_SUCCESS);
    EXPECT_EQ(calls::lc_pthread_cond_signal.made, 1) << "empty to non-empty";
    ASSERT_EQ(put(cb, 11), IPC_SUCCESS);
    EXPECT_EQ(calls::lc_pthread_cond_signal.made, 1) << "non-empty to full";
    take(cb);
    EXPECT_EQ(calls::lc_pthread_cond_signal.made, 2) << "full to non-full";
    take(cb);
    EXPECT_EQ(calls::lc_pthread_cond_signal.made, 2) << "non-full to empty";
    EXPECT_EQ(calls::lc_pthread_cond_broadcast.made, 0);
    ipc_mq_destroy();
}

TEST(Queue, send_and_receive_are_silent_while_the_flag_file_is_absent)
{
    ErrorLog log;
    ErrorLog::switch_off();
    const mq_cb cb = new_queue(1);
    const MessagePtr msg = make_message(10);
    ipc_msg_hdr *received = nullptr;
    EXPECT_EQ(ipc_mq_send(nullptr, msg.get(), 0, 0), IPC_ERR_PARAM);
    EXPECT_EQ(ipc_mq_send(cb, nullptr, 0, 0), IPC_ERR_PARAM);
    EXPECT_EQ(ipc_mq_send(cb, msg.get(), 1, 0), IPC_ERR_PARAM);
    EXPECT_EQ(ipc_mq_send(cb, msg.get(), 0, -2), IPC_ERR_PARAM);
    EXPECT_EQ(ipc_mq_recv(nullptr, &received, 0), IPC_ERR_PARAM);
    EXPECT_EQ(ipc_mq_recv(cb, nullptr, 0), IPC_ERR_PARAM);
    EXPECT_EQ(ipc_mq_recv(cb, &received, -2), IPC_ERR_PARAM);
    memory().fail(kQueueNode);
    EXPECT_EQ(ipc_mq_send(cb, msg.get(), 0, 0), IPC_ERR_RESOURCE);
    calls::lc_list_add_at_tail.fail_nth(1);
    EXPECT_EQ(ipc_mq_send(cb, msg.get(), 0, 0), IPC_ERR_RESOURCE);
    g_waits.wake_spuriously(1);
    EXPECT_EQ(ipc_mq_recv(cb, &received, -1), IPC_ERR_RESOURCE);
    EXPECT_EQ(log.lines(), Lines{});
    ipc_mq_destroy();
}

} // namespace send_recv_test
