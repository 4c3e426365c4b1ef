// The asynchronous request.
#include "lc_ipc_msg.h"
#include "support/client.h"

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

namespace send_request_test {

using namespace testing_support;

namespace {

constexpr uint32_t kId = 0x12345678;

} // namespace

using SendRequest = Client;

TEST_F(SendRequest, sends_header_and_body_to_the_modules_address_without_a_trace_line)
{
    Peer peer(kWanManagerSocket);
    const std::vector<uint8_t> body = {1, 2, 3, 4, 5};
    EXPECT_EQ(send_request(1, kId, body.data(), 5), 1U);
    const WireMessage message = receive_from(peer);
    expect_header(message, IPC_MSG_TYPE_ASYNC, kId, 5);
    EXPECT_EQ(message.body, body);
    EXPECT_EQ(trace_text(), "");
}

TEST_F(SendRequest, reaches_each_module_by_its_name)
{
    const std::pair<uint32_t, const char *> modules[] = {{0, "lc_socket_wm_common"},
                                                         {1, "lc_socket_mm_common"},
                                                         {2, "lc_socket_cgi_common"},
                                                         {6, "lc_socket_sms_pb_common"},
                                                         {7, "lc_socket_uptest_common"}};
    for (const auto &[module, name] : modules) {
        Peer peer(name);
        EXPECT_EQ(send_request(module, kId + module, nullptr, 0), 1U);
        EXPECT_EQ(receive_from(peer).header.msg_id, kId + module);
    }
}

TEST_F(SendRequest, body_pointer_with_length_0_sends_no_body_and_length_without_body_that_many_bytes)
{
    Peer peer(kWanManagerSocket);
    EXPECT_EQ(send_request(1, kId, "body", 0), 1U);
    EXPECT_EQ(send_request(1, kId, nullptr, 12), 1U);
    const WireMessage first = receive_from(peer);
    const WireMessage second = receive_from(peer);
    expect_header(first, IPC_MSG_TYPE_ASYNC, kId, 0);
    expect_header(second, IPC_MSG_TYPE_ASYNC, kId, 12);
    EXPECT_EQ(second.body.size(), 12U);
    EXPECT_NE(first.header.session_id, 0U);
    EXPECT_EQ(second.header.session_id, first.header.session_id + 1);
}

TEST_F(SendRequest, largest_body_arrives_whole)
{
    Peer peer(kWanManagerSocket);
    std::vector<uint8_t> body(1008);
    std::iota(body.begin(), body.end(), uint8_t{0});
    EXPECT_EQ(send_request(1, kId, body.data(), 1008), 1U);
    EXPECT_EQ(receive_from(peer).body, body);
}

TEST_F(SendRequest, to_nobody_or_an_unknown_module_gives_0_without_a_trace_line)
{
    EXPECT_EQ(send_request(1, kId, nullptr, 0), 0U);
    EXPECT_EQ(send_request(8, kId, nullptr, 0), 0U);
    EXPECT_EQ(send_request(0xFFFFFFFF, kId, "body", 4), 0U);
    EXPECT_EQ(trace_text(), "");
}

TEST(SendRequestNotStarted, gives_0_and_sends_nothing)
{
    Peer peer(kWanManagerSocket);
    EXPECT_EQ(send_request(1, kId, nullptr, 0), 0U);
    EXPECT_TRUE(peer.has_nothing());
    EXPECT_EQ(trace_text(), "");
}

} // namespace send_request_test
