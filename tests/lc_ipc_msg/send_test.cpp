// Asynchronous messages.

#include "lc_ipc_msg/settled.h"
#include "support/call_notes.h"
#include "support/counted_memory.h"
#include "support/endpoint.h"
#include "support/error_log.h"

namespace send_test {

using namespace testing_support;

namespace {

const ipc_addr kPeer = address_record("peer");

uint32_t sent_type(Peer &peer, uint32_t type)
{
    const MessagePtr msg = make_message(10, {}, type);
    EXPECT_EQ(ipc_msg_send_asy(&kPeer, msg.get(), 0), IPC_SUCCESS);
    const uint32_t on_wire = header_of(peer.receive()).type;
    EXPECT_EQ(msg->type, on_wire) << "the caller's header is what was sent";
    return on_wire;
}

} // namespace

TEST(Send, before_the_start_gives_2_without_a_line_whatever_the_arguments)
{
    ErrorLog log;
    EXPECT_EQ(ipc_msg_send_asy(nullptr, nullptr, 0), IPC_ERR_NOT_INIT);
    EXPECT_EQ(log.lines(), Lines{});
}

TEST(Send, after_the_stop_gives_2)
{
    Endpoint().stop();
    const MessagePtr msg = make_message(10);
    EXPECT_EQ(ipc_msg_send_asy(&kPeer, msg.get(), 0), IPC_ERR_NOT_INIT);
}

TEST(Send, checks_address_then_buffer_then_length)
{
    ErrorLog log;
    const Endpoint endpoint;
    Peer peer("peer");
    const MessagePtr msg = make_message(10, pattern(4), 1);
    EXPECT_EQ(ipc_msg_send_asy(nullptr, nullptr, 9), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{from_msg("Para check failed! Para dest_addr is NULL.\n")});
    EXPECT_EQ(ipc_msg_send_asy(&kPeer, nullptr, 9), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{from_msg("Para check failed! Para buff is NULL.\n")});
    EXPECT_EQ(ipc_msg_send_asy(&kPeer, msg.get(), 9), IPC_ERR_LENGTH);
    EXPECT_EQ(log.lines(), Lines{from_msg("Message length mismatched! Given length is 9, but length "
                                          "in message header is 4\n")});
    EXPECT_EQ(msg->type, 1U) << "what is not sent is not changed";
    EXPECT_TRUE(peer.has_nothing());
}

TEST(Send, puts_header_and_body_on_the_wire_as_they_are)
{
    const Endpoint endpoint;
    Peer peer("peer");
    const MessagePtr msg = make_message(0x1234, pattern(37));
    msg->session_id = 77;
    ASSERT_EQ(ipc_msg_send_asy(&kPeer, msg.get(), 37), IPC_SUCCESS);
    EXPECT_EQ(peer.receive(), datagram({0, 0x1234, 37, 77}, pattern(37)));
}

TEST(Send, the_largest_body_is_1008_bytes_in_one_datagram)
{
    const Endpoint endpoint;
    Peer peer("peer");
    const MessagePtr msg = make_message(10, pattern(1008));
    ASSERT_EQ(ipc_msg_send_asy(&kPeer, msg.get(), 1008), IPC_SUCCESS);
    EXPECT_EQ(peer.receive().size(), 1024U);
}

TEST(Send, every_type_but_that_of_a_response_becomes_0)
{
    const Endpoint endpoint;
    Peer peer("peer");
    EXPECT_EQ(sent_type(peer, 0), 0U);
    EXPECT_EQ(sent_type(peer, 1), 0U);
    EXPECT_EQ(sent_type(peer, 2), 2U);
    EXPECT_EQ(sent_type(peer, 3), 0U);
    EXPECT_EQ(sent_type(peer, UINT32_MAX), 0U);
}

TEST(Send, the_receiver_sees_the_modules_own_name_as_the_sender)
{
    const Endpoint endpoint;
    Peer peer("peer");
    const MessagePtr msg = make_message(10);
    ASSERT_EQ(ipc_msg_send_asy(&kPeer, msg.get(), 0), IPC_SUCCESS);
    peer.receive();
    EXPECT_EQ(peer.sender_size(), 110U);
    EXPECT_TRUE(same_address(peer.sender(), abstract_address(kMmName)));
}

TEST(Send, is_one_call_with_the_whole_address_and_no_flags)
{
    const Endpoint endpoint;
    Peer peer("peer");
    const MessagePtr msg = make_message(10, pattern(4));
    ASSERT_EQ(ipc_msg_send_asy(&kPeer, msg.get(), 4), IPC_SUCCESS);
    const std::vector<SentDatagram> sent = take_sent();
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0].bytes.size(), 20U);
    EXPECT_EQ(sent[0].flags, 0);
    EXPECT_EQ(sent[0].address.size(), 110U);
}

TEST(Send, a_peer_that_bound_its_name_with_a_shorter_length_is_not_reached)
{
    const Endpoint endpoint;
    Peer peer(abstract_address("peer"), offsetof(sockaddr_un, sun_path) + 1 + strlen("peer"));
    const MessagePtr msg = make_message(10);
    EXPECT_EQ(ipc_msg_send_asy(&kPeer, msg.get(), 0), IPC_ERR_SOCKET);
    EXPECT_TRUE(peer.has_nothing());
}

TEST(Send, to_a_name_that_nobody_bound_gives_10)
{
    ErrorLog log;
    const Endpoint endpoint;
    const MessagePtr msg = make_message(10);
    EXPECT_EQ(ipc_msg_send_asy(&kPeer, msg.get(), 0), IPC_ERR_SOCKET);
    EXPECT_EQ(log.lines(), Lines{from_msg("Send failed!", ECONNREFUSED)});
}

TEST(Send, through_a_priority_without_a_socket_gives_10)
{
    const Endpoint endpoint;
    Peer peer("peer");
    const MessagePtr msg = make_message(10);
    for (const uint32_t priority : {1U, 2U, UINT32_MAX}) {
        ipc_addr to = kPeer;
        to.priority = priority;
        EXPECT_EQ(ipc_msg_send_asy(&to, msg.get(), 0), IPC_ERR_SOCKET) << priority;
    }
    EXPECT_TRUE(peer.has_nothing());
}

TEST(Send, the_caller_keeps_the_buffer)
{
    const Endpoint endpoint;
    const Peer peer("peer");
    const MessagePtr msg = make_message(10, pattern(4));
    const size_t blocks = settled_blocks();
    ASSERT_EQ(ipc_msg_send_asy(&kPeer, msg.get(), 4), IPC_SUCCESS);
    ASSERT_EQ(ipc_msg_send_asy(&kPeer, msg.get(), 4), IPC_SUCCESS);
    EXPECT_EQ(memory().blocks_in_use(), blocks);
}

TEST(Send, is_silent_while_the_flag_file_is_absent)
{
    ErrorLog log;
    ErrorLog::switch_off();
    const Endpoint endpoint;
    const MessagePtr msg = make_message(10);
    EXPECT_EQ(ipc_msg_send_asy(nullptr, msg.get(), 0), IPC_ERR_PARAM);
    EXPECT_EQ(ipc_msg_send_asy(&kPeer, nullptr, 0), IPC_ERR_PARAM);
    EXPECT_EQ(ipc_msg_send_asy(&kPeer, msg.get(), 1), IPC_ERR_LENGTH);
    EXPECT_EQ(ipc_msg_send_asy(&kPeer, msg.get(), 0), IPC_ERR_SOCKET);
    EXPECT_EQ(log.lines(), Lines{});
}

} // namespace send_test
