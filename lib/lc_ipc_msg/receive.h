// The receive thread, and reading a datagram, which diag.cpp does too.
#pragma once

#include "lc_ipc_msg/message.h"

namespace lterouter {

// Argument of the receive thread, which frees the record.
struct ReceiveArgs {
    mq_cb cb;
    ipc_msg_handler_fn msg_handler;
    ipc_reg_check_fn reg_check;
};

// Buffers of received messages; queued ones go on to the module, which frees them.
using Received = mem::Ptr<ipc_msg_hdr, MEM_OWNER_IPC_SYNC>;

struct Datagram {
    Received bytes;
    uint32_t size = 0;
    ipc_addr sender = {};
    bool from_self = false;
    bool from_lookalike = false;
};

// Reads one datagram and checks its length.
uint32_t read_datagram(Datagram *datagram);

using ReceiveArgsPtr = mem::Ptr<ReceiveArgs, MEM_OWNER_IPC_SYNC>;

// Body of the receive thread; ownership of the ReceiveArgs moves to it.
void *receive_thread(void *args);

// Reads and dispatches one datagram. A valid stop message clears *running.
uint32_t receive_message(const ReceiveArgs &args, uint32_t *running);

} // namespace lterouter
