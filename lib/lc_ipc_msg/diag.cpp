// Reading the endpoint's socket on the caller's thread instead of the receive thread, for diagnostic
// clients.

#include "lc_ipc_msg.h"

#include "lc_ipc_msg/receive.h"
#include "lc_ipc_msg/socket.h"
#include "lc_log/print.h"

#include <cstring>

using namespace lterouter;

uint32_t ipc_diag_msg_receive(void *out_buff, uint32_t *out_len, ipc_addr *src_addr)
{
    if (!g_endpoint.initialised) {
        return IPC_ERR_NOT_INIT;
    }
    LC_REQUIRE(out_buff, "out_buff", IPC_ERR_PARAM);
    LC_REQUIRE(out_len, "out_len", IPC_ERR_PARAM);
    LC_REQUIRE(src_addr, "src_addr", IPC_ERR_PARAM);
    Datagram datagram;
    const uint32_t result = read_datagram(&datagram);
    if (result == IPC_ERR_RESOURCE) {
        return result;
    }
    *src_addr = datagram.sender; // of the common priority
    if (result != IPC_SUCCESS) {
        return result;
    }
    const uint32_t body_len = datagram.bytes->length;
    if (body_len > *out_len) {
        memcpy(out_buff, datagram.bytes.get(), sizeof(ipc_msg_hdr) + *out_len);
        return IPC_ERR_TOO_SMALL;
    }
    memcpy(out_buff, datagram.bytes.get(), datagram.size);
    *out_len = body_len;
    return IPC_SUCCESS;
}
