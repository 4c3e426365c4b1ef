// Publishing a notification of the client's own.
#include "lc_ipc_msg.h"
#include "support/client.h"

#include <gtest/gtest.h>

#include <vector>

namespace send_notify_test {

using namespace testing_support;

namespace {

constexpr uint32_t kId = 0x12345678;

void subscribe(Peer &peer, uint32_t notify_id)
{
    const WireMessage answer = register_at_client(peer, notify_id);
    expect_header(answer, IPC_MSG_TYPE_RESPONSE, IPC_MSG_ID_REGISTER, 4);
    EXPECT_EQ(answer.word(), 0U);
}

} // namespace

using SendNotify = Client;

TEST_F(SendNotify, reaches_every_subscriber_of_the_identifier)
{
    Peer one("subscriber_one");
    Peer two("subscriber_two");
    Peer other("subscriber_of_another");
    subscribe(one, kId);
    subscribe(two, kId);
    subscribe(other, kId + 1);
    const std::vector<uint8_t> body = {9, 8, 7};
    EXPECT_EQ(send_notify(kId, body.data(), 3), 1U);
    for (Peer *peer : {&one, &two}) {
        const WireMessage message = receive_from(*peer);
        expect_header(message, IPC_MSG_TYPE_ASYNC, kId, 3);
        EXPECT_EQ(message.body, body);
        EXPECT_NE(message.header.session_id, 0U);
    }
    EXPECT_TRUE(other.has_nothing());
}

TEST_F(SendNotify, body_pointer_with_length_0_sends_no_body_and_length_without_body_that_many_bytes)
{
    Peer peer("subscriber");
    subscribe(peer, kId);
    EXPECT_EQ(send_notify(kId, "body", 0), 1U);
    EXPECT_EQ(send_notify(kId, nullptr, 8), 1U);
    const WireMessage first = receive_from(peer);
    const WireMessage second = receive_from(peer);
    expect_header(first, IPC_MSG_TYPE_ASYNC, kId, 0);
    expect_header(second, IPC_MSG_TYPE_ASYNC, kId, 8);
    EXPECT_EQ(second.header.session_id, first.header.session_id + 1);
}

TEST_F(SendNotify, without_subscribers_gives_1)
{
    EXPECT_EQ(send_notify(kId, nullptr, 0), 1U);
    EXPECT_EQ(trace_text(), "");
}

TEST_F(SendNotify, to_a_subscriber_that_is_gone_gives_1)
{
    {
        Peer peer("subscriber");
        subscribe(peer, kId);
    }
    EXPECT_EQ(send_notify(kId, nullptr, 0), 1U);
}

TEST(SendNotifyNotStarted, gives_0)
{
    EXPECT_EQ(send_notify(kId, nullptr, 0), 0U);
    EXPECT_EQ(trace_text(), "");
}

} // namespace send_notify_test
