// Creating and destroying queues, their descriptors, removal of messages, usage report.

#include "lc_ipc_mq/queue.h"

#include "support/fd.h"
#include "support/flag.h"
#include "support/ignore.h"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fcntl.h>

namespace lterouter {
namespace {

Mutex g_queues_mutex;

} // namespace

extern "C" {
// Nodes carry queue records; a queue's handle is its node.
lc_list *g_mq_mgt_list GUARDED_BY(g_queues_mutex) = nullptr;
}

namespace {

static_assert(sizeof(ipc_mq_usg) == 12 && offsetof(ipc_mq_usg, capacity) == 0);
static_assert(offsetof(ipc_mq_usg, high_count) == 4 && offsetof(ipc_mq_usg, normal_count) == 8);

using Queue = mem::Ptr<mq_mgt, MEM_OWNER_IPC>;

Flag g_initialised;

// Flags are set by separate calls, since kernels before 2.6.27 have no pipe2.
bool prepare_end(const Fd &end)
{
    return fcntl(end.get(), F_SETFL, O_NONBLOCK) == 0 && fcntl(end.get(), F_SETFD, FD_CLOEXEC) == 0;
}

// Makes the pipe of the queue; false on failure, with errno set.
bool watch(mq_mgt &queue) REQUIRES(queue.lock)
{
    int ends[2];
    if (pipe(ends) != 0) {
        return false;
    }
    Fd watch_end{ends[0]};
    Fd write_end{ends[1]};
    if (!prepare_end(watch_end) || !prepare_end(write_end)) {
        return false;
    }
    queue.watch_end = watch_end.release();
    queue.write_end = write_end.release();
    queue.watched = true;
    return true;
}

uint32_t remove_message(mq_mgt &queue, lc_list_node *node) REQUIRES(queue.lock)
{
    decrement(queue.normal_count);
    const uint32_t result = lc_list_del_node(queue.mq_head, node);
    if (result != LC_LIST_SUCCESS) {
        return LC_FAIL(IPC_ERR_RESOURCE, "Delete from list mgt->mq_head failed! sret=%ld\n",
                       static_cast<long>(result));
    }
    mem::release(MEM_OWNER_IPC, node->data);
    mem::release(MEM_OWNER_IPC, node);
    return IPC_SUCCESS;
}

uint32_t message_id(const lc_list_node &node)
{
    return node.data == nullptr ? 0 : static_cast<const ipc_msg_hdr *>(node.data)->msg_id;
}

// Makes a queue record with its empty message list, and a node for it; empty on failure. Needs no lock,
// since no other thread has the record yet.
Node make_queue(uint32_t capacity) NO_THREAD_SAFETY_ANALYSIS
{
    Queue queue = mem::make<mq_mgt, MEM_OWNER_IPC>();
    if (queue == nullptr) {
        return LC_FAIL(Node(), "Assign memory failed!\n");
    }
    queue->capacity = capacity == 0 ? IPC_MQ_DEFAULT_CAPACITY : capacity;
    queue->mq_head = lc_list_create();
    if (queue->mq_head == nullptr) {
        return LC_FAIL(Node(), "Create list failed!\n");
    }
    Node node = make_node(queue.get());
    if (node == nullptr) {
        mq_mgt_node_destroy(queue.release());
        return LC_FAIL(Node(), "Assign memory failed!\n");
    }
    ignore(queue.release(), "the node has it");
    return node;
}

} // namespace

void show_watched(mq_mgt &queue)
{
    const bool has_message = queue.mq_head->count != 0;
    if (queue.shows_message == has_message) {
        return;
    }
    char byte = 0;
    const ssize_t done = has_message ? write(queue.write_end, &byte, sizeof(byte))
                                     : read(queue.watch_end, &byte, sizeof(byte));
    // EAGAIN: a caller has read the byte from the descriptor, against the contract.
    if (done >= 0 || errno == EAGAIN) {
        queue.shows_message = has_message;
    }
}

} // namespace lterouter

using namespace lterouter;

void ipc_mq_init() { g_initialised = true; }

uint32_t ipc_mq_create(uint32_t capacity, mq_cb *cb)
{
    if (!g_initialised) {
        return LC_FAIL(IPC_ERR_NOT_INIT, "Not initialized.\n");
    }
    LC_REQUIRE(cb, "mq_cb", IPC_ERR_PARAM);
    const MutexLock guard(g_queues_mutex);
    if (g_mq_mgt_list == nullptr) {
        g_mq_mgt_list = lc_list_create();
        if (g_mq_mgt_list == nullptr) {
            return LC_FAIL(IPC_ERR_RESOURCE, "Create list failed!\n");
        }
    }
    if (g_mq_mgt_list->count >= IPC_MQ_MAX_QUEUES) {
        return IPC_ERR_RESOURCE;
    }
    Node node = make_queue(capacity);
    if (node == nullptr) {
        return IPC_ERR_RESOURCE;
    }
    const uint32_t result = lc_list_add_at_head(g_mq_mgt_list, node.get());
    if (result != LC_LIST_SUCCESS) {
        mq_mgt_node_destroy(node->data);
        return LC_FAIL(IPC_ERR_RESOURCE, "Add to list g_mq_mgt_list.list_head failed! sret=%ld\n",
                       static_cast<long>(result));
    }
    *cb = node.release();
    return IPC_SUCCESS;
}

uint32_t ipc_mq_remove(mq_cb cb, uint32_t msg_id)
{
    LC_REQUIRE(cb, "mq_cb", IPC_ERR_PARAM);
    mq_mgt &queue = queue_of(cb);
    const MutexLock guard(queue.lock);
    const bool was_full = is_full(queue);
    const uint32_t before = queue.mq_head->count;
    lc_list_node *node = queue.mq_head->head;
    for (uint32_t left = before; left > 0; --left) {
        lc_list_node *next = node->next;
        if (message_id(*node) == msg_id) {
            const uint32_t result = remove_message(queue, node);
            if (result != IPC_SUCCESS) {
                show(queue);
                return result;
            }
        }
        node = next;
    }
    show(queue);
    if (was_full && queue.mq_head->count < before) {
        queue.not_full.signal();
    }
    return IPC_SUCCESS;
}

int ipc_mq_get_fd(mq_cb cb)
{
    if (cb == nullptr) {
        errno = EINVAL;
    }
    LC_REQUIRE(cb, "mq_cb", -1);
    mq_mgt &queue = queue_of(cb);
    const MutexLock guard(queue.lock);
    if (!queue.watched && !watch(queue)) {
        return LC_FAIL(-1, "Create pipe failed! errno is %d.\n", errno);
    }
    show(queue);
    return queue.watch_end;
}

uint32_t ipc_mq_usg_state(ipc_mq_usg *usg_stat, uint32_t *num)
{
    if (!g_initialised) {
        return LC_FAIL(IPC_ERR_NOT_INIT, "Not initialized.\n");
    }
    LC_REQUIRE(usg_stat, "usg_stat", IPC_ERR_PARAM);
    LC_REQUIRE(num, "num", IPC_ERR_PARAM);
    const MutexLock guard(g_queues_mutex);
    const uint32_t queues = g_mq_mgt_list == nullptr ? 0 : g_mq_mgt_list->count;
    mq_cb cb = queues == 0 ? nullptr : g_mq_mgt_list->head;
    for (uint32_t i = 0; i < queues; ++i, cb = cb->next) {
        if (i == *num) {
            return IPC_ERR_TOO_SMALL;
        }
        const mq_mgt &queue = queue_of(cb);
        usg_stat[i] = {queue.capacity, get(queue.high_count), get(queue.normal_count)};
    }
    *num = queues;
    return IPC_SUCCESS;
}

void ipc_mq_destroy()
{
    if (!g_initialised) {
        return;
    }
    const MutexLock guard(g_queues_mutex);
    lc_list_destroy(g_mq_mgt_list, mq_mgt_node_destroy);
    g_mq_mgt_list = nullptr;
}

// No other thread uses the record any more.
uint32_t mq_mgt_node_destroy(void *record) NO_THREAD_SAFETY_ANALYSIS
{
    if (record == nullptr) {
        return IPC_SUCCESS;
    }
    auto *queue = static_cast<mq_mgt *>(record);
    if (queue->watched) {
        close(queue->watch_end);
        close(queue->write_end);
    }
    lc_list_destroy(queue->mq_head, nullptr);
    queue->not_full.destroy();
    queue->not_empty.destroy();
    queue->lock.destroy();
    memset(record, 0, sizeof(mq_mgt));
    mem::release(MEM_OWNER_IPC, record);
    return IPC_SUCCESS;
}
