// Building messages, for every family that sends some; each has its own owner tag.
#pragma once

#include "lc_ipc_msg.h"
#include "lc_mem/alloc.h"

namespace lterouter {

// Room for a header and body_len body bytes; only the type is set. Empty when out of memory.
template <uint32_t Owner> mem::Ptr<ipc_msg_hdr, Owner> assign_message(uint32_t body_len)
{
    return mem::Ptr<ipc_msg_hdr, Owner>(
        static_cast<ipc_msg_hdr *>(ipc_memory_assign(body_len, IPC_MSG_TYPE_ASYNC)));
}

// A message with a zeroed header but for these fields and a new session id; empty when out of memory.
template <uint32_t Owner> mem::Ptr<ipc_msg_hdr, Owner> make_message(uint32_t msg_id, uint32_t body_len)
{
    auto msg = assign_message<Owner>(body_len);
    if (msg != nullptr) {
        *msg = {IPC_MSG_TYPE_ASYNC, msg_id, body_len, 0};
        ipc_gen_seesion_id(msg.get());
    }
    return msg;
}

} // namespace lterouter
