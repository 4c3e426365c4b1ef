#include "lc_ipc_msg/socket.h"

#include "lc_log/print.h"

#include <cerrno>
#include <sys/socket.h>

namespace lterouter {

Endpoint g_endpoint{};

namespace {

// Beside the endpoint, since it is there before that starts and outlives it.
std::atomic<uint32_t> g_send_limit{0};

ssize_t send_bytes(int fd, const void *bytes, size_t size, const sockaddr_un &to, SendBound bound)
{
    return bound.limit == 0
               ? sendto(fd, bytes, size, 0, reinterpret_cast<const sockaddr *>(&to), sizeof(to))
               : send_within(bound, fd, bytes, size, to);
}

} // namespace

uint32_t send_limit() { return g_send_limit.load(std::memory_order_relaxed); }

uint32_t send_datagram(const ipc_addr &to, const ipc_msg_hdr &msg, uint32_t body_len, SendBound bound)
{
    // Only the common priority has a socket: through any other the kernel refuses.
    const int fd = to.priority == IPC_PRIORITY_COMMON ? g_endpoint.common.fd : -1;
    if (send_bytes(fd, &msg, sizeof(msg) + body_len, to.sock, bound) >= 0) {
        return IPC_SUCCESS;
    }
    const int error = errno;
    const bool late = error == ETIMEDOUT && bound.deadline != nullptr && has_passed(*bound.deadline);
    return LC_FAIL(late ? IPC_ERR_TIMEOUT : IPC_ERR_SOCKET, "Send failed! errno is %d.\n", error);
}

} // namespace lterouter

using namespace lterouter;

void ipc_msg_set_send_limit(uint32_t milliseconds)
{
    g_send_limit.store(milliseconds, std::memory_order_relaxed);
}

uint32_t ipc_msg_send_asy(const ipc_addr *dest_addr, ipc_msg_hdr *buff, uint32_t len)
{
    if (!g_endpoint.initialised) {
        return IPC_ERR_NOT_INIT;
    }
    if (dest_addr == nullptr) {
        return LC_FAIL(IPC_ERR_PARAM, "Para check failed! Para dest_addr is NULL.\n");
    }
    if (buff == nullptr) {
        return LC_FAIL(IPC_ERR_PARAM, "Para check failed! Para buff is NULL.\n");
    }
    if (buff->length != len) {
        return LC_FAIL(IPC_ERR_LENGTH,
                       "Message length mismatched! Given length is %d, but length in message header is "
                       "%lu\n",
                       static_cast<int>(len), static_cast<unsigned long>(buff->length));
    }
    if (buff->type != IPC_MSG_TYPE_RESPONSE) {
        buff->type = IPC_MSG_TYPE_ASYNC;
    }
    return send_datagram(*dest_addr, *buff, len, {send_limit()});
}
