// The record of a queue, and what both those who make queues and those who pass messages do with it.
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
    // What event loops watch, once somebody has asked for it: a pipe with a byte in it while a message
    // is queued. One descriptor fewer would do with eventfd, which not every router's kernel has.
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

// The counters change with the lock held, so that no other writer can come between.
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

// Exactly full: a queue that late senders have overfilled is not, and admits more until it is drained.
inline bool is_full(const mq_mgt &queue) REQUIRES(queue.lock)
{
    return queue.mq_head->count == queue.capacity;
}

// Has a watched queue's descriptor say what is. That does not block: both ends are non-blocking, and
// there is never more than one byte. What could not be done is made up for at the next occasion.
void show_watched(mq_mgt &queue) REQUIRES(queue.lock);

// Apart, so that a queue that nobody watches pays no more than this.
inline void show(mq_mgt &queue) REQUIRES(queue.lock)
{
    if (queue.watched) {
        show_watched(queue);
    }
}

} // namespace lterouter
