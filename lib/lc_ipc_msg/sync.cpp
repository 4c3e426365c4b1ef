// The sender never holds both locks: it lists its waiter under the list mutex, releases that, and holds
// the waiter's own lock from before sendto until it waits on the condition, so that no response can be
// signalled before there is a waiter. The receive thread takes the list mutex, then the waiter's lock,
// to deliver, and signals with the list mutex alone.

#include "lc_ipc_msg/sync.h"

#include "lc_ipc_msg/socket.h"
#include "lc_list/owned.h"
#include "lc_log/print.h"
#include "lc_pthread/mutex.h"

#include <cstring>

namespace lterouter {
namespace {

Mutex g_waiters_mutex;

} // namespace

extern "C" {
lc_list *g_sync_waitor_list GUARDED_BY(g_waiters_mutex) = nullptr;
}

namespace {

struct sync_waitor {
    uint32_t session_id; // first: msg_id_match compares it
    Mutex lock ACQUIRED_AFTER(g_waiters_mutex);
    Condition done;
    void *out_buff PT_GUARDED_BY(lock);
    uint32_t capacity; // of out_buff, header included
    // Size of the response, 0 until it arrives. Written under both locks, read under either.
    uint32_t received GUARDED_BY(lock);
};
static_assert(offsetof(sync_waitor, session_id) == 0);

// Lock and condition are not destroyed with the record: with default attributes they own no resource,
// and once the waiter is unlinked no other thread can use them.
using Waiter = OwnedEntry<sync_waitor, MEM_OWNER_IPC_SYNC>;

// Lists a waiter; incomplete on failure.
Waiter list_waiter(uint32_t session_id, void *out_buff, uint32_t out_len) EXCLUDES(g_waiters_mutex)
{
    const MutexLock guard(g_waiters_mutex);
    Waiter waiter = Waiter::with_record_first();
    if (!waiter.is_complete()) {
        return LC_FAIL(Waiter(), "Assign memory failed!\n");
    }
    waiter.record->session_id = session_id;
    waiter.record->out_buff = out_buff;
    waiter.record->capacity = out_len + static_cast<uint32_t>(sizeof(ipc_msg_hdr));
    const uint32_t result = lc_list_add_at_tail(g_sync_waitor_list, waiter.node.get());
    if (result != LC_LIST_SUCCESS) {
        return LC_FAIL(Waiter(), "Add to list g_sync_waitor_list.list_head failed! sret=%ld\n",
                       static_cast<long>(result));
    }
    return waiter;
}

// Sends the request and stores the deadline of the response.
uint32_t send_request(const ipc_addr &to, const ipc_msg_hdr &request, uint32_t in_len, uint32_t timeout,
                      timespec *deadline)
{
    if (const uint32_t limit = g_send_limit.load(std::memory_order_relaxed); limit != 0) {
        mkcondtimeout(deadline, timeout);
        return send_datagram_within({limit, deadline}, to, request, in_len);
    }
    // Without a limit the time-out counts from when the request has been sent.
    const uint32_t sent = send_datagram(to, request, in_len);
    mkcondtimeout(deadline, timeout);
    return sent;
}

// Sends the request and waits until the response or the deadline.
uint32_t exchange(sync_waitor &waiter, const ipc_addr &to, const ipc_msg_hdr &request, uint32_t in_len,
                  uint32_t timeout) EXCLUDES(g_waiters_mutex)
{
    const MutexLock guard(waiter.lock);
    timespec deadline;
    if (const uint32_t sent = send_request(to, request, in_len, timeout, &deadline);
        sent != IPC_SUCCESS) {
        return sent;
    }
    while (waiter.received == 0) {
        // A timed wait can only fail with ETIMEDOUT here.
        if (waiter.done.wait_until(waiter.lock, deadline) != 0) {
            return IPC_ERR_TIMEOUT;
        }
    }
    return IPC_SUCCESS;
}

uint32_t judge(const sync_waitor &waiter, uint32_t exchanged, uint32_t *out_len)
    REQUIRES(g_waiters_mutex) NO_THREAD_SAFETY_ANALYSIS
{
    if (exchanged == IPC_ERR_TIMEOUT) {
        return LC_FAIL(IPC_ERR_TIMEOUT, "Sending sync message timeout occured!\n");
    }
    if (exchanged != IPC_SUCCESS) {
        return exchanged;
    }
    if (waiter.received > waiter.capacity) {
        return LC_FAIL(IPC_ERR_TOO_SMALL, "Response message is greater than out buffer!\n");
    }
    *out_len = waiter.received - static_cast<uint32_t>(sizeof(ipc_msg_hdr));
    return IPC_SUCCESS;
}

} // namespace

// Called before the receive thread starts and after it has ended: no lock.
bool create_waiters() NO_THREAD_SAFETY_ANALYSIS
{
    g_sync_waitor_list = lc_list_create();
    return g_sync_waitor_list != nullptr || LC_FAIL(false, "Create list failed!\n");
}

void destroy_waiters() NO_THREAD_SAFETY_ANALYSIS
{
    lc_list_destroy(g_sync_waitor_list, nullptr);
    g_sync_waitor_list = nullptr;
}

uint32_t deliver_response(const ipc_msg_hdr &response, uint32_t size)
{
    const MutexLock list_guard(g_waiters_mutex);
    const lc_list_node *node = lc_list_find(g_sync_waitor_list, msg_id_match, &response);
    if (node == nullptr) {
        return IPC_ERR_LENGTH;
    }
    auto &waiter = *static_cast<sync_waitor *>(node->data);
    {
        const MutexLock guard(waiter.lock);
        memcpy(waiter.out_buff, &response, size < waiter.capacity ? size : waiter.capacity);
        waiter.received = size;
    }
    // Signalled after the waiter's lock is released, so that the woken sender does not block on it at
    // once. The list mutex is still held: the sender needs it before it can free the waiter.
    waiter.done.signal();
    return IPC_SUCCESS;
}

} // namespace lterouter

using namespace lterouter;

uint32_t ipc_msg_send_syn(const ipc_addr *dest_addr, ipc_msg_hdr *in_buff, uint32_t in_len,
                          uint32_t timeout, void *out_buff, uint32_t *out_len)
{
    if (!g_endpoint.initialised) {
        return IPC_ERR_NOT_INIT;
    }
    LC_REQUIRE(dest_addr, "dest_addr", IPC_ERR_PARAM);
    LC_REQUIRE(in_buff, "in_buff", IPC_ERR_PARAM);
    if (timeout == 0) {
        return LC_FAIL(IPC_ERR_PARAM, "Para check failed! Para timeout is 0.\n");
    }
    LC_REQUIRE(out_buff, "out_buff", IPC_ERR_PARAM);
    LC_REQUIRE(out_len, "out_len", IPC_ERR_PARAM);
    if (in_buff->length != in_len) {
        return LC_FAIL(IPC_ERR_LENGTH,
                       "Message length mismatched! Given length is %d, but length in message header is "
                       "%lu\n",
                       static_cast<int>(in_len), static_cast<unsigned long>(in_buff->length));
    }
    in_buff->type = IPC_MSG_TYPE_REQUEST;

    const Waiter waiter = list_waiter(in_buff->session_id, out_buff, *out_len);
    if (!waiter.is_complete()) {
        return IPC_ERR_RESOURCE;
    }
    const uint32_t exchanged = exchange(*waiter.record, *dest_addr, *in_buff, in_len, timeout);

    const MutexLock guard(g_waiters_mutex);
    lc_list_del_node(g_sync_waitor_list, waiter.node.get());
    return judge(*waiter.record, exchanged, out_len);
}
