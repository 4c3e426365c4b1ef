// The arguments that a tracing allocator in the place of mem_malloc_ex and mem_free_ex gets.

#include "support/counted_memory.h"

#include "lc_ipc_mq.h"
#include "lc_ipc_msg.h"
#include "lc_list.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sys/wait.h>
#include <thread>

namespace tags_test {

using namespace testing_support;

namespace {

std::multiset<uint32_t> owners_of(const std::vector<MemoryCall> &calls)
{
    std::multiset<uint32_t> owners;
    for (const MemoryCall &call : calls) {
        owners.insert(call.owner);
    }
    return owners;
}

bool names_its_thread(const MemoryCall &call)
{
    return call.thread_tag == (static_cast<uint32_t>(call.thread) & 0xFFFFu);
}

// True when a list made and destroyed here is tagged with this very thread.
bool list_is_tagged_with_this_thread()
{
    memory().take();
    lc_list_destroy(lc_list_create(), nullptr);
    const std::vector<MemoryCall> calls = memory().take();
    return calls.size() == 2 && names_its_thread(calls[0]) && names_its_thread(calls[1]) &&
           calls[0].thread == gettid();
}

ipc_msg_hdr *make_message(uint32_t body_length)
{
    auto *message = static_cast<ipc_msg_hdr *>(ipc_memory_assign(body_length, IPC_MSG_TYPE_ASYNC));
    *message = {IPC_MSG_TYPE_ASYNC, 100, body_length, 0};
    return message;
}

} // namespace

TEST(MemoryTags, list_record_belongs_to_the_list)
{
    lc_list *list = lc_list_create();
    const std::vector<MemoryCall> made = memory().take();
    ASSERT_EQ(made.size(), 1u);
    EXPECT_EQ(made[0].owner, 0x1000000u);
    EXPECT_EQ(made[0].size, sizeof(lc_list));
    EXPECT_EQ(made[0].block, list);

    lc_list_destroy(list, nullptr);
    const std::vector<MemoryCall> freed = memory().take();
    ASSERT_EQ(freed.size(), 1u);
    EXPECT_TRUE(freed[0].is_free);
    EXPECT_EQ(freed[0].owner, 0x1000000u);
    EXPECT_EQ(freed[0].block, list);
}

TEST(MemoryTags, nodes_and_data_that_a_list_frees_are_freed_as_the_lists)
{
    lc_list *list = lc_list_create();
    auto *node = static_cast<lc_list_node *>(mem_malloc_ex(0, 0, 0, sizeof(lc_list_node)));
    *node = {};
    node->data = mem_malloc_ex(0, 0, 0, 8);
    lc_list_add_at_tail(list, node);
    memory().take();
    lc_list_destroy(list, nullptr);
    EXPECT_EQ(owners_of(memory().take_frees()),
              (std::multiset<uint32_t>{0x1000000, 0x1000000, 0x1000000}));
}

TEST(MemoryTags, tag_is_the_calling_threads_id)
{
    EXPECT_TRUE(list_is_tagged_with_this_thread());
    EXPECT_TRUE(list_is_tagged_with_this_thread()); // also when the id is known already
}

TEST(MemoryTags, second_thread_has_a_tag_of_its_own)
{
    EXPECT_TRUE(list_is_tagged_with_this_thread());
    bool tagged = false;
    std::thread([&tagged] { tagged = list_is_tagged_with_this_thread(); }).join();
    EXPECT_TRUE(tagged);
    EXPECT_TRUE(list_is_tagged_with_this_thread());
}

TEST(MemoryTags, forked_child_has_a_tag_of_its_own)
{
    EXPECT_TRUE(list_is_tagged_with_this_thread());
    const pid_t child = fork();
    if (child == 0) {
        _exit(list_is_tagged_with_this_thread() ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(list_is_tagged_with_this_thread());
}

TEST(MemoryTags, child_forked_from_a_second_thread_has_a_tag_of_its_own)
{
    EXPECT_TRUE(list_is_tagged_with_this_thread());
    int status = -1;
    std::thread([&status] {
        list_is_tagged_with_this_thread();
        const pid_t child = fork();
        if (child == 0) {
            _exit(list_is_tagged_with_this_thread() ? 0 : 1);
        }
        waitpid(child, &status, 0);
    }).join();
    EXPECT_EQ(status, 0);
}

TEST(MemoryTags, queue_record_and_its_node_belong_to_messaging_and_their_lists_to_the_list)
{
    ipc_mq_init();
    mq_cb queue = nullptr;
    ASSERT_EQ(ipc_mq_create(2, &queue), IPC_SUCCESS);
    // Lists: of all queues, and of this queue's messages.
    EXPECT_EQ(owners_of(memory().take_allocations()),
              (std::multiset<uint32_t>{0x1000000, 0x1000000, 0x3000000, 0x3000000}));
    ipc_mq_destroy();
}

TEST(MemoryTags, message_and_its_place_in_a_queue_belong_to_messaging)
{
    ipc_mq_init();
    mq_cb queue = nullptr;
    ASSERT_EQ(ipc_mq_create(2, &queue), IPC_SUCCESS);
    memory().take();

    ipc_msg_hdr *message = make_message(24);
    ASSERT_EQ(ipc_mq_send(queue, message, 0, 0), IPC_SUCCESS);
    const std::vector<MemoryCall> made = memory().take();
    ASSERT_EQ(made.size(), 2u);
    EXPECT_EQ(made[0].owner, 0x3000000u);
    EXPECT_EQ(made[0].size, sizeof(ipc_msg_hdr) + 24);
    EXPECT_EQ(made[1].owner, 0x3000000u);
    EXPECT_EQ(made[1].size, sizeof(lc_list_node));

    ipc_msg_hdr *received = nullptr;
    ASSERT_EQ(ipc_mq_recv(queue, &received, 0), IPC_SUCCESS);
    const std::vector<MemoryCall> freed = memory().take();
    ASSERT_EQ(freed.size(), 1u);
    EXPECT_EQ(freed[0].owner, 0x3000000u);
    EXPECT_EQ(freed[0].block, made[1].block);

    ASSERT_EQ(ipc_mq_send(queue, received, 0, 0), IPC_SUCCESS);
    memory().take();
    ASSERT_EQ(ipc_mq_remove(queue, 100), IPC_SUCCESS);
    EXPECT_EQ(owners_of(memory().take_frees()), (std::multiset<uint32_t>{0x3000000, 0x3000000}));
    ipc_mq_destroy();
}

TEST(MemoryTags, waiter_of_a_synchronous_request_and_its_node_have_the_owner_of_waiters)
{
    ASSERT_EQ(ipc_msg_init(IPC_MODULE_CLI1, nullptr, nullptr, nullptr, 1), IPC_SUCCESS);
    ipc_addr nobody;
    ASSERT_EQ(ipc_get_addr_by_id(IPC_MODULE_MM, 0, &nobody), IPC_SUCCESS);
    ipc_msg_hdr *request = make_message(0);
    ipc_gen_seesion_id(request);
    ipc_msg_hdr response[2];
    uint32_t length = 0;
    memory().take();
    EXPECT_EQ(ipc_msg_send_syn(&nobody, request, 0, 1000, response, &length), IPC_ERR_SOCKET);

    std::vector<MemoryCall> calls = memory().take();
    // The receive thread may be allocating at the same time.
    std::erase_if(calls, [](const MemoryCall &call) { return call.thread != gettid(); });
    ASSERT_EQ(calls.size(), 4u);
    std::map<const void *, int> balance;
    for (const MemoryCall &call : calls) {
        EXPECT_EQ(call.owner, 0x3000001u);
        balance[call.block] += call.is_free ? -1 : 1;
    }
    for (const auto &[block, left] : balance) {
        EXPECT_EQ(left, 0) << block;
    }
    mem_free_ex(0, 0, 0, request);
    ipc_msg_fin();
}

TEST(MemoryTags, every_call_names_its_thread_and_a_line)
{
    ipc_mq_init();
    mq_cb queue = nullptr;
    ASSERT_EQ(ipc_mq_create(2, &queue), IPC_SUCCESS);
    ASSERT_EQ(ipc_msg_init(IPC_MODULE_MM, queue, nullptr, nullptr, 0), IPC_SUCCESS);
    ipc_addr self;
    ASSERT_EQ(ipc_get_addr_by_id(IPC_MODULE_MM, 0, &self), IPC_SUCCESS);
    ASSERT_EQ(ipc_register_notify(&self, 100, 5000), IPC_SUCCESS);
    ASSERT_EQ(ipc_deregister_notify(&self, 100), IPC_SUCCESS);
    ipc_msg_fin();
    ipc_mq_destroy();

    const std::vector<MemoryCall> calls = memory().take();
    EXPECT_GT(calls.size(), 20u);
    std::set<pid_t> threads;
    for (const MemoryCall &call : calls) {
        EXPECT_TRUE(names_its_thread(call)) << call.thread_tag << " in thread " << call.thread;
        EXPECT_NE(call.line, 0u);
        threads.insert(call.thread);
    }
    EXPECT_EQ(threads.size(), 2u); // this one and the receive thread
}

TEST(MemoryTags, line_tells_one_call_from_another)
{
    ipc_mq_init();
    mq_cb queue = nullptr;
    ASSERT_EQ(ipc_mq_create(2, &queue), IPC_SUCCESS);
    std::set<uint32_t> lines;
    for (const MemoryCall &call : memory().take_allocations()) {
        if (call.owner == 0x3000000u) {
            lines.insert(call.line);
        }
    }
    EXPECT_EQ(lines.size(), 2u); // the record and its node
    ipc_mq_destroy();
}

} // namespace tags_test
