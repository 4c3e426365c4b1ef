// lc_ipc_msg: the per-process messaging endpoint.
//
//   message    wire format, module table, addresses, session ids: no socket, no thread
//   socket     the endpoint's state, and sending through it
//   bounded    sending that gives up while the receiver's socket stays full
//   sync       senders that wait for a response
//   registry   notifications and their subscribers
//   receive    the receive thread and its dispatch
//   endpoint   start and stop
//
// Threads: callers' threads send; one receive thread per process reads and dispatches.
// Lock order: the waiter-list mutex before a waiter's own lock. The registry mutex, the session-counter
// mutex and the waiter-list mutex are never held together.
#pragma once

#include "lc_ipc_msg.h"
#include "lc_ipc_msg/build.h"
#include "lc_log/print.h"

#include <cstddef>

namespace lterouter {

constexpr LogFamily kLogFamily = kLogIpcMsg;

static_assert(sizeof(ipc_msg_hdr) == 16);
static_assert(offsetof(ipc_msg_hdr, type) == 0 && offsetof(ipc_msg_hdr, msg_id) == 4);
static_assert(offsetof(ipc_msg_hdr, length) == 8 && offsetof(ipc_msg_hdr, session_id) == 12);
static_assert(sizeof(sockaddr_un) == 110, "every call passes the full address");
static_assert(offsetof(sockaddr_un, sun_family) == 0 && offsetof(sockaddr_un, sun_path) == 2);
static_assert(sizeof(ipc_addr) == 116 && offsetof(ipc_addr, priority) == 0);
static_assert(offsetof(ipc_addr, sock) == 4 && offsetof(ipc_addr, padding) == 114);

constexpr const char *kCommonPriority = "common";

// For messages that this process builds; received ones have MEM_OWNER_IPC_SYNC.
using Message = mem::Ptr<ipc_msg_hdr, MEM_OWNER_IPC>;

// Body of register and deregister requests and of register responses: one word.
uint32_t body_word(ipc_msg_hdr &msg);
void set_body_word(ipc_msg_hdr &msg, uint32_t word);

// Writes the socket name of a module into the zeroed address, with the process id when it is not 0.
void set_socket_name(sockaddr_un &sock, uint32_t module_id, unsigned int pid);

// Compares the whole path, as the kernel does, not only up to a NUL.
bool same_socket(const sockaddr_un &a, const sockaddr_un &b);

} // namespace lterouter
