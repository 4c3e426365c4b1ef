// lte_sdk: the client of the WAN manager.
//
//   core        start-up, the three send primitives, connect and disconnect
//   dispatcher  notifications on their way to the host's callback
//   requests    the synchronous requests, a row of data each
//
// Threads: requests run on the host's threads and keep all state on the stack; the dispatcher and the
// host's callback run on the messaging receive thread. No locks of its own.
#pragma once

#include "lc_ipc_msg.h"
#include "lte_sdk.h"

namespace lterouter {

constexpr char kUnit[] = "lib/lte_sdk";

} // namespace lterouter

extern "C" {

// The host's record. Written before the endpoint exists, then only read.
extern const lct_config *g_sdk_config;

// The client's queue; the endpoint is never given it, so it stays empty.
extern mq_cb g_sdk_mq;

// Handler of the client's endpoint: 1 when the host has a callback, else 0.
uint32_t sdk_msg_handler(ipc_msg_hdr *msg, uint32_t len);
}
