/* lc_ipc_msg: messages between the router's processes over local datagram sockets.
 *
 * A process has at most one endpoint: a socket bound to its module's name in the abstract namespace
 * and a receive thread that hands every datagram to whoever waits for it: a synchronous sender, the
 * notification registry, or the module's handler and queue.
 *
 * Threads: ipc_msg_init and ipc_msg_fin belong to one thread, and no other call may be in progress
 * while ipc_msg_fin runs. Everything else may be called from any thread, except that a handler, which
 * runs on the receive thread, must not call ipc_msg_send_syn, ipc_register_notify or ipc_msg_fin: only
 * that thread could deliver what they wait for. A thread must not be cancelled inside a call. The
 * endpoint belongs to the process that started it; a forked child must leave it alone.
 *
 * Every send blocks while the receiver's socket is full, beyond any time-out: a time-out counts from
 * the moment the request has left. A body is at most IPC_MSG_MAX_BODY bytes; a receiver drops a longer
 * one. */
#ifndef LC_IPC_MSG_H
#define LC_IPC_MSG_H

#include "lc_api.h"
#include "lc_ipc_mq.h"

#include <stdint.h>
#include <sys/un.h>

LC_BEGIN_DECLS

#define IPC_MSG_MAX_SIZE 1024u /* largest datagram, header included */
#define IPC_MSG_MAX_BODY (IPC_MSG_MAX_SIZE - (uint32_t)sizeof(ipc_msg_hdr))

/* Reserved message identifiers. */
#define IPC_MSG_ID_STOP 1u
#define IPC_MSG_ID_REGISTER 2u
#define IPC_MSG_ID_DEREGISTER 3u

/* Module identifiers. */
#define IPC_MODULE_WM 0u
#define IPC_MODULE_MM 1u /* the WAN manager's messaging address */
#define IPC_MODULE_CGI 2u
#define IPC_MODULE_CLI1 3u /* the LTE client; always a per-process name */
#define IPC_MODULE_CLI2 4u /* likewise */
#define IPC_MODULE_SMS_PB 6u
#define IPC_MODULE_UPTEST 7u
#define IPC_MODULE_COUNT 8u

#define IPC_PRIORITY_COMMON 0u /* the only priority that has a socket */

/* Names an endpoint; also appended to every received message as its sender. 116 bytes. */
typedef struct ipc_addr {
    uint32_t priority; /* socket index, always 0 */
    struct sockaddr_un sock;
    uint8_t padding[2];
} ipc_addr;

/* Called on the receive thread with each received message (ipc_msg_body, ipc_msg_sender) and len, the
 * bytes from the body to the sender's address record. Non-zero asks for the message to be queued. The
 * buffer is the endpoint's unless it is queued: neither keep nor free it. */
typedef uint32_t (*ipc_msg_handler_fn)(ipc_msg_hdr *msg, uint32_t len);

/* Called on the receive thread; non-zero accepts a subscriber for notify_id. */
typedef uint32_t (*ipc_reg_check_fn)(uint32_t notify_id);

/* ---- Messages and addresses ---- */

/* Allocates a message of body_len body bytes: 16 header bytes, or 8 for type 3, come before the body.
 * Only the type word is set. NULL when out of memory. Free it with mem_free_ex. */
LC_API void *ipc_memory_assign(uint32_t body_len, uint32_t type);

/* Stamps a fresh session id: 1 for the first of the process, then counting up, modulo 2^32. */
LC_API void ipc_gen_seesion_id(ipc_msg_hdr *msg);

/* Fills addr with the shared address of a module. Returns 0, or 1 when priority is not 0, addr is NULL
 * or module_id is not below 8 (addr is untouched then). Modules 3 and 4 answer only at per-process
 * addresses and cannot be reached this way. */
LC_API uint32_t ipc_get_addr_by_id(uint32_t module_id, uint32_t priority, ipc_addr *addr);

/* Search predicates for lc_list_find: 0 on a match, else 8. */
LC_API uint32_t msg_id_match(const void *waiter, const void *msg);
LC_API uint32_t notify_id_match(const void *registration, const void *notify_id);

/* Where a message's body starts. */
static inline void *ipc_msg_body(ipc_msg_hdr *msg)
{
    return (uint8_t *)msg + (msg->type == IPC_MSG_TYPE_SHORT ? 8u : sizeof(ipc_msg_hdr));
}

/* The sender of a received message. Only for buffers that the endpoint handed out. */
static inline ipc_addr *ipc_msg_sender(ipc_msg_hdr *msg)
{
    const uint32_t size = (uint32_t)sizeof(ipc_msg_hdr) + msg->length;
    return (ipc_addr *)(void *)((uint8_t *)msg + ((size + 3u) & ~3u));
}

/* ---- The endpoint ---- */

/* Starts the endpoint of module module_id. cb: queue for received messages, or NULL. msg_handler and
 * reg_check: see above, either may be NULL; without a handler every message is queued, without a check
 * every registration is accepted. per_process: non-zero binds a name of this process alone (modules 3
 * and 4 always do). A message that finds the queue full is dropped.
 * Returns 0 (also when already started: nothing changes), 1 bad module, 11 socket, name in use, thread
 * or memory. */
LC_API uint32_t ipc_msg_init(uint32_t module_id, mq_cb cb, ipc_msg_handler_fn msg_handler,
                             ipc_reg_check_fn reg_check, uint32_t per_process);

/* Stops the endpoint: a stop message to its own socket, then the receive thread is joined and all is
 * given back. The queue of ipc_msg_init is not touched. */
LC_API void ipc_msg_fin(void);

/* Sends buff, a header and len body bytes; the caller keeps it. The header's type becomes 0 unless it
 * is 2.
 * Returns 0, 1 NULL argument, 2 not started, 4 the header's length is not len, 10 socket error. */
LC_API uint32_t ipc_msg_send_asy(const ipc_addr *dest_addr, ipc_msg_hdr *buff, uint32_t len);

/* Sends the request in_buff (a header with a fresh session id and in_len body bytes; its type becomes
 * 1) and waits for the response that carries its session id.
 * timeout: milliseconds, not 0; the deadline is cut to a whole second, so it can fall up to 1 s early.
 * out_buff: at least *out_len + 16 bytes; receives header and body. out_len: in, room for the body;
 * out, bytes of body received.
 * Returns 0, 1 bad argument, 2 not started, 4 the header's length is not in_len, 5 the response is
 * longer than *out_len (its beginning is in out_buff, *out_len stays), 7 timed out, 10 socket error
 * (nobody bound there), 11 memory. Never call it on the receive thread. */
LC_API uint32_t ipc_msg_send_syn(const ipc_addr *dest_addr, ipc_msg_hdr *in_buff, uint32_t in_len,
                                 uint32_t timeout, void *out_buff, uint32_t *out_len);

/* ---- Notifications ---- */

/* Subscribes this endpoint to notify_id at the module at dest_addr, waiting at most timeout ms for its
 * answer. Subscribing twice is harmless. Returns 0, 1 bad argument, 2 not started, 4 the publisher
 * could not read the request or sent an answer without a result, 6 refused, 11 memory, here or at the
 * publisher, or a code of ipc_msg_send_syn. Never call it on the receive thread. */
LC_API uint32_t ipc_register_notify(const ipc_addr *dest_addr, uint32_t notify_id, uint32_t timeout);

/* Unsubscribes; there is no answer. Returns 0, 1 dest_addr is NULL, 2 not started, 11 memory, or a code
 * of ipc_msg_send_asy. */
LC_API uint32_t ipc_deregister_notify(const ipc_addr *dest_addr, uint32_t notify_id);

/* Sends buff (a header and len body bytes; the caller keeps it) to every subscriber of its msg_id, in
 * the order of registration. Registrations wait until all have been sent to. Returns 0 whatever the
 * single sends gave, 1 buff is NULL, 2 not started. */
LC_API uint32_t ipc_msg_notify(ipc_msg_hdr *buff, uint32_t len);

/* ---- Diagnosis ---- */

/* Reads one datagram from the endpoint's socket, whatever it is, waiting for it without end; the
 * receive thread reads the same socket, and whichever comes first has it. out_buff: at least *out_len +
 * 16 bytes; receives header and body. out_len: in, room for the body; out, bytes of body received.
 * src_addr: receives the sender, also with 4 and 5; it is cleared with 10. Returns 0, 1 NULL argument,
 * 2 not started, 4 the header's length is not that of the datagram, 5 the body is longer than *out_len
 * (its beginning is in out_buff, *out_len stays), 10 socket error or a datagram without a byte, 11
 * memory. Any thread. */
LC_API uint32_t ipc_diag_msg_receive(void *out_buff, uint32_t *out_len, ipc_addr *src_addr);

/* Frees one registration record with its addresses. Always 0; NULL is allowed. */
LC_API uint32_t reg_notify_node_destroy(void *record);

LC_END_DECLS

#endif
