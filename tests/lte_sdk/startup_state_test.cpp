// State that start-up stores.
#include "lte_sdk/core.h"

#include "lc_ipc_mq.h"
#include "support/client.h"
#include "support/scoped_mount.h"

#include <gtest/gtest.h>

namespace startup_state_test {

using namespace testing_support;

TEST(StartupState, keeps_the_hosts_record_itself_and_the_queue_which_takes_messages)
{
    EXPECT_EQ(g_sdk_mq, nullptr);
    ASSERT_EQ(lct_module_init(&kClientConfig), 0);
    EXPECT_EQ(g_sdk_config, &kClientConfig);
    ASSERT_NE(g_sdk_mq, nullptr);
    EXPECT_EQ(ipc_mq_send(g_sdk_mq, make_message(5).release(), 0, 0), 0U);
    ASSERT_EQ(lct_module_fin(), 0);
    EXPECT_EQ(g_sdk_mq, nullptr);
}

TEST(StartupState, messages_of_the_endpoint_never_reach_the_queue)
{
    static lct_config config = {};
    config.callback = [](const lct_event *) { return uint32_t{1}; };
    ASSERT_EQ(lct_module_init(&config), 0);
    Peer wan_manager(kWanManagerSocket);
    send_to_client(wan_manager, IPC_MSG_TYPE_ASYNC, WM_MSG_MODEM_NOTIFY);
    register_at_client(wan_manager, 9);
    ipc_msg_hdr *message = nullptr;
    EXPECT_EQ(ipc_mq_recv(g_sdk_mq, &message, 0), 9U);
    ASSERT_EQ(lct_module_fin(), 0);
}

TEST(StartupState, null_configuration_keeps_nothing)
{
    EXPECT_EQ(lct_module_init(nullptr), -1);
    EXPECT_EQ(g_sdk_config, nullptr);
    EXPECT_EQ(g_sdk_mq, nullptr);
}

TEST(StartupState, failed_store_keeps_nothing)
{
    ScopedMount tmp("/tmp");
    tmp.make_read_only();
    EXPECT_EQ(lct_module_init(&kClientConfig), -1);
    EXPECT_EQ(g_sdk_config, nullptr);
    EXPECT_EQ(g_sdk_mq, nullptr);
}

TEST(StartupState, failed_endpoint_keeps_configuration_and_queue)
{
    const Peer squatter(own_socket());
    EXPECT_EQ(lct_module_init(&kClientConfig), 11);
    EXPECT_EQ(g_sdk_config, &kClientConfig);
    EXPECT_NE(g_sdk_mq, nullptr);
    ipc_mq_destroy();
}

} // namespace startup_state_test
