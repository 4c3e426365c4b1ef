#include "lc_ipc_msg/receive.h"

#include "lc_ipc_msg/registry.h"
#include "lc_ipc_msg/socket.h"
#include "lc_ipc_msg/sync.h"
#include "lc_log/print.h"
#include "support/ignore.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/select.h>
#include <sys/socket.h>
#include <utility>

namespace lterouter {
namespace {

constexpr time_t kSelectSeconds = 10;

uint32_t padded(uint32_t size) { return (size + 3U) & ~3U; }

// A datagram shorter than a header never passes: size - sizeof(header) is not computed for it.
bool is_whole(const ipc_msg_hdr &header, size_t size)
{
    return size >= sizeof(header) && size <= IPC_MSG_MAX_SIZE && size - sizeof(header) == header.length;
}

// Whether the sender's name, in the abstract namespace, was bound shorter than sockaddr_un. The padded
// address then names another socket, or none: an answer could reach this endpoint as a request.
bool is_lookalike(const sockaddr_un &sender, socklen_t size)
{
    return size > offsetof(sockaddr_un, sun_path) && size < sizeof(sender) &&
           sender.sun_path[0] == '\0';
}

// Only the endpoint itself may send its stop message.
uint32_t handle_stop(const Datagram &datagram, uint32_t *running)
{
    if (datagram.bytes->length != 0 || !datagram.from_self) {
        return LC_FAIL(IPC_ERR_LENGTH, "Not invalid stop message!\n");
    }
    *running = 0;
    return IPC_SUCCESS;
}

// The buffer for handlers, queue and registry: datagram, padding, the sender's address record.
Received with_sender(const Datagram &datagram)
{
    const uint32_t size = padded(datagram.size);
    Received msg{
        static_cast<ipc_msg_hdr *>(mem::allocate(MEM_OWNER_IPC_SYNC, size + sizeof(datagram.sender)))};
    if (msg != nullptr) {
        auto *bytes = reinterpret_cast<uint8_t *>(msg.get());
        memset(bytes + size - 4, 0, 4); // padding is part of the last word
        memcpy(bytes, datagram.bytes.get(), datagram.size);
        memcpy(bytes + size, &datagram.sender, sizeof(datagram.sender));
    }
    return msg;
}

// A full queue drops the message: the receive thread must not wait for a consumer.
uint32_t enqueue(mq_cb cb, Received msg)
{
    const uint32_t result = ipc_mq_send(cb, msg.get(), 0, 0);
    if (result == IPC_SUCCESS) {
        ignore(msg.release(), "the queue has it");
    }
    return result;
}

uint32_t hand_to_module(const ReceiveArgs &args, Received msg, uint32_t wanted)
{
    if (args.cb == nullptr) {
        return IPC_SUCCESS;
    }
    if (args.msg_handler != nullptr) {
        if (wanted != 0) {
            enqueue(args.cb, std::move(msg));
        }
        return IPC_SUCCESS;
    }
    const uint32_t result = enqueue(args.cb, std::move(msg));
    if (result != IPC_SUCCESS) {
        return LC_FAIL(result, "Send to message queue failed!, sret=%ld.\n", static_cast<long>(result));
    }
    return IPC_SUCCESS;
}

uint32_t dispatch(const ReceiveArgs &args, const Datagram &datagram, Received msg)
{
    uint32_t wanted = 0;
    if (args.msg_handler != nullptr) {
        wanted = args.msg_handler(msg.get(),
                                  padded(datagram.size) - static_cast<uint32_t>(sizeof(ipc_msg_hdr)));
    }
    if (datagram.bytes->type == IPC_MSG_TYPE_RESPONSE) {
        msg.reset();
        return deliver_response(*datagram.bytes, datagram.size);
    }
    // A lookalike's request must not change the registration of the socket that its record names.
    if (datagram.bytes->msg_id == IPC_MSG_ID_REGISTER) {
        const uint32_t result =
            datagram.from_lookalike ? IPC_ERR_LENGTH : handle_register(msg.get(), args.reg_check);
        return result == IPC_SUCCESS ? result
                                     : LC_FAIL(result, "Handle register request failed!, sret=%lu.\n",
                                               static_cast<unsigned long>(result));
    }
    if (datagram.bytes->msg_id == IPC_MSG_ID_DEREGISTER) {
        const uint32_t result = datagram.from_lookalike ? IPC_ERR_LENGTH : handle_deregister(msg.get());
        return result == IPC_SUCCESS ? result
                                     : LC_FAIL(result, "Handle deregister request failed!, sret=%lu.\n",
                                               static_cast<unsigned long>(result));
    }
    return hand_to_module(args, std::move(msg), wanted);
}

} // namespace

uint32_t read_datagram(Datagram *datagram)
{
    datagram->bytes.reset(
        static_cast<ipc_msg_hdr *>(mem::allocate(MEM_OWNER_IPC_SYNC, IPC_MSG_MAX_SIZE)));
    if (datagram->bytes == nullptr) {
        return LC_FAIL(IPC_ERR_RESOURCE, "Assign memory failed!\n");
    }
    void *buffer = datagram->bytes.get();
    // The header is read also of a datagram that is shorter; no other byte beyond its end is. So only
    // the header is zeroed.
    memset(buffer, 0, sizeof(ipc_msg_hdr));
    sockaddr_un &sender = datagram->sender.sock;
    socklen_t sender_size = sizeof(sender);
    // MSG_TRUNC returns the size that was sent, so that a truncated datagram is recognised.
    const ssize_t size = recvfrom(g_endpoint.common.fd, buffer, IPC_MSG_MAX_SIZE, MSG_TRUNC,
                                  reinterpret_cast<sockaddr *>(&sender), &sender_size);
    if (size < 0) {
        return LC_FAIL(IPC_ERR_SOCKET, "Receive message failed! errno is %d.\n", errno);
    }
    if (size == 0) {
        return LC_FAIL(IPC_ERR_SOCKET, "Orderly shutdown occured!\n");
    }
    const ipc_msg_hdr &header = *datagram->bytes;
    if (!is_whole(header, static_cast<size_t>(size))) {
        return LC_FAIL(IPC_ERR_LENGTH,
                       "Message length mismatched! Received length is %d, but length in message header "
                       "is %lu\n",
                       static_cast<int>(std::min<ssize_t>(size, IPC_MSG_MAX_SIZE)),
                       static_cast<unsigned long>(header.length));
    }
    datagram->size = static_cast<uint32_t>(size);
    datagram->from_lookalike = is_lookalike(sender, sender_size);
    datagram->from_self = sender_size == sizeof(sender) && same_socket(sender, g_endpoint.common.sock);
    return IPC_SUCCESS;
}

uint32_t receive_message(const ReceiveArgs &args, uint32_t *running)
{
    LC_REQUIRE(running, "flag", IPC_ERR_PARAM);
    Datagram datagram;
    const uint32_t result = read_datagram(&datagram);
    if (result != IPC_SUCCESS) {
        return result;
    }
    if (datagram.bytes->msg_id == IPC_MSG_ID_STOP) {
        return handle_stop(datagram, running);
    }
    Received msg = with_sender(datagram);
    if (msg == nullptr) {
        return LC_FAIL(IPC_ERR_RESOURCE, "Assign memory failed!\n");
    }
    return dispatch(args, datagram, std::move(msg));
}

void *receive_thread(void *args)
{
    const ReceiveArgs own = *ReceiveArgsPtr(static_cast<ReceiveArgs *>(args));
    // As ipc_msg_init does: a handler may send before that has returned.
    g_endpoint.initialised = true;
    const int fd = g_endpoint.common.fd;
    uint32_t running = 1;
    while (running != 0) {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(fd, &readable);
        timeval timeout = {kSelectSeconds, 0};
        const int ready = select(fd + 1, &readable, nullptr, nullptr, &timeout);
        if (ready < 0) {
            LC_REPORT("Call select failed. errno is %d.\n", errno);
        } else if (ready > 0) {
            const uint32_t result = receive_message(own, &running);
            if (result != IPC_SUCCESS) {
                LC_REPORT("Receive common priority message failed! sret=%ld.\n",
                          static_cast<long>(result));
            }
        }
    }
    return nullptr;
}

} // namespace lterouter
