// The steps of start-up and shut-down: what is called with what, in order, and what a failure leaves
// out.
#include "support/client.h"
#include "support/library_calls.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace startup_steps_test {

using namespace testing_support;

namespace {

using Steps = std::vector<std::string>;

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

// None of the steps is really taken.
class StartupSteps : public testing::Test {
protected:
    Steps steps_;
    uint32_t store_result_ = 0;
    uint32_t queue_result_ = 0;
    uint32_t endpoint_result_ = 0;
    ipc_msg_handler_fn handler_ = nullptr;

private:
    lc_list_node queue_node_ = {};
    const Hooked store_{calls::nvmram_init, [this](auto &) {
                            steps_.emplace_back("nvmram_init");
                            return store_result_;
                        }};
    const Hooked queues_{calls::ipc_mq_init, [this](auto &) { steps_.emplace_back("ipc_mq_init"); }};
    const Hooked queue_{calls::ipc_mq_create, [this](auto &, uint32_t capacity, mq_cb *cb) {
                            steps_.push_back("ipc_mq_create " + std::to_string(capacity));
                            *cb = &queue_node_;
                            return queue_result_;
                        }};
    const Hooked endpoint_{
        calls::ipc_msg_init, [this](auto &, uint32_t module_id, mq_cb cb, ipc_msg_handler_fn handler,
                                    ipc_reg_check_fn reg_check, uint32_t per_process) {
            handler_ = handler;
            steps_.push_back("ipc_msg_init module " + std::to_string(module_id) + ", queue " +
                             given(cb) + ", handler " + given(reinterpret_cast<const void *>(handler)) +
                             ", check " + given(reinterpret_cast<const void *>(reg_check)) +
                             ", per process " + std::to_string(per_process));
            return endpoint_result_;
        }};
    const Hooked registration_{
        calls::ipc_register_notify,
        [this](auto &, const ipc_addr *address, uint32_t notify_id, uint32_t timeout) {
            char text[128];
            snprintf(text, sizeof(text), "ipc_register_notify %u:%s %x %u", address->priority,
                     address->sock.sun_path + 1, notify_id, timeout);
            steps_.emplace_back(text);
            return IPC_ERR_TIMEOUT;
        }};
    const Hooked end_{calls::ipc_msg_fin, [this](auto &) { steps_.emplace_back("ipc_msg_fin"); }};
    const Hooked queues_end_{calls::ipc_mq_destroy,
                             [this](auto &) { steps_.emplace_back("ipc_mq_destroy"); }};
};
using ShutdownSteps = StartupSteps;

uint32_t g_events = 0;

uint32_t count_event(const lct_event *)
{
    ++g_events;
    return 0;
}

} // namespace

TEST_F(StartupSteps, run_in_order_and_do_not_look_at_the_registrations_results)
{
    EXPECT_EQ(lct_module_init(&kClientConfig), 0);
    EXPECT_EQ(steps_, first(7));
    EXPECT_EQ(trace_text(), "");
}

TEST_F(StartupSteps, endpoint_gets_the_dispatcher_as_its_handler)
{
    lct_config config = {};
    config.callback = count_event;
    ASSERT_EQ(lct_module_init(&config), 0);
    ipc_msg_hdr message = {IPC_MSG_TYPE_ASYNC, WM_MSG_IFACE_STATUS_NOTIFY, 0, 0};
    EXPECT_EQ(handler_(&message, 0), 1U);
    EXPECT_EQ(g_events, 1U);
}

TEST_F(StartupSteps, null_configuration_stops_before_the_first)
{
    EXPECT_EQ(lct_module_init(nullptr), -1);
    EXPECT_EQ(steps_, Steps());
}

TEST_F(StartupSteps, failed_one_gives_its_result_stops_and_undoes_nothing)
{
    const struct {
        uint32_t &code_of_step;
        uint32_t code;
        int32_t result;
        size_t steps;
        const char *trace;
    } failures[] = {
        {store_result_, 5, -1, 1, "init radom nv failed\n\n"},
        {queue_result_, 11, -1, 3, "ipc_mq_create err\n\n"},
        {endpoint_result_, 1, 1, 4, "ipc init failled, ret=1\n\n"},
        {endpoint_result_, 11, 11, 4, "ipc init failled, ret=11\n\n"},
    };
    for (const auto &[code_of_step, code, result, steps, trace] : failures) {
        steps_.clear();
        unlink(kTraceFile);
        code_of_step = code;
        EXPECT_EQ(lct_module_init(&kClientConfig), result) << trace;
        EXPECT_EQ(steps_, first(steps)) << trace;
        EXPECT_EQ(trace_text(), trace_entry("lct_module_init", trace));
        code_of_step = 0;
    }
}

TEST_F(ShutdownSteps, end_the_endpoint_before_the_queues)
{
    EXPECT_EQ(lct_module_fin(), 0);
    EXPECT_EQ(steps_, (Steps{"ipc_msg_fin", "ipc_mq_destroy"}));
}

} // namespace startup_steps_test
