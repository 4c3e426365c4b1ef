// The endpoint of a module and the queue behind it. The receive thread only decides what to queue; the
// worker takes messages out, one after the other.
#pragma once

#include "lc_ipc_msg.h"
#include "lc_mem.h"

#include <memory>

namespace lterouter::tools {

struct FreeMessage {
    void operator()(ipc_msg_hdr *message) const { mem_free_ex(0, __LINE__, MEM_OWNER_IPC, message); }
};
using Message = std::unique_ptr<ipc_msg_hdr, FreeMessage>;

// Messages from this process to its own worker; from outside they are not accepted.
constexpr uint32_t kMsgAlarm = 0xffff0001;
constexpr uint32_t kMsgEnd = 0xffff0002;
constexpr uint32_t kMsgControl = 0xffff0003;

// A message with a fresh session id and room for a body; empty when out of memory.
Message make_message(uint32_t type, uint32_t msg_id, uint32_t body_len);

// Starts queue and endpoint. Returns a code of the messaging layer.
uint32_t open_mailbox(uint32_t module_id);
void close_mailbox();

// Puts one of the messages above into the queue; false when out of memory.
bool post(uint32_t msg_id);

// The next message: one of the above, or an asynchronous message or request with its sender.
Message receive();

} // namespace lterouter::tools
