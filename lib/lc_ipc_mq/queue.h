// The record of a queue, and what queue.cpp and transfer.cpp both need of it.
//
// Locks: the list of queues has one; each queue's own lock guards its record and its messages. No
// operation holds both.
#pragma once

#include "lc_ipc_mq.h"
#include "lc_log/print.h"
#include "lc_mem/alloc.h"
#include "lc_pthread/mutex.h"

#include <atomic>

namespace lterouter {

constexpr LogFamily kLogFamily = kLogIpcMq;

struct mq_mgt {
    uint32_t capacity;
    // Written under lock; atomic because the usage report reads them without it.
    std::atomic<uint32_t> high_count;
    std::atomic<uint32_t> normal_count;
    Mutex lock;
    Condition not_full;
    Condition not_empty;
    lc_list *mq_head GUARDED_BY(lock);        // oldest first, high priority before ordinary
    lc_list_node *last_high GUARDED_BY(lock); // the last high-priority node in mq_head, or null
    // For event loops, made at the first ipc_mq_get_fd: a pipe with a byte in it while a message is
    // queued. Not eventfd, which needs one descriptor less but is missing from some routers' kernels.
    bool watched GUARDED_BY(lock);
    bool shows_message GUARDED_BY(lock);
    int watch_end GUARDED_BY(lock);
    int write_end GUARDED_BY(lock);
};

using Node = mem::Ptr<lc_list_node, MEM_OWNER_IPC>;

inline Node make_node(void *data)
{
    return mem::make_copy<MEM_OWNER_IPC>(lc_list_node{0, data, nullptr, nullptr});
}

inline mq_mgt &queue_of(mq_cb cb) { return *static_cast<mq_mgt *>(cb->data); }

// Counters are written only with the lock held, so a load and a store are enough: no other writer.
inline uint32_t get(const std::atomic<uint32_t> &counter)
{
    return counter.load(std::memory_order_relaxed);
}

inline void increment(std::atomic<uint32_t> &counter)
{
    counter.store(get(counter) + 1, std::memory_order_relaxed);
}

inline void decrement(std::atomic<uint32_t> &counter)
{
    counter.store(get(counter) - 1, std::memory_order_relaxed);
}

// Exactly full: a queue beyond its capacity, after a late sender's wake-up, admits more until drained.
inline bool is_full(const mq_mgt &queue) REQUIRES(queue.lock)
{
    return queue.mq_head->count == queue.capacity;
}

// Makes the pipe of a watched queue readable or not, as the queue has messages. It does not block: both
// ends are non-blocking, and there is never more than one byte. A failure is repaired by the next call.
void show_watched(mq_mgt &queue) REQUIRES(queue.lock);

// Inline, so that a queue without a descriptor costs one test.
inline void show(mq_mgt &queue) REQUIRES(queue.lock)
{
    if (queue.watched) {
        show_watched(queue);
    }
}

} // namespace lterouter
