// Queues and their contents.
#pragma once

#include "lc_ipc_mq.h"
#include "support/messages.h"

#include <gtest/gtest.h>

namespace testing_support {

inline mq_cb new_queue(uint32_t capacity)
{
    ipc_mq_init();
    mq_cb cb = nullptr;
    EXPECT_EQ(ipc_mq_create(capacity, &cb), IPC_SUCCESS);
    return cb;
}

// Queues a message with this identifier; the queue owns it when the result is 0.
inline uint32_t put(mq_cb cb, uint32_t msg_id, int32_t timeout = 0)
{
    MessagePtr msg = make_message(msg_id);
    const uint32_t result = ipc_mq_send(cb, msg.get(), 0, timeout);
    if (result == IPC_SUCCESS) {
        static_cast<void>(msg.release());
    }
    return result;
}

// The next message, or none.
inline MessagePtr take(mq_cb cb, int32_t timeout = 0)
{
    ipc_msg_hdr *msg = nullptr;
    return MessagePtr(ipc_mq_recv(cb, &msg, timeout) == IPC_SUCCESS ? msg : nullptr);
}

// The identifiers of all that is queued, in the order in which they come out.
inline std::vector<uint32_t> drain(mq_cb cb)
{
    std::vector<uint32_t> ids;
    for (MessagePtr msg = take(cb); msg != nullptr; msg = take(cb)) {
        ids.push_back(msg->msg_id);
    }
    return ids;
}

inline std::vector<ipc_mq_usg> usage(uint32_t room = 64)
{
    std::vector<ipc_mq_usg> entries(room);
    uint32_t num = room;
    EXPECT_EQ(ipc_mq_usg_state(entries.data(), &num), IPC_SUCCESS);
    entries.resize(num);
    return entries;
}

// Messages in the newest queue.
inline uint32_t queued() { return usage().at(0).normal_count; }

} // namespace testing_support
