/** @file
 * Messages between the router's processes over local datagram sockets.
 *
 * A process has at most one endpoint: a socket bound to its module's name in the abstract namespace,
 * and a receive thread that hands every datagram to its recipient: a synchronous sender, the
 * notification registry, or the module's handler and queue. A receiver drops a body of more than
 * IPC_MSG_MAX_BODY bytes.
 *
 * Every send blocks while the receiver's socket is full, without end unless ipc_msg_set_send_limit()
 * bounds it: a process that is stopped, or does not read, blocks its senders, and as a subscriber the
 * publisher, with all its registrations.
 *
 * @see unix(7)
 *
 * @par Threads
 * ipc_msg_init() and ipc_msg_fin() belong to one thread, and no other call may be in progress while
 * ipc_msg_fin() runs. Everything else may be called from any thread, except that a handler and a
 * registration check, which run on the receive thread, must not call ipc_msg_send_syn(),
 * ipc_register_notify() or ipc_msg_fin(): only that thread could deliver what they wait for. While they
 * run, nothing else is received. A thread must not be cancelled inside a call. A forked child must
 * leave the endpoint alone. The receive thread may take any signal to the process that was not blocked
 * for the caller of ipc_msg_init(), whose mask it inherits.
 *
 * @par Example
 * Asks a WAN manager, whose address ipc_get_addr_by_id() gave, for its roaming switch.
 * @code
 * #include <lc_ipc_msg.h>
 * #include <lc_mem.h>
 * #include <lte_sdk.h>
 *
 * struct answer {
 *     ipc_msg_hdr header;
 *     lct_value_rsp body;
 * };
 *
 * uint32_t ask(const ipc_addr *manager, struct answer *answer)
 * {
 *     uint32_t code, length = sizeof answer->body;
 *     ipc_msg_hdr *request = ipc_memory_assign(0, IPC_MSG_TYPE_REQUEST);
 *     if (request == NULL)
 *         return IPC_ERR_RESOURCE;
 *     request->msg_id = WM_MSG_ROAM_SWITCH_GET_REQ;
 *     request->length = 0;
 *     ipc_gen_seesion_id(request);
 *     code = ipc_msg_send_syn(manager, request, 0, 5000, answer, &length);
 *     mem_free_ex(0, __LINE__, MEM_OWNER_IPC, request);
 *     return code == 0 && length < sizeof answer->body ? IPC_ERR_LENGTH : code;
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
/** @}
 * @name Reserved message identifiers
 * @{ */
#define IPC_MSG_ID_STOP 1u       /**< ends the receive thread */
#define IPC_MSG_ID_REGISTER 2u   /**< subscribes to a notification */
#define IPC_MSG_ID_DEREGISTER 3u /**< unsubscribes */
/** @}
 * @name Module identifiers
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
 * too, which are never queued. The buffer belongs to the endpoint unless it is queued: neither keep nor
 * free it.
 * @param[in,out] msg the message; ipc_msg_body() and ipc_msg_sender() look into it
 * @param[in]     len bytes between the header and the sender's address record: those of the body,
 *                    rounded up to a multiple of 4
 * @return non-zero to have the message queued */
typedef uint32_t (*ipc_msg_handler_fn)(ipc_msg_hdr *msg, uint32_t len);

/** Decides on a subscription to @p notify_id, on the receive thread.
 * @return non-zero to accept it */
typedef uint32_t (*ipc_reg_check_fn)(uint32_t notify_id);

/** @name Messages and addresses
 * @{ */

/** Allocates a message of @p type IPC_MSG_TYPE_...: 16 header bytes, or 8 for type 3, and @p body_len
 * bytes of body. Only the type word is set.
 * @return the message, which the caller frees with mem_free_ex(); NULL when out of memory */
LC_API void *ipc_memory_assign(uint32_t body_len, uint32_t type);

/** Stores a new session id in @p msg: 1 for the first of the process, then counting up, modulo 2^32. */
LC_API void ipc_gen_seesion_id(ipc_msg_hdr *msg);

/** Stores in @p addr the shared address of the module @p module_id, IPC_MODULE_..., for @p priority 0.
 * Modules 3 and 4 have only per-process addresses and cannot be reached this way.
 * @retval 0 done
 * @retval 1 priority is not 0, addr is NULL or module_id is not below 8; *addr is unchanged */
LC_API uint32_t ipc_get_addr_by_id(uint32_t module_id, uint32_t priority, ipc_addr *addr);

/** Search predicate of lc_list_find() for the @p waiter of a synchronous sender, by a response @p msg.
 * @return 0 when they have the same session id, else 8 */
LC_API uint32_t msg_id_match(const void *waiter, const void *msg);

/** Search predicate of lc_list_find() for the @p registration of the identifier at @p notify_id.
 * @return 0 when it is that of the identifier, else 8 */
LC_API uint32_t notify_id_match(const void *registration, const void *notify_id);

/** Gives the body of @p msg.
 * @return where it starts */
static inline void *ipc_msg_body(ipc_msg_hdr *msg)
{
    return (uint8_t *)msg + (msg->type == IPC_MSG_TYPE_SHORT ? 8u : sizeof(ipc_msg_hdr));
}

/** Gives the sender of @p msg, as a handler gets it or the queue gives it; no other buffer holds its
 * sender.
 * @return the sender's address, in that buffer */
static inline ipc_addr *ipc_msg_sender(ipc_msg_hdr *msg)
{
    const uint32_t size = (uint32_t)sizeof(ipc_msg_hdr) + msg->length;
    return (ipc_addr *)(void *)((uint8_t *)msg + ((size + 3u) & ~3u));
}

/** Calls ipc_msg_body() with @p msg, for languages that can only call exported functions.
 * @return where the body starts; NULL when msg is NULL */
LC_API void *ipc_msg_get_body(ipc_msg_hdr *msg);

/** Calls ipc_msg_sender() with @p msg, for languages that can only call exported functions.
 * @return the sender's address, in that buffer; NULL when msg is NULL */
LC_API ipc_addr *ipc_msg_get_sender(ipc_msg_hdr *msg);

/** @}
 * @name The endpoint
 * @param[in] dest_addr the receiver
 * @param[in] len       bytes of body
 * @{ */

/** Starts the endpoint of a module. A message that finds the queue full is dropped. Since old kernels
 * cannot make a socket close-on-exec, it becomes so right after: a program that another thread forks
 * and executes in between inherits it, and keeps the name bound while it runs.
 * @param[in] module_id   IPC_MODULE_...
 * @param[in] cb          queue for received messages; NULL queues none
 * @param[in] msg_handler gets received messages; NULL has every one queued, but for responses and the
 *                        requests of subscribers
 * @param[in] reg_check   decides on subscriptions; NULL accepts every one
 * @param[in] per_process non-zero binds a name of this process alone (modules 3 and 4 always do)
 * @retval 0  started, also when it was already: nothing changes then
 * @retval 1  bad module
 * @retval 11 no socket, name in use, no thread or out of memory */
LC_API uint32_t ipc_msg_init(uint32_t module_id, mq_cb cb, ipc_msg_handler_fn msg_handler,
                             ipc_reg_check_fn reg_check, uint32_t per_process);

/** Stops the endpoint: sends a stop message to its own socket, without the limit of
 * ipc_msg_set_send_limit(), joins the receive thread and frees everything but the queue of
 * ipc_msg_init(). If the message cannot be sent, such as when out of memory, the join waits without
 * end. */
LC_API void ipc_msg_fin(void);

/** Bounds how long every send of the process, the answers to registrations included, waits while the
 * receiver's socket is full. One that finds no room in that time fails with 10, and ETIMEDOUT in its
 * log line. A limit is kept to the millisecond, as far as the system wakes the thread in time; each
 * send is tried at least once, and a signal does not end its wait.
 *
 * With a limit the time-out of ipc_msg_send_syn() and ipc_register_notify() counts the sending too:
 * while there is no room, the call ends with 10 at the limit or with 7 at the time-out, whichever comes
 * first. A 7 can also mean, as without a limit, that the request was sent and not answered.
 *
 * Without a limit, a subscriber that stops reading blocks ipc_msg_notify(), and with it all
 * registrations at the publisher, for good. With one, each notification waits that long for each such
 * subscriber, which misses it and stays registered; registrations wait for the notification.
 *
 * May be called at any time, before ipc_msg_init() too; ipc_msg_fin() does not end the limit. A send
 * under way keeps the limit that it began with. Its wait takes a descriptor, or tries again every 10 ms
 * when none can be had.
 * @param[in] milliseconds the limit; 0, as at the start of the process, is none */
LC_API void ipc_msg_set_send_limit(uint32_t milliseconds);

/** Sends an asynchronous message or a response.
 * @param[in,out] buff the caller's header and len body bytes. Its type becomes 0 unless it is 2
 * @retval 0  sent
 * @retval 1  NULL argument
 * @retval 2  not started
 * @retval 4  the header's length is not len
 * @retval 10 socket error, such as no socket of that name, or no room (ipc_msg_set_send_limit()) */
LC_API uint32_t ipc_msg_send_asy(const ipc_addr *dest_addr, ipc_msg_hdr *buff, uint32_t len);

/** Sends a request and waits for the response that carries its session id. Never call it on the receive
 * thread.
 * @param[in,out] in_buff  the caller's header, with a new session id, and in_len body bytes. Its type
 *                         becomes 1
 * @param[in]     in_len   bytes of body
 * @param[in]     timeout  milliseconds, not 0, to the deadline of mkcondtimeout(), which is made when
 *                         the request has been sent; with a limit of ipc_msg_set_send_limit(), at once
 * @param[out]    out_buff at least *out_len + 16 bytes; receives header and body
 * @param[in,out] out_len  in: room for the body; out: bytes of body received
 * @retval 0  answered
 * @retval 1  an argument is NULL or timeout 0
 * @retval 2  not started
 * @retval 4  the header's length is not in_len
 * @retval 5  the response is longer than *out_len: its beginning is in out_buff, *out_len stays
 * @retval 7  timed out
 * @retval 10 as of ipc_msg_send_asy()
 * @retval 11 out of memory */
LC_API uint32_t ipc_msg_send_syn(const ipc_addr *dest_addr, ipc_msg_hdr *in_buff, uint32_t in_len,
                                 uint32_t timeout, void *out_buff, uint32_t *out_len);

/** @}
 * @name Notifications
 * @{ */

/** Subscribes this endpoint to the notification @p notify_id of the publisher @p dest_addr. It is
 * idempotent. Never call it on the receive thread. The subscription outlives the process, until
 * ipc_deregister_notify() or the publisher's end.
 * @param[in] timeout milliseconds to wait for the publisher's answer, as for ipc_msg_send_syn()
 * @retval 0  subscribed
 * @retval 4  the publisher could not read the request or sent an answer without a result
 * @retval 6  refused
 * @retval 11 out of memory, here or at the publisher
 * @return one of these or another code of ipc_msg_send_syn() */
LC_API uint32_t ipc_register_notify(const ipc_addr *dest_addr, uint32_t notify_id, uint32_t timeout);

/** Unsubscribes from the notification @p notify_id of the publisher @p dest_addr; there is no answer.
 * @return a code of ipc_msg_send_asy(), or 11 when out of memory */
LC_API uint32_t ipc_deregister_notify(const ipc_addr *dest_addr, uint32_t notify_id);

/** Sends a message to every subscriber of its msg_id, in the order of registration. Registrations wait
 * until all have been sent to.
 * @param[in,out] buff as for ipc_msg_send_asy()
 * @param[in]     len  bytes of body
 * @retval 0 whatever the single sends gave
 * @retval 1 buff is NULL
 * @retval 2 not started */
LC_API uint32_t ipc_msg_notify(ipc_msg_hdr *buff, uint32_t len);

/** @}
 * @name Diagnosis
 * @{ */

/** Reads one datagram of any kind from the endpoint's socket, waiting for it without end. The receive
 * thread reads the same socket: which of the two gets a datagram is a race.
 * @param[out]    out_buff at least *out_len + 16 bytes; receives header and body
 * @param[in,out] out_len  in: room for the body; out: bytes of body received
 * @param[out]    src_addr the sender, also with 4 and 5 and of an empty datagram; cleared on a socket
 *                         error, unchanged with 11
 * @retval 0  read
 * @retval 1  NULL argument
 * @retval 2  not started
 * @retval 4  the header's length is not that of the datagram, or that is above IPC_MSG_MAX_SIZE
 * @retval 5  the body is longer than *out_len: its beginning is in out_buff, *out_len stays
 * @retval 10 socket error or an empty datagram
 * @retval 11 out of memory */
LC_API uint32_t ipc_diag_msg_receive(void *out_buff, uint32_t *out_len, ipc_addr *src_addr);

/** Frees one registration @p record with its addresses; NULL is allowed.
 * @retval 0 always */
LC_API uint32_t reg_notify_node_destroy(void *record);

/** @} */

LC_END_DECLS

#endif
