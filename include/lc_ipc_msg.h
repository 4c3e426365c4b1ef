/** @file
 * Messages between the router's processes over local datagram sockets.
 *
 * A process has at most one endpoint: a socket bound to its module's name in the abstract namespace and
 * a receive thread that hands every datagram to whoever waits for it: a synchronous sender, the
 * notification registry, or the module's handler and queue.
 *
 * Every send blocks while the receiver's socket is full, beyond any time-out: a time-out counts from
 * the moment the request has left. So a process that is stopped, or does not read, holds up whoever
 * sends to it, and as a subscriber the publisher, with all its registrations.
 * ipc_msg_set_send_limit() bounds that. A body is at most IPC_MSG_MAX_BODY bytes; a receiver drops a
 * longer one.
 *
 * @see unix(7)
 *
 * @par Threads
 * ipc_msg_init() and ipc_msg_fin() belong to one thread, and no other call may be in progress while
 * ipc_msg_fin() runs. Everything else may be called from any thread, except that a handler and a judge
 * of subscribers, which run on the receive thread, must not call ipc_msg_send_syn(),
 * ipc_register_notify() or ipc_msg_fin(): only that thread could deliver what they wait for. While they
 * run, nothing else is received. A thread must not be cancelled inside a call. The endpoint belongs to
 * the process that started it; a forked child must leave it alone. The receive thread has the signal
 * mask of the caller of ipc_msg_init(), and may take any signal to the process which that does not
 * block.
 *
 * @par Example
 * Asks the WAN manager for its roaming switch; the first word of the answer is the result.
 * @code
 * #include <lc_ipc_msg.h>
 * #include <lc_mem.h>
 * #include <lte_sdk.h>
 * #include <stdio.h>
 *
 * int main(void)
 * {
 *     struct {
 *         ipc_msg_hdr header;
 *         uint32_t body[2];
 *     } response;
 *     uint32_t length = sizeof response.body;
 *     ipc_addr manager;
 *     ipc_msg_hdr *request;
 *     uint32_t result;
 *
 *     if (ipc_msg_init(IPC_MODULE_CLI1, NULL, NULL, NULL, 1) != 0 ||
 *         ipc_get_addr_by_id(IPC_MODULE_MM, 0, &manager) != 0)
 *         return 1;
 *     request = ipc_memory_assign(0, IPC_MSG_TYPE_REQUEST);
 *     if (request == NULL)
 *         return 1;
 *     request->msg_id = WM_MSG_ROAM_SWITCH_GET_REQ;
 *     request->length = 0;
 *     ipc_gen_seesion_id(request);
 *     result = ipc_msg_send_syn(&manager, request, 0, 5000, &response,
 *                               &length);
 *     mem_free_ex(0, __LINE__, MEM_OWNER_IPC, request);
 *     if (result == IPC_SUCCESS && length >= sizeof response.body[0])
 *         printf("result: %u\n", (unsigned)response.body[0]);
 *     ipc_msg_fin();
 *     return result != IPC_SUCCESS;
 * }
 * @endcode */
#ifndef LC_IPC_MSG_H
#define LC_IPC_MSG_H

#include "lc_api.h"
#include "lc_ipc_mq.h"

#include <stdint.h>
#include <sys/un.h>

LC_BEGIN_DECLS

/** @name Limits
 * @{ */
#define IPC_MSG_MAX_SIZE 1024u /**< bytes of the largest datagram, header included */
/** bytes of the largest body */
#define IPC_MSG_MAX_BODY (IPC_MSG_MAX_SIZE - (uint32_t)sizeof(ipc_msg_hdr))
/** @} */

/** @name Reserved message identifiers
 * @{ */
#define IPC_MSG_ID_STOP 1u       /**< ends the receive thread */
#define IPC_MSG_ID_REGISTER 2u   /**< subscribes to a notification */
#define IPC_MSG_ID_DEREGISTER 3u /**< unsubscribes */
/** @} */

/** @name Module identifiers
 * With the NAME in that of the module's socket: lc_socket_NAME_common or, of one process alone,
 * lc_socket_NAME_PID_common.
 * @{ */
#define IPC_MODULE_WM 0u     /**< "wm": the WAN manager */
#define IPC_MODULE_MM 1u     /**< "mm": the WAN manager's messaging address */
#define IPC_MODULE_CGI 2u    /**< "cgi" */
#define IPC_MODULE_CLI1 3u   /**< "cli1": the LTE client; always a per-process name */
#define IPC_MODULE_CLI2 4u   /**< "cli1" too; likewise */
#define IPC_MODULE_SMS_PB 6u /**< "sms_pb": the SMS store */
#define IPC_MODULE_UPTEST 7u /**< "uptest" */
#define IPC_MODULE_COUNT 8u  /**< identifiers are below it */
/** @} */

#define IPC_PRIORITY_COMMON 0u /**< the only priority that has a socket */

/** Names an endpoint; also appended to every received message as its sender. 116 bytes. */
typedef struct ipc_addr {
    uint32_t priority;       /**< socket index, always 0 */
    struct sockaddr_un sock; /**< the socket's name */
    uint8_t padding[2];      /**< of no meaning */
} ipc_addr;

/** Handles a received message, on the receive thread. It gets responses and the requests of subscribers
 * too, which are never queued. The buffer is the endpoint's unless it is queued: neither keep nor free
 * it.
 * @param[in,out] msg the message; ipc_msg_body() and ipc_msg_sender() look into it
 * @param[in]     len bytes between the header and the sender's address record: those of the body,
 *                    rounded up to a multiple of 4
 * @return non-zero to have the message queued */
typedef uint32_t (*ipc_msg_handler_fn)(ipc_msg_hdr *msg, uint32_t len);

/** Judges a subscriber, on the receive thread.
 * @param[in] notify_id the identifier that it asks for
 * @return non-zero to accept it */
typedef uint32_t (*ipc_reg_check_fn)(uint32_t notify_id);

/** @name Messages and addresses
 * @{ */

/** Allocates a message: 16 header bytes, or 8 for type 3, come before the body. Only the type word is
 * set.
 * @param[in] body_len bytes of body
 * @param[in] type     IPC_MSG_TYPE_...
 * @return the message, which the caller frees with mem_free_ex(); NULL when out of memory */
LC_API void *ipc_memory_assign(uint32_t body_len, uint32_t type);

/** Stamps a fresh session id: 1 for the first of the process, then counting up, modulo 2^32.
 * @param[in,out] msg the message */
LC_API void ipc_gen_seesion_id(ipc_msg_hdr *msg);

/** Gives the shared address of a module. Modules 3 and 4 answer only at per-process addresses and
 * cannot be reached this way.
 * @param[in]  module_id IPC_MODULE_...
 * @param[in]  priority  0
 * @param[out] addr      the address
 * @retval 0 done
 * @retval 1 priority is not 0, addr is NULL or module_id is not below 8; addr is untouched */
LC_API uint32_t ipc_get_addr_by_id(uint32_t module_id, uint32_t priority, ipc_addr *addr);

/** Search predicate of lc_list_find() for the waiter of a message.
 * @param[in] waiter of a synchronous sender
 * @param[in] msg    a response
 * @retval 0 they have the same session id
 * @retval 8 they have not */
LC_API uint32_t msg_id_match(const void *waiter, const void *msg);

/** Search predicate of lc_list_find() for the registration of a notification.
 * @param[in] registration of subscribers
 * @param[in] notify_id    points to the identifier
 * @retval 0 it is that of the identifier
 * @retval 8 it is not */
LC_API uint32_t notify_id_match(const void *registration, const void *notify_id);

/** Tells where a message's body starts.
 * @param[in] msg the message
 * @return its body */
static inline void *ipc_msg_body(ipc_msg_hdr *msg)
{
    return (uint8_t *)msg + (msg->type == IPC_MSG_TYPE_SHORT ? 8u : sizeof(ipc_msg_hdr));
}

/** Tells the sender of a received message.
 * @param[in] msg as a handler gets it or the queue gives it; no other buffer holds its sender
 * @return the sender's address, in that buffer */
static inline ipc_addr *ipc_msg_sender(ipc_msg_hdr *msg)
{
    const uint32_t size = (uint32_t)sizeof(ipc_msg_hdr) + msg->length;
    return (ipc_addr *)(void *)((uint8_t *)msg + ((size + 3u) & ~3u));
}

/** Tells what ipc_msg_body() tells, to languages that can call exported functions alone. Any thread.
 * @param[in] msg the message
 * @return its body; NULL when msg is NULL */
LC_API void *ipc_msg_get_body(ipc_msg_hdr *msg);

/** Tells what ipc_msg_sender() tells, to languages that can call exported functions alone. Any thread.
 * @param[in] msg as a handler gets it or the queue gives it; no other buffer holds its sender
 * @return the sender's address, in that buffer; NULL when msg is NULL */
LC_API ipc_addr *ipc_msg_get_sender(ipc_msg_hdr *msg);

/** @}
 * @name The endpoint
 * @{ */

/** Starts the endpoint of a module. A message that finds the queue full is dropped. The socket becomes
 * close-on-exec right after it is made, not at once, for old kernels' sake: a program that another
 * thread forks and executes in between inherits it, and keeps the name bound while it runs.
 * @param[in] module_id   IPC_MODULE_...
 * @param[in] cb          queue for received messages; NULL queues none
 * @param[in] msg_handler gets received messages; NULL has every one queued, but for responses and the
 *                        requests of subscribers
 * @param[in] reg_check   judges subscribers; NULL accepts every one
 * @param[in] per_process non-zero binds a name of this process alone (modules 3 and 4 always do)
 * @retval 0  started, also when it was already: nothing changes then
 * @retval 1  bad module
 * @retval 11 no socket, name in use, no thread or out of memory */
LC_API uint32_t ipc_msg_init(uint32_t module_id, mq_cb cb, ipc_msg_handler_fn msg_handler,
                             ipc_reg_check_fn reg_check, uint32_t per_process);

/** Stops the endpoint: a stop message to its own socket, then the receive thread is joined and all is
 * given back. The queue of ipc_msg_init() is not touched. If the stop message cannot be sent, as for
 * want of memory, the join waits without end. That message waits for room as long as it takes, whatever
 * the limit of ipc_msg_set_send_limit(). */
LC_API void ipc_msg_fin(void);

/** Bounds how long a send waits while the receiver's socket is full, for every send of the process:
 * asynchronous messages and responses, requests, registrations and their answers, deregistrations, and
 * a notification to each of its subscribers. One that finds no room in that time fails as others do:
 * result 10, with ETIMEDOUT in its log line. A limit is kept to the millisecond, as far as the system
 * wakes the thread in time; each send is tried at least once, and a signal does not end its wait.
 *
 * With a limit the time-out of ipc_msg_send_syn() and ipc_register_notify() counts the sending too.
 * While there is no room, what comes first ends the call, and the request has not been sent: the limit
 * with 10, the time-out with 7. A 7 can also mean, as without a limit, that it was sent and not
 * answered.
 *
 * Without a limit, a subscriber that stops reading holds up ipc_msg_notify(), and with it all
 * registrations at the publisher, for good. With one, each notification waits for it that long, and it
 * misses those for which there was no room; it stays registered. So many of them make a notification
 * wait so many times as long, with registrations waiting for it.
 *
 * May be called at any time, before ipc_msg_init() too, by any thread; it outlasts ipc_msg_fin(). A
 * send under way keeps the limit that it began with. Its wait takes a descriptor, if one can be had,
 * else it tries again every 10 ms.
 * @param[in] milliseconds the limit; 0, as at the start of the process, is none */
LC_API void ipc_msg_set_send_limit(uint32_t milliseconds);

/** Sends an asynchronous message or a response.
 * @param[in]     dest_addr the receiver
 * @param[in,out] buff      a header and len body bytes; the caller keeps it. The header's type becomes
 *                          0 unless it is 2
 * @param[in]     len       body bytes
 * @retval 0  sent
 * @retval 1  NULL argument
 * @retval 2  not started
 * @retval 4  the header's length is not len
 * @retval 10 socket error, or no room within the limit of ipc_msg_set_send_limit() */
LC_API uint32_t ipc_msg_send_asy(const ipc_addr *dest_addr, ipc_msg_hdr *buff, uint32_t len);

/** Sends a request and waits for the response that carries its session id. Never call it on the receive
 * thread.
 * @param[in]     dest_addr the receiver
 * @param[in,out] in_buff   a header with a fresh session id and in_len body bytes; its type becomes 1;
 *                          the caller keeps it
 * @param[in]     in_len    body bytes
 * @param[in]     timeout   milliseconds, not 0, from when the request has left; with a limit of
 *                          ipc_msg_set_send_limit(), from the call on. The deadline is cut to a whole
 *                          second before the fraction of timeout is added, so it can fall up to 1 s
 *                          early
 * @param[out]    out_buff  at least *out_len + 16 bytes; receives header and body
 * @param[in,out] out_len   in: room for the body; out: bytes of body received
 * @retval 0  answered
 * @retval 1  an argument is NULL or timeout 0
 * @retval 2  not started
 * @retval 4  the header's length is not in_len
 * @retval 5  the response is longer than *out_len: its beginning is in out_buff, *out_len stays
 * @retval 7  timed out
 * @retval 10 socket error, such as nobody bound there, or no room within the limit
 * @retval 11 out of memory */
LC_API uint32_t ipc_msg_send_syn(const ipc_addr *dest_addr, ipc_msg_hdr *in_buff, uint32_t in_len,
                                 uint32_t timeout, void *out_buff, uint32_t *out_len);

/** @}
 * @name Notifications
 * @{ */

/** Subscribes this endpoint to a notification. Subscribing twice is harmless: the notification still
 * comes once. Never call it on the receive thread. The subscription outlives the process, until
 * ipc_deregister_notify() or the publisher's end; a publisher that starts again knows nothing of it.
 * @param[in] dest_addr the publisher
 * @param[in] notify_id the notification's identifier
 * @param[in] timeout   milliseconds to wait for the publisher's answer, as for ipc_msg_send_syn()
 * @retval 0  subscribed
 * @retval 1  dest_addr is NULL or timeout 0
 * @retval 2  not started
 * @retval 4  the publisher could not read the request or sent an answer without a result
 * @retval 6  refused
 * @retval 11 out of memory, here or at the publisher
 * @return one of these or another code of ipc_msg_send_syn() */
LC_API uint32_t ipc_register_notify(const ipc_addr *dest_addr, uint32_t notify_id, uint32_t timeout);

/** Unsubscribes; there is no answer.
 * @param[in] dest_addr the publisher
 * @param[in] notify_id the notification's identifier
 * @retval 0  sent
 * @retval 1  dest_addr is NULL
 * @retval 2  not started
 * @retval 11 out of memory
 * @return one of these or another code of ipc_msg_send_asy() */
LC_API uint32_t ipc_deregister_notify(const ipc_addr *dest_addr, uint32_t notify_id);

/** Sends a message to every subscriber of its msg_id, in the order of registration. Registrations wait
 * until all have been sent to.
 * @param[in,out] buff a header and len body bytes; the caller keeps it. Its type becomes that of
 *                     ipc_msg_send_asy()
 * @param[in]     len  body bytes
 * @retval 0 whatever the single sends gave
 * @retval 1 buff is NULL
 * @retval 2 not started */
LC_API uint32_t ipc_msg_notify(ipc_msg_hdr *buff, uint32_t len);

/** @}
 * @name Diagnosis
 * @{ */

/** Reads one datagram from the endpoint's socket, whatever it is, waiting for it without end. The
 * receive thread reads the same socket, and whichever comes first has it. Any thread.
 * @param[out]    out_buff at least *out_len + 16 bytes; receives header and body
 * @param[in,out] out_len  in: room for the body; out: bytes of body received
 * @param[out]    src_addr the sender, also with 4 and 5 and of a datagram without a byte; cleared on a
 *                         socket error, untouched with 11
 * @retval 0  read
 * @retval 1  NULL argument
 * @retval 2  not started
 * @retval 4  the header's length is not that of the datagram, or that is above IPC_MSG_MAX_SIZE
 * @retval 5  the body is longer than *out_len: its beginning is in out_buff, *out_len stays
 * @retval 10 socket error or a datagram without a byte
 * @retval 11 out of memory */
LC_API uint32_t ipc_diag_msg_receive(void *out_buff, uint32_t *out_len, ipc_addr *src_addr);

/** Frees one registration record with its addresses.
 * @param[in] record the record; NULL is allowed
 * @retval 0 always */
LC_API uint32_t reg_notify_node_destroy(void *record);

/** @} */

LC_END_DECLS

#endif
