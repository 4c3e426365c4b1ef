#include "support/counted_memory.h"
#include "support/error_log.h"
#include "support/library_calls.h"
#include "support/queues.h"

namespace create_test {

using namespace testing_support;

namespace {

// The list of the queues, which is made with the first; then the record, its list of messages and the
// node.
const Allocation kAllocations[] = {kList, kQueue, kList.number(2), kQueueNode};

} // namespace

TEST(QueueCreate, before_the_family_is_initialised_it_gives_2_whatever_the_arguments)
{
    ErrorLog log;
    EXPECT_EQ(ipc_mq_create(1, nullptr), IPC_ERR_NOT_INIT);
    EXPECT_EQ(log.lines(), Lines{from_mq("Not initialized.\n")});
}

TEST(QueueCreate, without_a_place_for_the_handle_gives_1)
{
    ErrorLog log;
    ipc_mq_init();
    EXPECT_EQ(ipc_mq_create(1, nullptr), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{from_mq("Para check failed! Para mq_cb is NULL.\n")});
    EXPECT_EQ(memory().blocks_in_use(), 0U);
}

TEST(QueueCreate, capacity_0_makes_room_for_256_messages)
{
    const mq_cb cb = new_queue(0);
    for (uint32_t i = 0; i < 256; ++i) {
        ASSERT_EQ(put(cb, i + 10), IPC_SUCCESS) << i;
    }
    EXPECT_EQ(put(cb, 1), IPC_ERR_FULL);
    EXPECT_EQ(usage().at(0).capacity, 256U);
    ipc_mq_destroy();
}

TEST(QueueCreate, capacity_is_the_most_messages_that_fit)
{
    const mq_cb cb = new_queue(3);
    EXPECT_EQ(put(cb, 10), IPC_SUCCESS);
    EXPECT_EQ(put(cb, 11), IPC_SUCCESS);
    EXPECT_EQ(put(cb, 12), IPC_SUCCESS);
    EXPECT_EQ(put(cb, 13), IPC_ERR_FULL);
    EXPECT_EQ(drain(cb), (std::vector<uint32_t>{10, 11, 12}));
    ipc_mq_destroy();
}

TEST(QueueCreate, the_65th_queue_is_refused_with_11_and_without_a_line)
{
    ErrorLog log;
    for (int i = 0; i < 64; ++i) {
        ASSERT_NE(new_queue(1), nullptr);
    }
    const size_t blocks = memory().blocks_in_use();
    lc_list_node untouched = {};
    mq_cb cb = &untouched;
    EXPECT_EQ(ipc_mq_create(1, &cb), IPC_ERR_RESOURCE);
    EXPECT_EQ(cb, &untouched);
    EXPECT_EQ(memory().blocks_in_use(), blocks);
    EXPECT_EQ(usage().size(), 64U);
    EXPECT_EQ(log.lines(), Lines{});
    ipc_mq_destroy();
}

TEST(QueueCreate, the_handle_is_a_node_whose_data_starts_with_the_queues_counters)
{
    const mq_cb cb = new_queue(7);
    put(cb, 10);
    uint32_t words[3];
    memcpy(words, cb->data, sizeof(words));
    EXPECT_EQ(words[0], 7U);
    EXPECT_EQ(words[1], 0U);
    EXPECT_EQ(words[2], 1U);
    EXPECT_EQ(cb->reserved, 0U);
    ipc_mq_destroy();
}

TEST(QueueCreate, each_failing_allocation_gives_11_and_leaves_nothing_behind)
{
    ErrorLog log;
    ipc_mq_init();
    lc_list_node untouched = {};
    for (const Allocation &what : kAllocations) {
        mq_cb cb = &untouched;
        memory().fail(what);
        EXPECT_EQ(ipc_mq_create(1, &cb), IPC_ERR_RESOURCE) << what.name;
        EXPECT_TRUE(memory().failed()) << what.name;
        EXPECT_EQ(cb, &untouched) << what.name;
        const bool is_list = what.owner == MEM_OWNER_LIST;
        EXPECT_EQ(log.lines(),
                  Lines{from_mq(is_list ? "Create list failed!\n" : "Assign memory failed!\n")});
        EXPECT_TRUE(usage().empty()) << what.name;
        ipc_mq_destroy();
        EXPECT_EQ(memory().blocks_in_use(), 0U) << what.name;
    }
    new_queue(1);
    EXPECT_EQ(usage().size(), 1U);
    ipc_mq_destroy();
}

TEST(QueueCreate, a_failing_allocation_leaves_the_queues_before_it_alone)
{
    const mq_cb first = new_queue(2);
    put(first, 10);
    const size_t blocks = memory().blocks_in_use();
    for (const Allocation &what : {kQueue, kList, kQueueNode}) {
        mq_cb cb = nullptr;
        memory().fail(what);
        EXPECT_EQ(ipc_mq_create(1, &cb), IPC_ERR_RESOURCE) << what.name;
        EXPECT_EQ(memory().blocks_in_use(), blocks) << what.name;
    }
    EXPECT_EQ(drain(first), std::vector<uint32_t>{10});
    ipc_mq_destroy();
}

TEST(QueueCreate, a_list_failure_gives_11_and_leaves_nothing_behind)
{
    ErrorLog log;
    const mq_cb first = new_queue(1);
    const size_t blocks = memory().blocks_in_use();
    calls::lc_list_add_at_head.fail_nth(1);
    mq_cb cb = first;
    EXPECT_EQ(ipc_mq_create(1, &cb), IPC_ERR_RESOURCE);
    EXPECT_EQ(cb, first);
    EXPECT_EQ(log.lines(), Lines{from_mq("Add to list g_mq_mgt_list.list_head failed! sret=1\n")});
    EXPECT_EQ(memory().blocks_in_use(), blocks);
    EXPECT_NE(new_queue(1), nullptr);
    ipc_mq_destroy();
}

TEST(QueueCreate, allocates_with_the_tags_of_its_thread_and_family)
{
    ipc_mq_init();
    memory().take_allocations();
    mq_cb cb = nullptr;
    ASSERT_EQ(ipc_mq_create(1, &cb), IPC_SUCCESS);
    const std::vector<MemoryCall> allocations = memory().take_allocations();
    ASSERT_EQ(allocations.size(), 4U);
    const std::vector<uint32_t> owners = {allocations[0].owner, allocations[1].owner,
                                          allocations[2].owner, allocations[3].owner};
    EXPECT_EQ(owners, (std::vector<uint32_t>{0x1000000, 0x3000000, 0x1000000, 0x3000000}));
    for (const MemoryCall &allocation : allocations) {
        EXPECT_EQ(allocation.thread_tag, static_cast<uint32_t>(gettid()) & 0xFFFFU);
        EXPECT_NE(allocation.line, 0U);
    }
    ipc_mq_destroy();
}

TEST(QueueCreate, is_silent_while_the_flag_file_is_absent)
{
    ErrorLog log;
    ErrorLog::switch_off();
    mq_cb cb = nullptr;
    ipc_mq_create(1, &cb);
    ipc_mq_init();
    ipc_mq_create(1, nullptr);
    for (const Allocation &what : kAllocations) {
        memory().fail(what);
        EXPECT_EQ(ipc_mq_create(1, &cb), IPC_ERR_RESOURCE);
        ipc_mq_destroy();
    }
    calls::lc_list_add_at_head.fail_nth(1);
    EXPECT_EQ(ipc_mq_create(1, &cb), IPC_ERR_RESOURCE);
    EXPECT_EQ(log.lines(), Lines{});
    ipc_mq_destroy();
}

} // namespace create_test
