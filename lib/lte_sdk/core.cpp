#include "lte_sdk/core.h"

#include "lc_ipc_msg/build.h"
#include "lc_nv.h"
#include "lct_trace/trace.h"
#include "lte_sdk/request.h"
#include "support/layout.h"

#include <cstddef>
#include <cstring>

namespace lterouter {
namespace {

constexpr uint32_t kQueueCapacity = 100;
constexpr uint32_t kRegisterTimeoutMs = 4000;

// These records are the same for processes of either word size.
static_assert(sizeof(lct_link_status) == LCT_LINK_BODY_SIZE);
static_assert(offsetof(lct_link_status, iface_type) == 0);
static_assert(offsetof(lct_link_status, link_status) == 8);
static_assert(offsetof(lct_link_status, ip_status) == 12);
static_assert(offsetof(lct_link_status, interface_name) == 20);
static_assert(offsetof(lct_link_status, ip) == 36);
static_assert(offsetof(lct_link_status, gateway) == 54);
static_assert(offsetof(lct_link_status, dns1) == 72);
static_assert(offsetof(lct_link_status, dns2) == 90);
static_assert(offsetof(lct_link_status, mask) == 108);
static_assert(sizeof(lct_iface_status) == LCT_IFACE_BODY_SIZE);
static_assert(offsetof(lct_iface_status, readiness) == 4);
static_assert(sizeof(lct_value_rsp) == 8);
static_assert(offsetof(lct_value_rsp, result) == 0 && offsetof(lct_value_rsp, value) == 4);

// The host shares these records in memory.
static_assert(offsetof(lct_config, callback) == 9 * sizeof(uintptr_t));
static_assert(on_32_bits(sizeof(lct_config) == 40));
static_assert(on_32_bits(sizeof(lct_event) == 16 && offsetof(lct_event, event) == 0));
static_assert(on_32_bits(offsetof(lct_event, data) == 4 && offsetof(lct_event, len) == 8));
static_assert(on_32_bits(offsetof(lct_event, reserved) == 12));

using Message = mem::Ptr<ipc_msg_hdr, MEM_OWNER_LCT>;

// With a length but no body, the body stays as allocated.
Message make_request(uint32_t msg_id, const void *body, uint32_t body_len)
{
    Message msg = make_message<MEM_OWNER_LCT>(msg_id, body_len);
    if (msg != nullptr && body != nullptr && body_len != 0) {
        memcpy(ipc_msg_body(msg.get()), body, body_len);
    }
    return msg;
}

// Room for a response, with the contents of rsp until one arrives.
Message make_response(const void *rsp, uint32_t rsp_len)
{
    Message msg = assign_message<MEM_OWNER_LCT>(rsp_len);
    if (msg != nullptr && rsp_len != 0) {
        memcpy(ipc_msg_body(msg.get()), rsp, rsp_len);
    }
    return msg;
}

} // namespace
} // namespace lterouter

using namespace lterouter;

extern "C" {
const lct_config *g_sdk_config = nullptr;
mq_cb g_sdk_mq = nullptr;
}

uint32_t send_request(uint32_t module_id, uint32_t msg_id, const void *body, uint32_t body_len)
{
    ipc_addr addr;
    if (ipc_get_addr_by_id(module_id, IPC_PRIORITY_COMMON, &addr) != IPC_SUCCESS) {
        return 0;
    }
    const Message msg = make_request(msg_id, body, body_len);
    if (msg == nullptr) {
        return LC_TRACE(0U, "Malloc memory failed.\n\n");
    }
    return ipc_msg_send_asy(&addr, msg.get(), body_len) == IPC_SUCCESS ? 1 : 0;
}

uint32_t send_request_syn(uint32_t module_id, uint32_t msg_id, const void *body, uint32_t body_len,
                          uint32_t timeout, void *rsp, uint32_t *rsp_len)
{
    ipc_addr addr;
    if (ipc_get_addr_by_id(module_id, IPC_PRIORITY_COMMON, &addr) != IPC_SUCCESS) {
        return 0;
    }
    const Message msg = make_request(msg_id, body, body_len);
    if (msg == nullptr) {
        return LC_TRACE(0U, "Malloc memory failed.\n\n");
    }
    const Message response = make_response(rsp, *rsp_len);
    if (response == nullptr) {
        return LC_TRACE(0U, "Malloc memory failed.\n\n");
    }
    const uint32_t result =
        ipc_msg_send_syn(&addr, msg.get(), body_len, timeout, response.get(), rsp_len);
    // After a failure too: of a response that is too long the caller gets the part that fits.
    if (*rsp_len != 0) {
        memcpy(rsp, ipc_msg_body(response.get()), *rsp_len);
    }
    return result == IPC_SUCCESS ? 1 : 0;
}

uint32_t send_notify(uint32_t msg_id, const void *body, uint32_t body_len)
{
    const Message msg = make_request(msg_id, body, body_len);
    if (msg == nullptr) {
        return LC_TRACE(0U, "Malloc memory failed.\n\n");
    }
    return ipc_msg_notify(msg.get(), body_len) == IPC_SUCCESS ? 1 : 0;
}

void regnotify()
{
    ipc_addr addr;
    ipc_get_addr_by_id(IPC_MODULE_MM, IPC_PRIORITY_COMMON, &addr);
    for (const uint32_t notification : kNotifications) {
        // Not an error: the WAN manager may start later than the host.
        ipc_register_notify(&addr, notification, kRegisterTimeoutMs);
    }
}

void lct_deregister()
{
    ipc_addr addr;
    ipc_get_addr_by_id(IPC_MODULE_MM, IPC_PRIORITY_COMMON, &addr);
    for (const uint32_t notification : kNotifications) {
        // Not an error: a WAN manager that has ended has no subscriptions.
        ipc_deregister_notify(&addr, notification);
    }
}

int32_t lct_module_init(const lct_config *config)
{
    if (config == nullptr) {
        return LC_TRACE(-1, "sdk config is null\n\n");
    }
    if (nvmram_init() != NV_SUCCESS) {
        return LC_TRACE(-1, "init radom nv failed\n\n");
    }
    g_sdk_config = config;
    ipc_mq_init();
    if (ipc_mq_create(kQueueCapacity, &g_sdk_mq) != IPC_SUCCESS) {
        return LC_TRACE(-1, "ipc_mq_create err\n\n");
    }
    const uint32_t result = ipc_msg_init(IPC_MODULE_CLI1, nullptr, sdk_msg_handler, nullptr, 1);
    if (result != IPC_SUCCESS) {
        return LC_TRACE(hand_on<int32_t>(result, kEndpointsCode), "ipc init failled, ret=%u\n\n",
                        result);
    }
    regnotify();
    return 0;
}

int32_t lct_module_fin()
{
    ipc_msg_fin();
    ipc_mq_destroy();
    g_sdk_mq = nullptr;
    return 0;
}

int32_t lct_connect()
{
    post(request::lct_connect, nullptr);
    return 0;
}

int32_t lct_disconnect()
{
    post(request::lct_disconnect, nullptr);
    return 0;
}
