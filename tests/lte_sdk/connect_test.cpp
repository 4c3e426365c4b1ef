// Connecting and disconnecting.
#include "lc_ipc_msg.h"
#include "support/client.h"
#include "support/expected_requests.h"

#include <gtest/gtest.h>

namespace connect_test {

using namespace testing_support;

using Connect = Client;

TEST_F(Connect, sends_an_asynchronous_request_without_body)
{
    Peer wan_manager(kWanManagerSocket);
    EXPECT_EQ(lct_connect(), 0);
    expect_header(receive_from(wan_manager), IPC_MSG_TYPE_ASYNC, expected_request("lct_connect").msg_id,
                  0);
    EXPECT_TRUE(wan_manager.has_nothing());
}

TEST_F(Connect, disconnect_sends_an_asynchronous_request_without_body)
{
    Peer wan_manager(kWanManagerSocket);
    EXPECT_EQ(lct_disconnect(), 0);
    expect_header(receive_from(wan_manager), IPC_MSG_TYPE_ASYNC,
                  expected_request("lct_disconnect").msg_id, 0);
    EXPECT_TRUE(wan_manager.has_nothing());
}

TEST_F(Connect, gives_0_without_a_wan_manager)
{
    EXPECT_EQ(lct_connect(), 0);
    EXPECT_EQ(lct_disconnect(), 0);
    EXPECT_EQ(trace_text(), "");
}

TEST(ConnectNotStarted, gives_0_and_sends_nothing)
{
    Peer wan_manager(kWanManagerSocket);
    EXPECT_EQ(lct_connect(), 0);
    EXPECT_EQ(lct_disconnect(), 0);
    EXPECT_TRUE(wan_manager.has_nothing());
}

} // namespace connect_test
