// Start and end of the endpoint: socket, receive thread, waiters, registry.

#include "lc_ipc_msg/receive.h"
#include "lc_ipc_msg/registry.h"
#include "lc_ipc_msg/socket.h"
#include "lc_ipc_msg/sync.h"
#include "lc_log/print.h"
#include "lc_pthread.h"
#include "support/fd.h"
#include "support/ignore.h"
#include "support/socket.h"

#include <cerrno>
#include <sys/select.h>
#include <sys/socket.h>

namespace lterouter {
namespace {

// Fails for a descriptor that select cannot watch. Close-on-exec, since a child that outlives this
// process would keep its name bound.
int open_watchable_socket()
{
    Fd fd{open_socket(AF_UNIX, SOCK_DGRAM, 0)};
    if (fd.get() >= FD_SETSIZE) {
        errno = EMFILE;
        return -1;
    }
    return fd.release();
}

uint32_t open_and_bind(uint32_t module_id, bool per_process)
{
    SocketRecord &record = g_endpoint.common;
    record = {};
    set_socket_name(record.sock, module_id, per_process ? static_cast<unsigned int>(getpid()) : 0);
    record.fd = open_watchable_socket();
    if (record.fd < 0) {
        return LC_FAIL(IPC_ERR_RESOURCE, "Create socket %s failed! errno is %d.\n", kCommonPriority,
                       errno);
    }
    const auto *address = reinterpret_cast<const sockaddr *>(&record.sock);
    if (bind(record.fd, address, sizeof(record.sock)) != 0) {
        return LC_FAIL(IPC_ERR_RESOURCE, "Bind socket %s failed! errno is %d.\n", kCommonPriority,
                       errno);
    }
    return IPC_SUCCESS;
}

void close_socket()
{
    const Fd closed{g_endpoint.common.fd};
    g_endpoint.common = {};
}

uint32_t start_receiver(const ReceiveArgs &args)
{
    ReceiveArgsPtr own = mem::make_copy<MEM_OWNER_IPC_SYNC>(args);
    int result = ENOMEM;
    if (own != nullptr) {
        result = lc_pthread_create(&g_endpoint.receiver, nullptr, receive_thread, own.get());
    }
    if (result != 0) {
        return LC_FAIL(IPC_ERR_RESOURCE, "Start message receiving thread failed! ret=%d.\n", result);
    }
    ignore(own.release(), "the thread has it");
    return IPC_SUCCESS;
}

uint32_t start(uint32_t module_id, bool per_process, const ReceiveArgs &args)
{
    if (open_and_bind(module_id, per_process) == IPC_SUCCESS && start_receiver(args) == IPC_SUCCESS) {
        return IPC_SUCCESS;
    }
    close_socket();
    return IPC_ERR_RESOURCE;
}

// The address record of this endpoint.
ipc_addr own_address()
{
    ipc_addr self = {};
    self.priority = IPC_PRIORITY_COMMON;
    self.sock = g_endpoint.common.sock;
    return self;
}

} // namespace
} // namespace lterouter

using namespace lterouter;

uint32_t ipc_msg_init(uint32_t module_id, mq_cb cb, ipc_msg_handler_fn msg_handler,
                      ipc_reg_check_fn reg_check, uint32_t per_process)
{
    if (g_endpoint.initialised) {
        return IPC_SUCCESS;
    }
    if (module_id >= IPC_MODULE_COUNT) {
        return LC_FAIL(IPC_ERR_PARAM, "Para module_id invalid! module_id=&lu.\n");
    }
    const bool client = module_id == IPC_MODULE_CLI1 || module_id == IPC_MODULE_CLI2;
    if (!create_waiters() || !create_registry() ||
        start(module_id, client || per_process != 0, {cb, msg_handler, reg_check}) != IPC_SUCCESS) {
        destroy_registry();
        destroy_waiters();
        return IPC_ERR_RESOURCE;
    }
    g_endpoint.initialised = true;
    return IPC_SUCCESS;
}

void ipc_msg_fin()
{
    if (!g_endpoint.initialised) {
        return;
    }
    // The join waits until the thread has received the stop message. So that is sent without a limit:
    // if it were given up, the join would never end; like this it ends when there is room again.
    const Message stop = make_message<MEM_OWNER_IPC>(IPC_MSG_ID_STOP, 0);
    if (stop != nullptr) {
        send_datagram(own_address(), *stop, 0);
    }
    lc_pthread_join(g_endpoint.receiver, nullptr);
    close_socket();
    destroy_registry();
    destroy_waiters();
    g_endpoint.initialised = false;
}
