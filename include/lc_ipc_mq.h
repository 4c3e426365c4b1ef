/* lc_ipc_mq: bounded, blocking queues of message buffers between the threads of one process.
 *
 * A producer hands a buffer over with ipc_mq_send; a consumer takes it with ipc_mq_recv and frees it
 * with mem_free_ex. Call ipc_mq_init first. At most 64 queues per process.
 *
 * Threads: every function but ipc_mq_init, ipc_mq_destroy and mq_mgt_node_destroy may be called from
 * any thread; any number of producers and consumers may share a queue. The two destroying calls must
 * find no one using what they destroy. A thread must not be cancelled inside a call.
 *
 * A waiting call wakes at most once: after the wake-up a sender queues its buffer even if the queue
 * has filled again, and a receiver that finds the queue emptied by another gets 11. A wake-up is given
 * only when a queue stops being empty or stops being full. */
#ifndef LC_IPC_MQ_H
#define LC_IPC_MQ_H

#include "lc_api.h"
#include "lc_list.h"

#include <stdint.h>
#include <time.h>

LC_BEGIN_DECLS

struct timespec; /* strict C99 leaves it out of time.h */

/* Result codes of the messaging families (ipc_mq_ and ipc_msg_). */
#define IPC_SUCCESS 0u
#define IPC_ERR_PARAM 1u     /* parameter check failed */
#define IPC_ERR_NOT_INIT 2u  /* not initialised */
#define IPC_ERR_LENGTH 4u    /* length mismatch or unexpected message */
#define IPC_ERR_TOO_SMALL 5u /* the caller's buffer or array is too small */
#define IPC_ERR_REFUSED 6u   /* registration refused by the publisher */
#define IPC_ERR_TIMEOUT 7u   /* timed out */
#define IPC_ERR_FULL 8u      /* queue full and the caller would not wait */
#define IPC_ERR_EMPTY 9u     /* queue empty and the caller would not wait */
#define IPC_ERR_SOCKET 10u   /* socket error */
#define IPC_ERR_RESOURCE 11u /* out of memory, list failure, or a limit reached */

/* What every message begins with; `length` body bytes follow. Host byte order. */
typedef struct ipc_msg_hdr {
    uint32_t type;       /* IPC_MSG_TYPE_... */
    uint32_t msg_id;     /* 1, 2 and 3 are reserved by the messaging layer */
    uint32_t length;     /* body bytes */
    uint32_t session_id; /* ties a response to its request; set by ipc_gen_seesion_id */
} ipc_msg_hdr;

#define IPC_MSG_TYPE_ASYNC 0u    /* no reply expected */
#define IPC_MSG_TYPE_REQUEST 1u  /* synchronous request */
#define IPC_MSG_TYPE_RESPONSE 2u /* response to a synchronous request */
#define IPC_MSG_TYPE_SHORT 3u    /* 8-byte header, body at offset 8 */

/* Handle of a queue, opaque to its users. */
typedef lc_list_node *mq_cb;

/* Usage of one queue, in messages. */
typedef struct ipc_mq_usg {
    uint32_t capacity;
    uint32_t high_count;
    uint32_t normal_count;
} ipc_mq_usg;

/* Starts the family. Once, before any other call; later calls do nothing. */
LC_API void ipc_mq_init(void);

/* Creates a queue for `capacity` messages (0 means 256) and stores its handle in *cb. The queue lives
 * until ipc_mq_destroy.
 * Returns 0, 1 cb is NULL, 2 not initialised, 11 out of memory or 64 queues exist. */
LC_API uint32_t ipc_mq_create(uint32_t capacity, mq_cb *cb);

/* Queues the buffer msg_hdr, which belongs to the queue on success and to the caller otherwise.
 * priority: 0. timeout: milliseconds; 0 does not wait for room, -1 waits without limit; the deadline
 * is cut to a whole second before the fraction of timeout is added, so it can fall up to 1 s early.
 * Returns 0, 1 bad argument, 7 timed out, 8 full and timeout 0, 11 out of memory. */
LC_API uint32_t ipc_mq_send(mq_cb cb, ipc_msg_hdr *msg_hdr, uint32_t priority, int32_t timeout);

/* Takes the oldest buffer and stores it in *msg_hdr; it belongs to the caller, who frees it with
 * mem_free_ex. timeout as above. Returns 0, 1 bad argument, 7 timed out, 9 empty and timeout 0,
 * 11 woken but another consumer was faster. */
LC_API uint32_t ipc_mq_recv(mq_cb cb, ipc_msg_hdr **msg_hdr, int32_t timeout);

/* Removes and frees every queued message with identifier msg_id. Returns 0 (also when there is none),
 * 1 cb is NULL, 11 list failure. */
LC_API uint32_t ipc_mq_remove(mq_cb cb, uint32_t msg_id);

/* Fills usg_stat with one entry per queue, newest queue first. num: in, entries of room; out, entries
 * written. Returns 0, 1 bad argument, 2 not initialised, 5 more queues than room (the entries that
 * fit are written, *num stays). */
LC_API uint32_t ipc_mq_usg_state(ipc_mq_usg *usg_stat, uint32_t *num);

/* Destroys every queue and frees what is queued. Queues can be created again afterwards. */
LC_API void ipc_mq_destroy(void);

/* Destroys one queue record (the data of a queue's node) and what it holds. Always 0; NULL is allowed.
 * It leaves the record's node in place: for the tear-down of a whole list of queues. */
LC_API uint32_t mq_mgt_node_destroy(void *record);

/* Fills *abstime with the wall-clock deadline of a wait of timeout_ms: whole seconds of now, plus
 * timeout_ms. The fraction of the current second is dropped on purpose, so a deadline falls up to one
 * second early; the router's modules are tuned to it. */
LC_API void mkcondtimeout(struct timespec *abstime, uint32_t timeout_ms);

LC_END_DECLS

#endif
