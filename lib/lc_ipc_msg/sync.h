// Synchronous senders waiting for their responses.
#pragma once

#include "lc_ipc_msg/message.h"

namespace lterouter {

// The list of waiters, made by the endpoint's start and destroyed by its end. False when out of memory.
bool create_waiters();
void destroy_waiters();

// Copies a response to the sender that waits for its session id and wakes it; 4 when no one does.
uint32_t deliver_response(const ipc_msg_hdr &response, uint32_t size);

} // namespace lterouter
