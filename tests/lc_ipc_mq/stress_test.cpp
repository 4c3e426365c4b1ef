// Many producers and consumers on one small queue. A wake-up is given only when the queue stops being
// empty or full, and to one waiter, so both sides wait with a time-out and retry.

#include "support/counted_memory.h"
#include "support/queues.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <thread>

namespace stress_test {

using namespace testing_support;

namespace {

constexpr uint32_t kProducers = 4;
constexpr uint32_t kConsumers = 4;
constexpr uint32_t kEach = 5000;
constexpr int32_t kTimeout = 250;

struct Label {
    uint32_t producer;
    uint32_t number;
};

void produce(mq_cb cb, uint32_t producer)
{
    for (uint32_t number = 0; number < kEach; ++number) {
        MessagePtr msg = make_message(10);
        msg->type = producer;
        msg->session_id = number;
        uint32_t result = IPC_ERR_TIMEOUT;
        while (result == IPC_ERR_TIMEOUT) {
            result = ipc_mq_send(cb, msg.get(), 0, kTimeout);
        }
        ASSERT_EQ(result, IPC_SUCCESS);
        static_cast<void>(msg.release());
    }
}

void consume(mq_cb cb, std::atomic<uint32_t> &left, std::vector<Label> &taken)
{
    while (left > 0) {
        ipc_msg_hdr *msg = nullptr;
        const uint32_t result = ipc_mq_recv(cb, &msg, kTimeout);
        // Woken, but another consumer was faster; or nothing in time.
        if (result == IPC_ERR_RESOURCE || result == IPC_ERR_TIMEOUT) {
            continue;
        }
        ASSERT_EQ(result, IPC_SUCCESS);
        const MessagePtr own(msg);
        taken.push_back({own->type, own->session_id});
        --left;
    }
}

// In the order in which one consumer took them, the messages of each producer must be in theirs.
bool in_order_per_producer(const std::vector<Label> &taken)
{
    std::array<int64_t, kProducers> last;
    last.fill(-1);
    return std::all_of(taken.begin(), taken.end(), [&](const Label &label) {
        const bool in_order = label.number > last[label.producer];
        last[label.producer] = label.number;
        return in_order;
    });
}

} // namespace

TEST(QueueStress, with_4_producers_and_4_consumers_nothing_is_lost_doubled_or_reordered)
{
    const mq_cb cb = new_queue(4);
    std::atomic<uint32_t> left{kProducers * kEach};
    std::array<std::vector<Label>, kConsumers> taken;
    std::vector<std::thread> threads;
    for (uint32_t i = 0; i < kProducers; ++i) {
        threads.emplace_back(produce, cb, i);
    }
    for (uint32_t i = 0; i < kConsumers; ++i) {
        threads.emplace_back(consume, cb, std::ref(left), std::ref(taken[i]));
    }
    for (std::thread &thread : threads) {
        thread.join();
    }

    std::vector<int> seen(kProducers * kEach);
    for (const std::vector<Label> &labels : taken) {
        EXPECT_TRUE(in_order_per_producer(labels));
        for (const Label &label : labels) {
            ++seen[label.producer * kEach + label.number];
        }
    }
    EXPECT_TRUE(std::all_of(seen.begin(), seen.end(), [](int times) { return times == 1; }));
    EXPECT_EQ(queued(), 0U);
    ipc_mq_destroy();
    EXPECT_EQ(memory().blocks_in_use(), 0U);
}

} // namespace stress_test
