// Sending and receiving: the path of every message.

#include "lc_ipc_mq/queue.h"

#include "support/ignore.h"

#include <cerrno>
#include <limits>
#include <sys/time.h>

namespace lterouter {
namespace {

bool is_timeout(int32_t timeout) { return timeout >= -1; }

// Waits once, and only once: the caller goes on after any wake-up but a time-out.
uint32_t wait_once(mq_mgt &queue, Condition &condition, int32_t timeout, uint32_t would_block)
    REQUIRES(queue.lock)
{
    if (timeout == 0) {
        return would_block;
    }
    if (timeout < 0) {
        condition.wait(queue.lock);
        return IPC_SUCCESS;
    }
    timespec deadline;
    mkcondtimeout(&deadline, static_cast<uint32_t>(timeout));
    return condition.wait_until(queue.lock, deadline) == ETIMEDOUT ? IPC_ERR_TIMEOUT : IPC_SUCCESS;
}

// Ordinary messages go to the tail; high-priority ones after those already queued, before all others.
// The high-priority half cannot be reached: ipc_mq_send accepts priority 0 only. It is kept because the
// record, the usage report and ipc_mq_recv have high priority as part of the queue's design.
uint32_t link_message(mq_mgt &queue, lc_list_node *node, uint32_t priority) REQUIRES(queue.lock)
{
    const bool high = priority != 0;
    const uint32_t result = !high ? lc_list_add_at_tail(queue.mq_head, node)
                            : queue.last_high == nullptr
                                ? lc_list_add_at_head(queue.mq_head, node)
                                : lc_list_add_next(queue.mq_head, queue.last_high, node);
    if (result != LC_LIST_SUCCESS) {
        return result;
    }
    if (high) {
        queue.last_high = node;
    }
    increment(high ? queue.high_count : queue.normal_count);
    return LC_LIST_SUCCESS;
}

void count_removal_from_head(mq_mgt &queue) REQUIRES(queue.lock)
{
    if (queue.last_high == nullptr) {
        decrement(queue.normal_count);
        return;
    }
    decrement(queue.high_count);
    if (get(queue.high_count) == 0) {
        queue.last_high = nullptr;
    }
}

} // namespace
} // namespace lterouter

using namespace lterouter;

uint32_t ipc_mq_send(mq_cb cb, ipc_msg_hdr *msg_hdr, uint32_t priority, int32_t timeout)
{
    LC_REQUIRE(cb, "mq_cb", IPC_ERR_PARAM);
    LC_REQUIRE(msg_hdr, "msg_hdr", IPC_ERR_PARAM);
    // Only ordinary priority, although the queue has a high one: callers rely on the refusal.
    if (priority != 0) {
        return LC_FAIL(IPC_ERR_PARAM, "Para check failed! Para priority is %lu.\n",
                       static_cast<unsigned long>(priority));
    }
    if (!is_timeout(timeout)) {
        return LC_FAIL(IPC_ERR_PARAM, "Para check failed! Para timeout is %ld.\n",
                       static_cast<long>(timeout));
    }
    mq_mgt &queue = queue_of(cb);
    const MutexLock guard(queue.lock);
    if (is_full(queue)) {
        const uint32_t result = wait_once(queue, queue.not_full, timeout, IPC_ERR_FULL);
        if (result != IPC_SUCCESS) {
            return result;
        }
    }
    const bool was_empty = queue.mq_head->count == 0;
    Node node = make_node(msg_hdr);
    if (node == nullptr) {
        return LC_FAIL(IPC_ERR_RESOURCE, "Assign memory failed!\n");
    }
    const uint32_t result = link_message(queue, node.get(), priority);
    if (result != LC_LIST_SUCCESS) {
        return LC_FAIL(IPC_ERR_RESOURCE, "Add to list mgt->mq_head failed! sret=%ld\n",
                       static_cast<long>(result));
    }
    ignore(node.release(), "the queue has it");
    show(queue);
    if (was_empty) {
        queue.not_empty.signal();
    }
    return IPC_SUCCESS;
}

uint32_t ipc_mq_recv(mq_cb cb, ipc_msg_hdr **msg_hdr, int32_t timeout)
{
    LC_REQUIRE(cb, "mq_cb", IPC_ERR_PARAM);
    LC_REQUIRE(msg_hdr, "msg_hdr", IPC_ERR_PARAM);
    if (!is_timeout(timeout)) {
        return LC_FAIL(IPC_ERR_PARAM, "Para check failed! Para timeout is %ld.\n",
                       static_cast<long>(timeout));
    }
    mq_mgt &queue = queue_of(cb);
    const MutexLock guard(queue.lock);
    if (queue.mq_head->count == 0) {
        const uint32_t result = wait_once(queue, queue.not_empty, timeout, IPC_ERR_EMPTY);
        if (result != IPC_SUCCESS) {
            show(queue);
            return result;
        }
    }
    const bool was_full = is_full(queue);
    uint32_t err = LC_LIST_SUCCESS;
    const Node node{lc_list_del_from_head(queue.mq_head, &err)};
    if (node == nullptr) {
        return LC_FAIL(IPC_ERR_RESOURCE, "Delete from list mgt->mq_head failed! sret=%ld\n",
                       static_cast<long>(err));
    }
    *msg_hdr = static_cast<ipc_msg_hdr *>(node->data);
    count_removal_from_head(queue);
    show(queue);
    if (was_full) {
        queue.not_full.signal();
    }
    return IPC_SUCCESS;
}

void mkcondtimeout(struct timespec *abstime, uint32_t timeout_ms)
{
    // A 32-bit time_t ends in 2038. After that gettimeofday fails and now stays 0: the deadline has
    // passed. Just before that, a sum that would overflow is clamped to the largest time_t.
    timeval now = {};
    gettimeofday(&now, nullptr);
    if (__builtin_add_overflow(now.tv_sec, timeout_ms / 1000, &abstime->tv_sec)) {
        abstime->tv_sec = std::numeric_limits<time_t>::max();
    }
    // Without now.tv_usec, on purpose: the router's modules are tuned to deadlines of whole seconds.
    abstime->tv_nsec = static_cast<long>(timeout_ms % 1000) * 1'000'000L;
}
