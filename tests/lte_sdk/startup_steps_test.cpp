// The steps of start-up and shut-down: what is called with what, in order, and what a failure leaves
// out.
#include "lc_ipc_mq.h"
#include "lc_ipc_msg.h"
#include "lc_nv.h"
#include "support/client.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace testing_support;

namespace {

using Steps = std::vector<std::string>;

Steps g_steps;
uint32_t g_store_result = 0;
uint32_t g_queue_result = 0;
uint32_t g_endpoint_result = 0;
ipc_msg_handler_fn g_handler = nullptr;
lc_list_node g_queue_node = {};

const char *given(const void *pointer) { return pointer == nullptr ? "none" : "given"; }

Steps first(size_t count)
{
    static const Steps all = {
        "nvmram_init",
        "ipc_mq_init",
        "ipc_mq_create 100",
        "ipc_msg_init module 3, queue none, handler given, check none, per process 1",
        "ipc_register_notify 0:lc_socket_mm_common 10400017 4000",
        "ipc_register_notify 0:lc_socket_mm_common 10400016 4000",
        "ipc_register_notify 0:lc_socket_mm_common 104000b3 4000",
    };
    return {all.begin(), all.begin() + static_cast<Steps::difference_type>(count)};
}

uint32_t g_events = 0;

uint32_t count_event(const lct_event *)
{
    ++g_events;
    return 0;
}

} // namespace

uint32_t nvmram_init()
{
    g_steps.emplace_back("nvmram_init");
    return g_store_result;
}

void ipc_mq_init() { g_steps.emplace_back("ipc_mq_init"); }

uint32_t ipc_mq_create(uint32_t capacity, mq_cb *cb)
{
    g_steps.push_back("ipc_mq_create " + std::to_string(capacity));
    *cb = &g_queue_node;
    return g_queue_result;
}

uint32_t ipc_msg_init(uint32_t module_id, mq_cb cb, ipc_msg_handler_fn msg_handler,
                      ipc_reg_check_fn reg_check, uint32_t per_process)
{
    g_handler = msg_handler;
    g_steps.push_back("ipc_msg_init module " + std::to_string(module_id) + ", queue " + given(cb) +
                      ", handler " + given(reinterpret_cast<const void *>(msg_handler)) + ", check " +
                      given(reinterpret_cast<const void *>(reg_check)) + ", per process " +
                      std::to_string(per_process));
    return g_endpoint_result;
}

uint32_t ipc_register_notify(const ipc_addr *dest_addr, uint32_t notify_id, uint32_t timeout)
{
    char text[128];
    snprintf(text, sizeof(text), "ipc_register_notify %u:%s %x %u", dest_addr->priority,
             dest_addr->sock.sun_path + 1, notify_id, timeout);
    g_steps.emplace_back(text);
    return IPC_ERR_TIMEOUT;
}

void ipc_msg_fin() { g_steps.emplace_back("ipc_msg_fin"); }

void ipc_mq_destroy() { g_steps.emplace_back("ipc_mq_destroy"); }

TEST(StartupSteps, run_in_order_and_do_not_look_at_the_registrations_results)
{
    EXPECT_EQ(lct_module_init(&kClientConfig), 0);
    EXPECT_EQ(g_steps, first(7));
    EXPECT_EQ(trace_text(), "");
}

TEST(StartupSteps, endpoint_gets_the_dispatcher_as_its_handler)
{
    lct_config config = {};
    config.callback = count_event;
    ASSERT_EQ(lct_module_init(&config), 0);
    ipc_msg_hdr message = {IPC_MSG_TYPE_ASYNC, WM_MSG_IFACE_STATUS_NOTIFY, 0, 0};
    EXPECT_EQ(g_handler(&message, 0), 1U);
    EXPECT_EQ(g_events, 1U);
}

TEST(StartupSteps, null_configuration_stops_before_the_first)
{
    EXPECT_EQ(lct_module_init(nullptr), -1);
    EXPECT_EQ(g_steps, Steps());
}

TEST(StartupSteps, failed_store_gives_minus_1_and_stops)
{
    g_store_result = 5;
    EXPECT_EQ(lct_module_init(&kClientConfig), -1);
    EXPECT_EQ(g_steps, first(1));
    EXPECT_EQ(trace_text(), trace_entry("lct_module_init", "init radom nv failed\n\n"));
}

TEST(StartupSteps, failed_queue_gives_minus_1_and_stops)
{
    g_queue_result = 11;
    EXPECT_EQ(lct_module_init(&kClientConfig), -1);
    EXPECT_EQ(g_steps, first(3));
    EXPECT_EQ(trace_text(), trace_entry("lct_module_init", "ipc_mq_create err\n\n"));
}

TEST(StartupSteps, failed_endpoint_gives_its_code_and_undoes_nothing)
{
    for (const uint32_t code : {1U, 11U}) {
        g_steps.clear();
        unlink(kTraceFile);
        g_endpoint_result = code;
        EXPECT_EQ(lct_module_init(&kClientConfig), static_cast<int32_t>(code));
        EXPECT_EQ(g_steps, first(4));
        EXPECT_EQ(trace_text(), trace_entry("lct_module_init",
                                            "ipc init failled, ret=" + std::to_string(code) + "\n\n"));
    }
}

TEST(ShutdownSteps, end_the_endpoint_before_the_queues)
{
    EXPECT_EQ(lct_module_fin(), 0);
    EXPECT_EQ(g_steps, (Steps{"ipc_msg_fin", "ipc_mq_destroy"}));
}
