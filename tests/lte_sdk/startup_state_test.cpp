// State that start-up stores.
#include "lte_sdk/core.h"

#include "lc_ipc_mq.h"
#include "support/client.h"
#include "support/scoped_mount.h"

#include <gtest/gtest.h>

namespace startup_state_test {

using namespace testing_support;

TEST(StartupState, keeps_the_hosts_record_itself)
{
    ASSERT_EQ(lct_module_init(&kClientConfig), 0);
    EXPECT_EQ(g_sdk_config, &kClientConfig);
    ASSERT_EQ(lct_module_fin(), 0);
}

TEST(StartupState, keeps_the_queue_which_takes_messages)
{
    EXPECT_EQ(g_sdk_mq, nullptr);
    ASSERT_EQ(lct_module_init(&kClientConfig), 0);
    ASSERT_NE(g_sdk_mq, nullptr);
    auto *message = static_cast<ipc_msg_hdr *>(ipc_memory_assign(0, 0));
    *message = {0, 5, 0, 0};
    EXPECT_EQ(ipc_mq_send(g_sdk_mq, message, 0, 0), 0U);
    ASSERT_EQ(lct_module_fin(), 0);
    EXPECT_EQ(g_sdk_mq, nullptr);
}

TEST(StartupState, messages_of_the_endpoint_never_reach_the_queue)
{
    static lct_config config = {};
    config.callback = [](const lct_event *) { return uint32_t{1}; };
    ASSERT_EQ(lct_module_init(&config), 0);
    Peer wan_manager(kWanManagerSocket);
    const sockaddr_un client = abstract_address(client_socket_name(getpid()));
    wan_manager.send(client, {IPC_MSG_TYPE_ASYNC, WM_MSG_MODEM_NOTIFY, 0, 1}, {});
    // The answer to this comes after the notification has been handled.
    wan_manager.send(client, {IPC_MSG_TYPE_REQUEST, IPC_MSG_ID_REGISTER, 0, 2}, bytes_of(uint32_t{9}));
    receive_from(wan_manager);
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
    const Peer squatter(client_socket_name(getpid()));
    EXPECT_EQ(lct_module_init(&kClientConfig), 11);
    EXPECT_EQ(g_sdk_config, &kClientConfig);
    EXPECT_NE(g_sdk_mq, nullptr);
    ipc_mq_destroy();
}

} // namespace startup_state_test
