// When calls wait, for how long, and what they do after a wake-up.

#include "support/counted_memory.h"
#include "support/error_log.h"
#include "support/queues.h"
#include "support/waits.h"

#include <chrono>
#include <sys/time.h>
#include <thread>

namespace wait_test {

using namespace testing_support;

namespace {

constexpr int32_t kForever = -1;
constexpr int32_t kMinute = 60000;

double wall_clock()
{
    timeval now;
    gettimeofday(&now, nullptr);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_usec) / 1e6;
}

// A call that is expected to sleep until something is done about it.
class Sleeper {
public:
    template <typename Call> explicit Sleeper(Call call) : thread_([this, call] { result_ = call(); })
    {
        EXPECT_TRUE(g_waits.until_asleep(1));
    }
    uint32_t result()
    {
        thread_.join();
        return result_;
    }

private:
    uint32_t result_ = UINT32_MAX;
    std::thread thread_;
};

void wake_sender(int32_t timeout)
{
    const mq_cb cb = new_queue(1);
    ASSERT_EQ(put(cb, 10), IPC_SUCCESS);
    Sleeper sender([=] { return put(cb, 11, timeout); });
    EXPECT_EQ(take(cb)->msg_id, 10U);
    EXPECT_EQ(sender.result(), IPC_SUCCESS);
    EXPECT_EQ(drain(cb), std::vector<uint32_t>{11});
    ipc_mq_destroy();
}

void wake_receiver(int32_t timeout)
{
    const mq_cb cb = new_queue(1);
    Sleeper receiver([=] {
        const MessagePtr msg = take(cb, timeout);
        return msg == nullptr ? 0 : msg->msg_id;
    });
    ASSERT_EQ(put(cb, 10), IPC_SUCCESS);
    EXPECT_EQ(receiver.result(), 10U);
    EXPECT_EQ(queued(), 0U);
    ipc_mq_destroy();
}

} // namespace

TEST(QueueWait, a_receive_wakes_a_sender_that_waits_without_limit)
{
    wake_sender(kForever);
    EXPECT_EQ(calls::lc_pthread_cond_wait.made, 1);
    EXPECT_EQ(calls::lc_pthread_cond_timedwait.made, 0);
}

TEST(QueueWait, a_receive_wakes_a_sender_that_waits_with_a_limit)
{
    wake_sender(kMinute);
    EXPECT_EQ(calls::lc_pthread_cond_wait.made, 0);
    EXPECT_EQ(calls::lc_pthread_cond_timedwait.made, 1);
}

TEST(QueueWait, a_send_wakes_a_receiver_that_waits_without_limit)
{
    wake_receiver(kForever);
    EXPECT_EQ(calls::lc_pthread_cond_wait.made, 1);
    EXPECT_EQ(calls::lc_pthread_cond_timedwait.made, 0);
}

TEST(QueueWait, a_send_wakes_a_receiver_that_waits_with_a_limit)
{
    wake_receiver(kMinute);
    EXPECT_EQ(calls::lc_pthread_cond_wait.made, 0);
    EXPECT_EQ(calls::lc_pthread_cond_timedwait.made, 1);
}

TEST(QueueWait, one_send_wakes_one_of_two_receivers)
{
    const mq_cb cb = new_queue(2);
    std::atomic<int> received{0};
    const auto receive = [&] { received += take(cb, kForever) != nullptr ? 1 : 0; };
    std::thread first(receive);
    std::thread second(receive);
    ASSERT_TRUE(g_waits.until_asleep(2));
    ASSERT_EQ(put(cb, 10), IPC_SUCCESS);
    ASSERT_TRUE(eventually([&] { return received == 1; }));
    EXPECT_EQ(g_waits.asleep(), 1);
    ASSERT_EQ(put(cb, 11), IPC_SUCCESS);
    first.join();
    second.join();
    EXPECT_EQ(received, 2);
    ipc_mq_destroy();
}

TEST(QueueWait, receive_of_1500_ms_gives_7_after_half_a_second_to_one_and_a_half)
{
    ErrorLog log;
    const mq_cb cb = new_queue(1);
    ipc_msg_hdr untouched = {};
    ipc_msg_hdr *msg = &untouched;
    const double start = wall_clock();
    EXPECT_EQ(ipc_mq_recv(cb, &msg, 1500), IPC_ERR_TIMEOUT);
    const double waited = wall_clock() - start;
    EXPECT_GT(waited, 0.5);
    EXPECT_LT(waited, 1.5 + 0.5) << "half a second of it is what a busy machine may take";
    EXPECT_EQ(msg, &untouched);
    EXPECT_EQ(log.lines(), Lines{});
    ipc_mq_destroy();
}

TEST(QueueWait, the_deadline_counts_from_the_start_of_the_current_second)
{
    const mq_cb cb = new_queue(1);
    const time_t before = static_cast<time_t>(wall_clock());
    Sleeper receiver([=] { return take(cb, kMinute + 250) != nullptr; });
    const time_t after = static_cast<time_t>(wall_clock());
    const timespec deadline = g_waits.last_deadline();
    EXPECT_GE(deadline.tv_sec, before + 60);
    EXPECT_LE(deadline.tv_sec, after + 60);
    EXPECT_EQ(deadline.tv_nsec, 250'000'000);
    ASSERT_EQ(put(cb, 10), IPC_SUCCESS);
    EXPECT_EQ(receiver.result(), 1U);
    ipc_mq_destroy();
}

TEST(QueueWait, send_that_times_out_gives_7_without_a_line_and_the_caller_keeps_the_buffer)
{
    ErrorLog log;
    const mq_cb cb = new_queue(1);
    ASSERT_EQ(put(cb, 10), IPC_SUCCESS);
    const MessagePtr kept = make_message(11);
    EXPECT_EQ(ipc_mq_send(cb, kept.get(), 0, 1), IPC_ERR_TIMEOUT);
    EXPECT_EQ(calls::lc_pthread_cond_timedwait.made, 1);
    EXPECT_EQ(drain(cb), std::vector<uint32_t>{10});
    EXPECT_EQ(log.lines(), Lines{});
    ipc_mq_destroy();
}

TEST(QueueWait, the_queue_works_on_after_a_time_out)
{
    const mq_cb cb = new_queue(1);
    ipc_msg_hdr *msg = nullptr;
    ASSERT_EQ(ipc_mq_recv(cb, &msg, 1), IPC_ERR_TIMEOUT);
    ASSERT_EQ(put(cb, 10), IPC_SUCCESS);
    ASSERT_EQ(put(cb, 11, 1), IPC_ERR_TIMEOUT);
    EXPECT_EQ(drain(cb), std::vector<uint32_t>{10});
    ipc_mq_destroy();
}

TEST(QueueWait, a_sender_does_not_wait_while_there_is_room_nor_a_receiver_while_there_is_a_message)
{
    const mq_cb cb = new_queue(2);
    ASSERT_EQ(put(cb, 10), IPC_SUCCESS);
    ASSERT_EQ(put(cb, 11, kForever), IPC_SUCCESS);
    EXPECT_NE(take(cb, kForever), nullptr);
    EXPECT_NE(take(cb, kMinute), nullptr);
    EXPECT_EQ(calls::lc_pthread_cond_timedwait.made + calls::lc_pthread_cond_wait.made, 0);
    ipc_mq_destroy();
}

TEST(QueueWait, after_one_wake_up_a_sender_queues_its_buffer_even_if_the_queue_is_still_full)
{
    const mq_cb cb = new_queue(1);
    ASSERT_EQ(put(cb, 10), IPC_SUCCESS);
    g_waits.wake_spuriously(1);
    EXPECT_EQ(put(cb, 11, kForever), IPC_SUCCESS);
    EXPECT_EQ(queued(), 2U);
    EXPECT_EQ(calls::lc_pthread_cond_wait.made, 1) << "it waits once";
    EXPECT_EQ(drain(cb), (std::vector<uint32_t>{10, 11}));
    ipc_mq_destroy();
}

TEST(QueueWait, the_same_holds_for_a_wake_up_before_the_deadline)
{
    const mq_cb cb = new_queue(1);
    ASSERT_EQ(put(cb, 10), IPC_SUCCESS);
    g_waits.wake_spuriously(1);
    EXPECT_EQ(put(cb, 11, kMinute), IPC_SUCCESS);
    EXPECT_EQ(calls::lc_pthread_cond_timedwait.made, 1);
    EXPECT_EQ(drain(cb), (std::vector<uint32_t>{10, 11}));
    ipc_mq_destroy();
}

TEST(QueueWait, an_overfilled_queue_is_not_full_so_draining_it_wakes_a_sender_only_at_capacity)
{
    const mq_cb cb = new_queue(1);
    ASSERT_EQ(put(cb, 10), IPC_SUCCESS);
    g_waits.wake_spuriously(1);
    ASSERT_EQ(put(cb, 11, kForever), IPC_SUCCESS);
    EXPECT_EQ(put(cb, 12), IPC_SUCCESS) << "more than capacity is not capacity";
    const int before = calls::lc_pthread_cond_signal.made;
    take(cb);
    take(cb);
    EXPECT_EQ(calls::lc_pthread_cond_signal.made, before);
    take(cb);
    EXPECT_EQ(calls::lc_pthread_cond_signal.made, before + 1);
    ipc_mq_destroy();
}

TEST(QueueWait, a_receiver_that_wakes_to_an_empty_queue_gets_11)
{
    ErrorLog log;
    const mq_cb cb = new_queue(1);
    ipc_msg_hdr untouched = {};
    ipc_msg_hdr *msg = &untouched;
    for (const int32_t timeout : {kForever, kMinute}) {
        g_waits.wake_spuriously(1);
        EXPECT_EQ(ipc_mq_recv(cb, &msg, timeout), IPC_ERR_RESOURCE);
        EXPECT_EQ(log.lines(), Lines{from_mq("Delete from list mgt->mq_head failed! sret=3\n")});
    }
    EXPECT_EQ(msg, &untouched);
    EXPECT_EQ(queued(), 0U);
    ASSERT_EQ(put(cb, 10), IPC_SUCCESS);
    EXPECT_EQ(drain(cb), std::vector<uint32_t>{10});
    ipc_mq_destroy();
}

} // namespace wait_test
