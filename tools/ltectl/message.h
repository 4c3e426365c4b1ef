// Printing a received message.
#pragma once

#include "common/body.h"
#include "common/record.h"
#include "lc_ipc_msg.h"
#include "ltectl/events.h"

namespace lterouter::tools {

class Offer;

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

// Replaces PINs, and what may be one, by asterisks, unless they are to be shown. Returns whether there
// were any.
bool mask_secrets(Message *message);

// The answer to a request: its result, and what is after it, by its fields where they are known, else
// in hexadecimal.
void print_answer(uint32_t msg_id, const Body &answer);

// nullptr: a message that is not known.
const char *message_name(uint32_t msg_id);
// The name and the number of a message.
void add_message(Record &record, uint32_t msg_id);
// False when no message is called so.
bool find_message(const char *name, uint32_t *msg_id);
void offer_messages(Offer &offer);

} // namespace lterouter::tools
