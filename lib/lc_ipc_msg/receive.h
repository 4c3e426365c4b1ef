// The receive thread.
#pragma once

#include "lc_ipc_msg/endpoint.h"

namespace lterouter {

// Thread body; takes over its ReceiveArgs.
void *receive_thread(void *args);

// Reads and dispatches one datagram. A valid stop message clears *running.
uint32_t receive_message(const ReceiveArgs &args, uint32_t *running);

} // namespace lterouter
