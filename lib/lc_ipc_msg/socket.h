// The process's one socket, and sending through it.
#pragma once

#include "lc_ipc_msg/bounded.h"
#include "lc_ipc_msg/message.h"
#include "support/flag.h"

#include <atomic>
#include <pthread.h>

namespace lterouter {

// Laid out like an address record, with the descriptor in the place of the priority.
struct SocketRecord {
    int32_t fd;
    sockaddr_un sock;
    uint8_t padding[2];
};
static_assert(sizeof(SocketRecord) == sizeof(ipc_addr));
static_assert(offsetof(SocketRecord, fd) == offsetof(ipc_addr, priority));
static_assert(offsetof(SocketRecord, sock) == offsetof(ipc_addr, sock));

struct Endpoint {
    Flag initialised;
    // Written only before the receive thread starts and after it has ended, by the thread that starts
    // and stops the endpoint: no lock.
    SocketRecord common;
    pthread_t receiver;
};

extern Endpoint g_endpoint;

// The send limit in milliseconds; 0: none. Not in the endpoint, since it can be set before the endpoint
// starts and remains when that stops.
inline std::atomic<uint32_t> g_send_limit{0};

// Sends one datagram, header and body_len bytes, through the socket of the destination's priority,
// without a limit. 10 on failure.
uint32_t send_datagram(const ipc_addr &to, const ipc_msg_hdr &msg, uint32_t body_len);

// The same within a limit, and a deadline if there is one: 7 when the deadline has passed.
uint32_t send_datagram_within(SendBound bound, const ipc_addr &to, const ipc_msg_hdr &msg,
                              uint32_t body_len);

// Sends an asynchronous message or a response within g_send_limit. 4 when its header has another
// length, 10 when it cannot be sent.
uint32_t send_asynchronous(const ipc_addr &to, ipc_msg_hdr &msg, uint32_t len);

} // namespace lterouter
