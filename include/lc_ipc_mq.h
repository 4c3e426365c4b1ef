/** @file
 * Bounded, blocking queues of message buffers between the threads of one process, at most 64 queues.
 *
 * A waiting call waits once: after the wake-up a sender queues its buffer even if the queue has filled
 * again, and a receiver that finds the queue emptied by another gets 11. One waiter is woken, and only
 * when a queue stops being empty or stops being full. An event loop watches ipc_mq_get_fd() instead.
 *
 * @par Threads
 * Every function but ipc_mq_init(), ipc_mq_destroy() and mq_mgt_node_destroy() may be called from any
 * thread; any number of producers and consumers may share a queue. The two destroying calls must not
 * run while another thread uses what they destroy. A thread must not be cancelled inside a call.
 *
 * @par Example
 * Hands a message over and takes one; a wait that ends without a message is begun anew.
 * @code
 * #include <lc_ipc_mq.h>
 * #include <lc_mem.h>
 *
 * void hand_over(mq_cb queue, ipc_msg_hdr *message)
 * {
 *     if (ipc_mq_send(queue, message, 0, 0) != IPC_SUCCESS)
 *         mem_free_ex(0, __LINE__, MEM_OWNER_IPC, message);
 * }
 *
 * ipc_msg_hdr *take(mq_cb queue)
 * {
 *     ipc_msg_hdr *message;
 *     while (ipc_mq_recv(queue, &message, -1) != IPC_SUCCESS)
 *         continue;
 *     return message;
 * }
 * @endcode */
#ifndef LC_IPC_MQ_H
#define LC_IPC_MQ_H

#include "lc_api.h"
#include "lc_list.h"

#include <stdint.h>
#include <time.h>

LC_BEGIN_DECLS

struct timespec; /* strict C99 leaves it out of time.h */

/** @name Result codes of the messaging families (ipc_mq_ and ipc_msg_)
 * @{ */
#define IPC_SUCCESS 0u       /**< done */
#define IPC_ERR_PARAM 1u     /**< parameter check failed */
#define IPC_ERR_NOT_INIT 2u  /**< not initialised */
#define IPC_ERR_LENGTH 4u    /**< length mismatch or unexpected message */
#define IPC_ERR_TOO_SMALL 5u /**< the caller's buffer or array is too small */
#define IPC_ERR_REFUSED 6u   /**< registration refused by the publisher */
#define IPC_ERR_TIMEOUT 7u   /**< timed out */
#define IPC_ERR_FULL 8u      /**< queue full and the caller would not wait */
#define IPC_ERR_EMPTY 9u     /**< queue empty and the caller would not wait */
#define IPC_ERR_SOCKET 10u   /**< socket error */
#define IPC_ERR_RESOURCE 11u /**< out of memory, list failure, or a limit reached */
/** @}
 * @name Limits of queues
 * @{ */
#define IPC_MQ_MAX_QUEUES 64u        /**< queues of a process */
#define IPC_MQ_DEFAULT_CAPACITY 256u /**< messages of a queue that is made with capacity 0 */
/** @} */

/** What every message begins with; its body follows. Host byte order. */
typedef struct ipc_msg_hdr {
    uint32_t type;       /**< IPC_MSG_TYPE_... */
    uint32_t msg_id;     /**< 1, 2 and 3 are reserved by the messaging layer */
    uint32_t length;     /**< body bytes */
    uint32_t session_id; /**< ties a response to its request; set by ipc_gen_seesion_id() */
} ipc_msg_hdr;

/** @name Types of messages
 * @{ */
#define IPC_MSG_TYPE_ASYNC 0u    /**< no reply expected */
#define IPC_MSG_TYPE_REQUEST 1u  /**< synchronous request */
#define IPC_MSG_TYPE_RESPONSE 2u /**< response to a synchronous request */
#define IPC_MSG_TYPE_SHORT 3u    /**< 8-byte header, body at offset 8; endpoints do not send it */
/** @} */

/** Handle of a queue, opaque to its users. */
typedef lc_list_node *mq_cb;

/** Usage of one queue, in messages. */
typedef struct ipc_mq_usg {
    uint32_t capacity;     /**< the queue's room */
    uint32_t high_count;   /**< queued with high priority */
    uint32_t normal_count; /**< queued with ordinary priority */
} ipc_mq_usg;

/** Starts the family, before any other call; later calls do nothing. */
LC_API void ipc_mq_init(void);

/** Creates a queue, which lives until ipc_mq_destroy().
 * @param[in]  capacity its room in messages; 0 means 256
 * @param[out] cb       its handle
 * @retval 0  created
 * @retval 1  cb is NULL
 * @retval 2  not initialised
 * @retval 11 out of memory, or 64 queues exist */
LC_API uint32_t ipc_mq_create(uint32_t capacity, mq_cb *cb);

/** Queues the buffer @p msg_hdr in @p cb, to which its ownership moves on success. It is of
 * ipc_memory_assign() or mem_malloc_ex(), since what is left in a queue is freed with mem_free_ex().
 * @param[in] priority 0
 * @param[in] timeout  milliseconds to wait for room, to the deadline of mkcondtimeout(); 0 does not
 *                     wait, -1 waits without limit
 * @retval 0  queued
 * @retval 1  an argument is NULL, priority not 0 or timeout below -1
 * @retval 7  timed out
 * @retval 8  full and timeout 0
 * @retval 11 out of memory */
LC_API uint32_t ipc_mq_send(mq_cb cb, ipc_msg_hdr *msg_hdr, uint32_t priority, int32_t timeout);

/** Takes the oldest buffer of @p cb.
 * @param[out] msg_hdr the buffer; its ownership moves to the caller, who frees it with mem_free_ex().
 *                     Unchanged on failure
 * @param[in]  timeout to wait for a buffer, as ipc_mq_send() waits for room
 * @retval 0  taken
 * @retval 1  an argument is NULL or timeout below -1
 * @retval 7  timed out
 * @retval 9  empty and timeout 0
 * @retval 11 woken, but there is none: another consumer was faster, or the wake-up was spurious */
LC_API uint32_t ipc_mq_recv(mq_cb cb, ipc_msg_hdr **msg_hdr, int32_t timeout);

/** Removes and frees every message of the identifier @p msg_id that is queued in @p cb.
 * @retval 0  done, also when there was none
 * @retval 1  cb is NULL
 * @retval 11 list failure */
LC_API uint32_t ipc_mq_remove(mq_cb cb, uint32_t msg_id);

/** Gives a descriptor for an event loop (poll, select, epoll and what is built on them): it is readable
 * exactly while @p cb holds a message. The first call for a queue makes a pipe with both ends
 * non-blocking and close-on-exec; later calls give the same descriptor. A program that another thread
 * forks and executes while the pipe is made may inherit it.
 *
 * Only watch it: never read, write or close it, and remove it from the loop before ipc_mq_destroy(),
 * which closes it. When it is readable, take messages with ipc_mq_recv() and a timeout of 0, as many as
 * you like: 9 means that there are no more, or that another thread was faster. A forked child shares
 * the pipe with its parent and must not use the queue: the parent's descriptor would be wrong.
 * @return the descriptor; -1 with errno set when cb is NULL (EINVAL) or it cannot be made (EMFILE,
 *         ENFILE) */
LC_API int ipc_mq_get_fd(mq_cb cb);

/** Tells the usage of every queue, newest queue first.
 * @param[out]    usg_stat one entry per queue
 * @param[in,out] num      in: entries of room; out: entries written
 * @retval 0 done
 * @retval 1 an argument is NULL
 * @retval 2 not initialised
 * @retval 5 more queues than room: the entries that fit are written, *num stays */
LC_API uint32_t ipc_mq_usg_state(ipc_mq_usg *usg_stat, uint32_t *num);

/** Destroys every queue and frees what is queued; the handles and descriptors are no longer valid.
 * Queues can be created again afterwards. */
LC_API void ipc_mq_destroy(void);

/** Destroys one queue record and what it holds. It leaves the record's node in place: for the tear-down
 * of a whole list of queues.
 * @param[in] record the data of a queue's node; NULL is allowed
 * @retval 0 always */
LC_API uint32_t mq_mgt_node_destroy(void *record);

/** Stores in @p abstime the wall-clock deadline of a wait of @p timeout_ms milliseconds: whole seconds
 * of now, plus the wait. The fraction of the current second is dropped on purpose, so a deadline falls
 * up to one second early; the router's modules are tuned to it. Every time-out of the messaging
 * families ends at such a deadline. */
LC_API void mkcondtimeout(struct timespec *abstime, uint32_t timeout_ms);

LC_END_DECLS

#endif
