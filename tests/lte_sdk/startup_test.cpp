// Starting the client beside real sockets.
#include "lc_ipc_mq.h"
#include "lc_ipc_msg.h"
#include "lc_nv.h"
#include "support/client.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <vector>

namespace startup_test {

using namespace testing_support;

namespace {

constexpr uint32_t kInOrder[] = {0x10400017, 0x10400016, 0x104000b3};

// Three messages that name the notifications, with consecutive session ids.
void expect_all_three(uint32_t type, uint32_t msg_id, const std::vector<WireMessage> &messages,
                      size_t first)
{
    ASSERT_GE(messages.size(), first + 3);
    for (size_t i = 0; i < 3; ++i) {
        const WireMessage &message = messages[first + i];
        expect_header(message, type, msg_id, 4);
        EXPECT_EQ(message.word(), kInOrder[i]);
        EXPECT_EQ(message.header.session_id, messages[first].header.session_id + i);
    }
}

void expect_registrations(const std::vector<WireMessage> &messages, size_t first = 0)
{
    expect_all_three(IPC_MSG_TYPE_REQUEST, 2, messages, first);
}

using Started = Client;

} // namespace

TEST(Startup, registers_for_interface_link_and_modem_notifications_in_this_order_without_a_trace)
{
    AnsweringPeer wan_manager;
    EXPECT_EQ(lct_module_init(&kClientConfig), 0);
    const std::vector<WireMessage> &received = wan_manager.stop();
    EXPECT_EQ(received.size(), 3U);
    expect_registrations(received);
    EXPECT_EQ(trace_text(), "");
    lct_module_fin();
}

TEST_F(Started, has_one_empty_queue_for_100_messages)
{
    ipc_mq_usg usage[4] = {};
    uint32_t count = 4;
    ASSERT_EQ(ipc_mq_usg_state(usage, &count), 0U);
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(usage[0].capacity, 100U);
    EXPECT_EQ(usage[0].high_count + usage[0].normal_count, 0U);
}

TEST_F(Started, has_the_per_process_name_of_module_3)
{
    EXPECT_TRUE(socket_exists(own_socket()));
    EXPECT_FALSE(socket_exists("lc_socket_cli1_common"));
}

TEST_F(Started, has_the_ram_store)
{
    EXPECT_EQ(nvmram_writenv("a", "v", 2), 0U);
    EXPECT_EQ(nvram_match("a", "v"), 0U);
}

TEST(Startup, without_a_wan_manager_and_shutdown_succeed_without_a_word)
{
    EXPECT_EQ(lct_module_init(&kClientConfig), 0);
    EXPECT_EQ(trace_text(), "");
    EXPECT_EQ(lct_module_fin(), 0);
    EXPECT_EQ(trace_text(), "");
}

TEST(Startup, succeeds_when_the_wan_manager_refuses_and_still_asks_for_all_three)
{
    Peer wan_manager(kWanManagerSocket);
    std::vector<WireMessage> received(3);
    std::thread refusing([&] {
        for (WireMessage &message : received) {
            if (wan_manager.receive(&message)) {
                wan_manager.respond(message, bytes_of(uint32_t{6}));
            }
        }
    });
    EXPECT_EQ(lct_module_init(&kClientConfig), 0);
    refusing.join();
    expect_registrations(received);
    EXPECT_EQ(trace_text(), "");
    lct_module_fin();
}

TEST(Startup, subscribing_again_asks_for_all_three_again)
{
    AnsweringPeer wan_manager;
    ASSERT_EQ(lct_module_init(&kClientConfig), 0);
    regnotify();
    const std::vector<WireMessage> &received = wan_manager.stop();
    EXPECT_EQ(received.size(), 6U);
    expect_registrations(received);
    expect_registrations(received, 3);
    lct_module_fin();
}

TEST(Startup, without_configuration_gives_minus_1_and_touches_nothing_else)
{
    EXPECT_EQ(lct_module_init(nullptr), -1);
    EXPECT_EQ(trace_text(), trace_entry("lct_module_init", "sdk config is null\n\n"));
    EXPECT_NE(access("/tmp/nv", F_OK), 0);
    EXPECT_FALSE(socket_exists(own_socket()));
    uint32_t count = 1;
    ipc_mq_usg usage;
    EXPECT_EQ(ipc_mq_usg_state(&usage, &count), 2U);
}

TEST(Shutdown, deregisters_only_when_told_to_and_then_for_all_three_in_the_order_of_registration)
{
    AnsweringPeer wan_manager;
    ASSERT_EQ(lct_module_init(&kClientConfig), 0);
    EXPECT_EQ(lct_module_fin(), 0);
    ASSERT_EQ(lct_module_init(&kClientConfig), 0);
    lct_deregister();
    EXPECT_EQ(lct_module_fin(), 0);
    const std::vector<WireMessage> &received = wan_manager.stop();
    EXPECT_EQ(received.size(), 9U);
    expect_registrations(received, 3);
    expect_all_three(IPC_MSG_TYPE_ASYNC, 3, received, 6);
}

TEST(Shutdown, deregistering_where_there_is_no_wan_manager_and_no_client_says_nothing)
{
    ASSERT_EQ(lct_module_init(&kClientConfig), 0);
    lct_deregister();
    EXPECT_EQ(lct_module_fin(), 0);
    lct_deregister();
    EXPECT_EQ(trace_text(), "");
}

TEST(Shutdown, unbinds_the_socket_and_destroys_the_queue)
{
    ASSERT_EQ(lct_module_init(&kClientConfig), 0);
    EXPECT_EQ(lct_module_fin(), 0);
    EXPECT_FALSE(socket_exists(own_socket()));
    ipc_mq_usg usage;
    uint32_t count = 1;
    EXPECT_EQ(ipc_mq_usg_state(&usage, &count), 0U);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(send_request(1, 5, nullptr, 0), 0U);
}

TEST(Shutdown, of_a_client_that_never_started_gives_0)
{
    EXPECT_EQ(lct_module_fin(), 0);
    EXPECT_EQ(lct_module_fin(), 0);
}

} // namespace startup_test
