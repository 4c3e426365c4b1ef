// The process's one socket and what is sent through it.
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
    // Written by who starts and ends the endpoint, before the receive thread starts and after it has
    // ended, and by nobody in between: no lock.
    SocketRecord common;
    pthread_t receiver;
};

extern Endpoint g_endpoint;

// The limit that sends have now; 0: none. Beside the endpoint, since it is there before that starts and
// outlives it.
inline std::atomic<uint32_t> g_send_limit{0};

// One datagram, header and body_len bytes, through the socket that the destination's priority names,
// however long it takes. 10 on failure.
uint32_t send_datagram(const ipc_addr &to, const ipc_msg_hdr &msg, uint32_t body_len);

// The same within a limit, and until a deadline, if there is one: 7 when that has ended it.
uint32_t send_datagram_within(SendBound bound, const ipc_addr &to, const ipc_msg_hdr &msg,
                              uint32_t body_len);

// A message whose sender waits for no response, within the limit. 4 when its header says another
// length, 10 when it cannot be sent.
uint32_t send_asynchronous(const ipc_addr &to, ipc_msg_hdr &msg, uint32_t len);

} // namespace lterouter
