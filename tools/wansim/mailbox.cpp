#include "wansim/mailbox.h"

#include "common/wan_manager.h"
#include "wansim/ending.h"

namespace lterouter::tools {
namespace {

// Written before the threads that use it start.
mq_cb g_queue = nullptr;

// The library handles responses and registrations, after this. A hang keeps them waiting here, and what
// comes after them in the socket.
uint32_t queue_requests(ipc_msg_hdr *message, uint32_t)
{
    await_end_of_hang();
    const bool request = message->type == IPC_MSG_TYPE_ASYNC || message->type == IPC_MSG_TYPE_REQUEST;
    const bool own = message->msg_id >= kMsgAlarm && message->msg_id <= kMsgControl;
    return request && !own ? 1 : 0;
}

uint32_t is_published(uint32_t notify_id)
{
    for (const uint32_t notification : kNotifications) {
        if (notification == notify_id) {
            return 1;
        }
    }
    return 0;
}

} // namespace

Message make_message(uint32_t type, uint32_t msg_id, uint32_t body_len)
{
    Message message{static_cast<ipc_msg_hdr *>(ipc_memory_assign(body_len, type))};
    if (message != nullptr) {
        *message = {type, msg_id, body_len, 0};
        ipc_gen_seesion_id(message.get());
    }
    return message;
}

uint32_t open_mailbox(uint32_t module_id)
{
    ipc_mq_init();
    const uint32_t created = ipc_mq_create(0, &g_queue);
    if (created != IPC_SUCCESS) {
        return created;
    }
    const uint32_t started = ipc_msg_init(module_id, g_queue, queue_requests, is_published, 0);
    if (started != IPC_SUCCESS) {
        ipc_mq_destroy();
    }
    return started;
}

void close_mailbox()
{
    ipc_msg_fin();
    ipc_mq_destroy();
}

bool post(uint32_t msg_id)
{
    Message message = make_message(IPC_MSG_TYPE_ASYNC, msg_id, 0);
    if (message == nullptr || ipc_mq_send(g_queue, message.get(), 0, -1) != IPC_SUCCESS) {
        return false;
    }
    static_cast<void>(message.release());
    return true;
}

Message receive()
{
    // ipc_mq_recv can return without a message; it is called again.
    ipc_msg_hdr *message = nullptr;
    while (ipc_mq_recv(g_queue, &message, -1) != IPC_SUCCESS) {
    }
    return Message(message);
}

} // namespace lterouter::tools
