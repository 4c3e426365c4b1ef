// The registry of notifications and their subscribers.
#pragma once

#include "lc_ipc_msg/message.h"

namespace lterouter {

// The registry, made by the endpoint's start and destroyed by its end. False when out of memory.
bool create_registry();
void destroy_registry();

// The two requests, on the receive thread. msg: a received message with its sender's address.
uint32_t handle_register(ipc_msg_hdr *msg, ipc_reg_check_fn reg_check);
uint32_t handle_deregister(ipc_msg_hdr *msg);

} // namespace lterouter
