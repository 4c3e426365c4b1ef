#include "lc_ipc_msg/registry.h"

#include "lc_ipc_msg/socket.h"
#include "lc_list/owned.h"
#include "lc_log/print.h"
#include "lc_pthread/mutex.h"
#include "support/hand_on.h"
#include "support/ignore.h"
#include "support/layout.h"

#include <cstring>

namespace lterouter {
namespace {

// Held while a notification is sent to its subscribers.
Mutex g_registry_mutex;

} // namespace

extern "C" {
// Registrations in the order of their first subscriber. One stays when its last subscriber leaves.
lc_list *g_reg_notify_list GUARDED_BY(g_registry_mutex) = nullptr;
}

namespace {

constexpr uint32_t kWordSize = sizeof(uint32_t);

struct reg_notify {
    uint32_t notify_id;                              // first: notify_id_match compares it
    lc_list *addr_list GUARDED_BY(g_registry_mutex); // an ipc_addr each, in order of registration
};
static_assert(offsetof(reg_notify, notify_id) == 0);
static_assert(on_32_bits(sizeof(reg_notify) == 8 && offsetof(reg_notify, addr_list) == 4));

template <typename T> using Entry = OwnedEntry<T, MEM_OWNER_IPC_SYNC>;

reg_notify *find_registration(uint32_t notify_id) REQUIRES(g_registry_mutex)
{
    const lc_list_node *node = lc_list_find(g_reg_notify_list, notify_id_match, &notify_id);
    return node == nullptr ? nullptr : static_cast<reg_notify *>(node->data);
}

uint32_t is_other_socket(const void *address, const void *sock)
{
    return same_socket(static_cast<const ipc_addr *>(address)->sock,
                       *static_cast<const sockaddr_un *>(sock))
               ? 0
               : 1;
}

lc_list_node *find_subscriber(const reg_notify &registration, const sockaddr_un &sock)
    REQUIRES(g_registry_mutex)
{
    return lc_list_find(registration.addr_list, is_other_socket, &sock);
}

uint32_t add_subscriber(lc_list *addr_list, const ipc_addr &subscriber) REQUIRES(g_registry_mutex)
{
    auto entry = Entry<ipc_addr>::with_node_first();
    if (!entry.is_complete()) {
        return LC_FAIL(IPC_ERR_RESOURCE, "Assign memory failed!\n");
    }
    *entry.record = subscriber;
    const uint32_t result = entry.give(lc_list_add_at_tail, addr_list);
    if (result != LC_LIST_SUCCESS) {
        return LC_FAIL(IPC_ERR_RESOURCE, "Add to list mgt->mq_head failed! sret=%ld\n",
                       static_cast<long>(result));
    }
    return IPC_SUCCESS;
}

// The last step lists it, so that a failure leaves the registry unchanged.
uint32_t add_registration(uint32_t notify_id, const ipc_addr &subscriber) REQUIRES(g_registry_mutex)
{
    auto entry = Entry<reg_notify>::with_node_first();
    if (!entry.is_complete()) {
        return LC_FAIL(IPC_ERR_RESOURCE, "Assign memory failed!\n");
    }
    OwnedList addr_list{lc_list_create()};
    if (addr_list == nullptr) {
        return LC_FAIL(IPC_ERR_RESOURCE, "Create list failed!\n");
    }
    if (add_subscriber(addr_list.get(), subscriber) != IPC_SUCCESS) {
        return IPC_ERR_RESOURCE;
    }
    *entry.record = {notify_id, addr_list.get()};
    const uint32_t result = entry.give(lc_list_add_at_tail, g_reg_notify_list);
    if (result != LC_LIST_SUCCESS) {
        return LC_FAIL(IPC_ERR_RESOURCE, "Add to list g_reg_notify_list.list_head failed! sret=%ld\n",
                       static_cast<long>(result));
    }
    ignore(addr_list.release(), "the registration has it");
    return IPC_SUCCESS;
}

uint32_t subscribe(uint32_t notify_id, const ipc_addr &subscriber) EXCLUDES(g_registry_mutex)
{
    const MutexLock guard(g_registry_mutex);
    const reg_notify *registration = find_registration(notify_id);
    if (registration == nullptr) {
        return add_registration(notify_id, subscriber);
    }
    if (find_subscriber(*registration, subscriber.sock) != nullptr) {
        return IPC_SUCCESS;
    }
    return add_subscriber(registration->addr_list, subscriber);
}

uint32_t register_sender(ipc_msg_hdr &request, ipc_reg_check_fn reg_check)
{
    if (request.length != kWordSize) {
        return LC_FAIL(IPC_ERR_LENGTH, "Not invalid register message!\n");
    }
    const uint32_t notify_id = body_word(request);
    if (reg_check != nullptr && reg_check(notify_id) == 0) {
        return IPC_ERR_REFUSED;
    }
    return subscribe(notify_id, *ipc_msg_sender(&request));
}

Message make_word_message(uint32_t msg_id, uint32_t word)
{
    Message msg = make_message<MEM_OWNER_IPC>(msg_id, kWordSize);
    if (msg != nullptr) {
        set_body_word(*msg, word);
    }
    return msg;
}

} // namespace

// Called before the receive thread starts and after it has ended: no lock.
bool create_registry() NO_THREAD_SAFETY_ANALYSIS
{
    g_reg_notify_list = lc_list_create();
    return g_reg_notify_list != nullptr || LC_FAIL(false, "Create list failed!\n");
}

void destroy_registry() NO_THREAD_SAFETY_ANALYSIS
{
    lc_list_destroy(g_reg_notify_list, reg_notify_node_destroy);
    g_reg_notify_list = nullptr;
}

uint32_t handle_register(ipc_msg_hdr *msg, ipc_reg_check_fn reg_check)
{
    LC_REQUIRE(msg, "reg_msg", IPC_ERR_PARAM);
    const Message response = assign_message<MEM_OWNER_IPC>(kWordSize);
    if (response == nullptr) {
        return LC_FAIL(IPC_ERR_RESOURCE, "Assign memory failed!\n");
    }
    const uint32_t type =
        msg->type == IPC_MSG_TYPE_REQUEST ? IPC_MSG_TYPE_RESPONSE : IPC_MSG_TYPE_ASYNC;
    *response = {type, IPC_MSG_ID_REGISTER, kWordSize, msg->session_id};
    const uint32_t result = register_sender(*msg, reg_check);
    set_body_word(*response, result);
    const uint32_t sent = ipc_msg_send_asy(ipc_msg_sender(msg), response.get(), kWordSize);
    if (sent != IPC_SUCCESS) {
        LC_REPORT("Send register response to client failed! sret=%ld.\n", static_cast<long>(sent));
    }
    return result;
}

uint32_t handle_deregister(ipc_msg_hdr *msg)
{
    LC_REQUIRE(msg, "dereg_msg", IPC_ERR_PARAM);
    if (msg->length != kWordSize) {
        return LC_FAIL(IPC_ERR_LENGTH, "Not invalid deregister message!\n");
    }
    const MutexLock guard(g_registry_mutex);
    const reg_notify *registration = find_registration(body_word(*msg));
    lc_list_node *subscriber =
        registration == nullptr ? nullptr : find_subscriber(*registration, ipc_msg_sender(msg)->sock);
    if (subscriber == nullptr) {
        return IPC_SUCCESS;
    }
    const uint32_t removed = lc_list_del_node(registration->addr_list, subscriber);
    if (removed == LC_LIST_SUCCESS) {
        mem::release(MEM_OWNER_IPC_SYNC, subscriber->data);
        mem::release(MEM_OWNER_IPC_SYNC, subscriber);
    }
    return hand_on<uint32_t>(removed, "the log tells what the list has refused");
}

} // namespace lterouter

using namespace lterouter;

uint32_t ipc_register_notify(const ipc_addr *dest_addr, uint32_t notify_id, uint32_t timeout)
{
    if (!g_endpoint.initialised) {
        return IPC_ERR_NOT_INIT;
    }
    LC_REQUIRE(dest_addr, "dest_addr", IPC_ERR_PARAM);
    if (timeout == 0) {
        return LC_FAIL(IPC_ERR_PARAM, "Para check failed! Para timeout is 0.\n");
    }
    const Message request = make_word_message(IPC_MSG_ID_REGISTER, notify_id);
    const Message response = assign_message<MEM_OWNER_IPC>(kWordSize);
    if (request == nullptr || response == nullptr) {
        return LC_FAIL(IPC_ERR_RESOURCE, "Assign memory failed!\n");
    }
    uint32_t length = kWordSize;
    uint32_t result =
        ipc_msg_send_syn(dest_addr, request.get(), kWordSize, timeout, response.get(), &length);
    if (result != IPC_SUCCESS) {
        return LC_FAIL(result, "Send notify register failed! sret=%ld.\n", static_cast<long>(result));
    }
    // An answer without a result word does not answer this request.
    result = length == kWordSize ? body_word(*response) : IPC_ERR_LENGTH;
    if (result != IPC_SUCCESS) {
        return LC_FAIL(result, "Server returned error: %lu.\n", static_cast<unsigned long>(result));
    }
    return IPC_SUCCESS;
}

uint32_t ipc_deregister_notify(const ipc_addr *dest_addr, uint32_t notify_id)
{
    if (!g_endpoint.initialised) {
        return IPC_ERR_NOT_INIT;
    }
    LC_REQUIRE(dest_addr, "dest_addr", IPC_ERR_PARAM);
    const Message request = make_word_message(IPC_MSG_ID_DEREGISTER, notify_id);
    if (request == nullptr) {
        return LC_FAIL(IPC_ERR_RESOURCE, "Assign memory failed!\n");
    }
    const uint32_t result = ipc_msg_send_asy(dest_addr, request.get(), kWordSize);
    if (result != IPC_SUCCESS) {
        return LC_FAIL(result, "Send notify deregister failed! sret=%ld.\n", static_cast<long>(result));
    }
    return IPC_SUCCESS;
}

uint32_t ipc_msg_notify(ipc_msg_hdr *buff, uint32_t len)
{
    if (!g_endpoint.initialised) {
        return IPC_ERR_NOT_INIT;
    }
    LC_REQUIRE(buff, "buff", IPC_ERR_PARAM);
    const MutexLock guard(g_registry_mutex);
    const reg_notify *registration = find_registration(buff->msg_id);
    if (registration != nullptr) {
        const lc_list_node *node = registration->addr_list->head;
        for (uint32_t left = registration->addr_list->count; left > 0; --left, node = node->next) {
            send_asynchronous(*static_cast<const ipc_addr *>(node->data), *buff, len);
        }
    }
    return IPC_SUCCESS;
}

// Called when no other thread uses the list any more: no lock.
uint32_t reg_notify_node_destroy(void *record) NO_THREAD_SAFETY_ANALYSIS
{
    if (record != nullptr) {
        lc_list_destroy(static_cast<reg_notify *>(record)->addr_list, nullptr);
        memset(record, 0, sizeof(reg_notify));
        mem::release(MEM_OWNER_IPC_SYNC, record);
    }
    return 0;
}
