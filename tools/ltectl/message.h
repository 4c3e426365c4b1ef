// Printing a received message.
#pragma once

#include "common/record.h"
#include "lc_ipc_msg.h"
#include "ltectl/events.h"

namespace lterouter::tools {

struct Message {
    EventHead head;
    ipc_msg_hdr header;
    ipc_addr sender;
    alignas(uint32_t) uint8_t body[IPC_MSG_MAX_BODY];
};

// received: as the endpoint hands it to its handler.
void copy_message(ipc_msg_hdr *received, Message *message);

// Prints one line: header, sender and body; the body by its fields, or in hexadecimal when its layout
// is not known or its length is another.
void print_message(const Message &message);

} // namespace lterouter::tools
