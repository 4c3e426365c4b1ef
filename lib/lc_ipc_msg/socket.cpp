#include "lc_ipc_msg/socket.h"

#include "lc_log/print.h"

#include <cerrno>
#include <sys/socket.h>

namespace lterouter {

Endpoint g_endpoint{};

uint32_t send_datagram(const ipc_addr &to, const ipc_msg_hdr &msg, uint32_t body_len)
{
    // Only the common priority has a socket: through any other the kernel refuses.
    const int fd = to.priority == IPC_PRIORITY_COMMON ? g_endpoint.common.fd : -1;
    const auto *address = reinterpret_cast<const sockaddr *>(&to.sock);
    if (sendto(fd, &msg, sizeof(msg) + body_len, 0, address, sizeof(to.sock)) < 0) {
        return LC_FAIL(IPC_ERR_SOCKET, "Send failed! errno is %d.\n", errno);
    }
    return IPC_SUCCESS;
}

} // namespace lterouter

using namespace lterouter;

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
    return send_datagram(*dest_addr, *buff, len);
}
