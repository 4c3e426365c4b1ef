// The process's one socket and what is sent through it.
#pragma once

#include "lc_ipc_msg/bounded.h"
#include "lc_ipc_msg/message.h"

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
    std::atomic<bool> initialised{false};
    // Written by who starts and ends the endpoint, before the receive thread starts and after it has
    // ended, and by nobody in between: no lock.
    SocketRecord common;
    pthread_t receiver;
};

extern Endpoint g_endpoint;

// The limit that sends have now; 0: none.
uint32_t send_limit();

// One datagram, header and body_len bytes, through the socket that the destination's priority names. 7
// when the bound's deadline has ended it, 10 on any other failure.
uint32_t send_datagram(const ipc_addr &to, const ipc_msg_hdr &msg, uint32_t body_len, SendBound bound);

} // namespace lterouter
