#include "support/counted_memory.h"
#include "support/error_log.h"
#include "support/library_calls.h"
#include "support/queues.h"

namespace destroy_test {

using namespace testing_support;

TEST(QueueDestroy, before_the_family_is_initialised_does_nothing)
{
    ErrorLog log;
    ipc_mq_destroy();
    EXPECT_EQ(log.lines(), Lines{});
}

TEST(QueueDestroy, without_queues_does_nothing)
{
    ipc_mq_init();
    ipc_mq_destroy();
    new_queue(1);
    ipc_mq_destroy();
    ipc_mq_destroy();
    EXPECT_EQ(memory().blocks_in_use(), 0U);
}

TEST(QueueDestroy, frees_every_queue_and_every_queued_buffer)
{
    for (uint32_t queue = 0; queue < 3; ++queue) {
        const mq_cb cb = new_queue(4);
        for (uint32_t i = 0; i < queue; ++i) {
            ASSERT_EQ(put(cb, 10 + i), IPC_SUCCESS);
        }
    }
    ipc_mq_destroy();
    EXPECT_EQ(memory().blocks_in_use(), 0U);
}

TEST(QueueDestroy, queues_can_be_made_again_without_another_init)
{
    new_queue(1);
    ipc_mq_destroy();
    mq_cb cb = nullptr;
    ASSERT_EQ(ipc_mq_create(2, &cb), IPC_SUCCESS);
    EXPECT_EQ(put(cb, 10), IPC_SUCCESS);
    EXPECT_EQ(usage().size(), 1U);
    EXPECT_EQ(drain(cb), std::vector<uint32_t>{10});
    ipc_mq_destroy();
}

TEST(QueueDestroy, makes_room_for_64_new_queues)
{
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < 64; ++i) {
            ASSERT_NE(new_queue(1), nullptr) << round << ' ' << i;
        }
        ipc_mq_destroy();
    }
}

TEST(QueueInit, later_calls_do_nothing)
{
    const mq_cb cb = new_queue(1);
    put(cb, 10);
    ipc_mq_init();
    EXPECT_EQ(usage().size(), 1U);
    EXPECT_EQ(drain(cb), std::vector<uint32_t>{10});
    ipc_mq_destroy();
}

TEST(QueueRecord, destroying_none_gives_0) { EXPECT_EQ(mq_mgt_node_destroy(nullptr), 0U); }

TEST(QueueRecord, destroying_one_frees_its_messages_and_gives_back_lock_and_conditions)
{
    const mq_cb cb = new_queue(4);
    const size_t empty = memory().blocks_in_use();
    put(cb, 10);
    put(cb, 11);
    memory().watch(cb->data);
    EXPECT_EQ(mq_mgt_node_destroy(cb->data), 0U);
    EXPECT_EQ(memory().blocks_in_use(), empty - 2) << "record and message list";
    EXPECT_TRUE(memory().watched_was_freed_zeroed());
    EXPECT_EQ(calls::lc_pthread_cond_destroy.made, 2);
    EXPECT_EQ(calls::lc_pthread_mutex_destroy.made, 1);
    cb->data = nullptr;
    ipc_mq_destroy();
    EXPECT_EQ(memory().blocks_in_use(), 0U);
}

} // namespace destroy_test
