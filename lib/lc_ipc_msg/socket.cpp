#include "lc_ipc_msg/socket.h"

#include "lc_log/print.h"

#include <cerrno>
#include <sys/socket.h>

namespace lterouter {
namespace {

// Only the common priority has a socket; with -1 the kernel fails with EBADF.
int socket_to(const ipc_addr &to)
{
    return to.priority == IPC_PRIORITY_COMMON ? g_endpoint.common.fd : -1;
}

uint32_t tell_failure(uint32_t result, int error)
{
    return LC_FAIL(result, "Send failed! errno is %d.\n", error);
}

} // namespace

Endpoint g_endpoint{};

uint32_t send_datagram(const ipc_addr &to, const ipc_msg_hdr &msg, uint32_t body_len)
{
    const auto *address = reinterpret_cast<const sockaddr *>(&to.sock);
    if (sendto(socket_to(to), &msg, sizeof(msg) + body_len, 0, address, sizeof(to.sock)) < 0) {
        return tell_failure(IPC_ERR_SOCKET, errno);
    }
    return IPC_SUCCESS;
}

uint32_t send_datagram_within(SendBound bound, const ipc_addr &to, const ipc_msg_hdr &msg,
                              uint32_t body_len)
{
    if (send_within(bound, socket_to(to), &msg, sizeof(msg) + body_len, to.sock) >= 0) {
        return IPC_SUCCESS;
    }
    const int error = errno;
    const bool late = error == ETIMEDOUT && bound.deadline != nullptr && has_passed(*bound.deadline);
    return tell_failure(late ? IPC_ERR_TIMEOUT : IPC_ERR_SOCKET, error);
}

uint32_t send_asynchronous(const ipc_addr &to, ipc_msg_hdr &msg, uint32_t len)
{
    if (msg.length != len) {
        return LC_FAIL(IPC_ERR_LENGTH,
                       "Message length mismatched! Given length is %d, but length in message header is "
                       "%lu\n",
                       static_cast<int>(len), static_cast<unsigned long>(msg.length));
    }
    if (msg.type != IPC_MSG_TYPE_RESPONSE) {
        msg.type = IPC_MSG_TYPE_ASYNC;
    }
    const uint32_t limit = g_send_limit.load(std::memory_order_relaxed);
    return limit == 0 ? send_datagram(to, msg, len) : send_datagram_within({limit}, to, msg, len);
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
    LC_REQUIRE(dest_addr, "dest_addr", IPC_ERR_PARAM);
    LC_REQUIRE(buff, "buff", IPC_ERR_PARAM);
    return send_asynchronous(*dest_addr, *buff, len);
}
