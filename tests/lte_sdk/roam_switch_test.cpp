// The roaming switch, against a WAN manager's socket.
#include "lc_ipc_msg.h"
#include "support/client.h"

#include <gtest/gtest.h>

#include <vector>

using namespace testing_support;

namespace {

constexpr char kSendFailure[] = "ipc msg send failure.\n\n";
constexpr char kResultError[] = "result error.\n\n";

WanManagerPeer::Answer answer_with(const std::vector<uint8_t> &body)
{
    return [body](ModulePeer &peer, const WireMessage &request) { peer.respond(request, body); };
}

WanManagerPeer::Answer answer_get(int32_t result, uint32_t value)
{
    return answer_with(bytes_of(lct_value_rsp{result, value}));
}

WanManagerPeer::Answer answer_set(int32_t result) { return answer_with(bytes_of(result)); }

std::string get_trace(const std::string &text) { return trace_entry("lct_get_roam_switch", text); }

std::string set_trace(const std::string &text) { return trace_entry("lct_set_roam_switch", text); }

void expect_record(const lct_value_rsp &record, int32_t result, uint32_t value)
{
    EXPECT_EQ(record.result, result);
    EXPECT_EQ(record.value, value);
}

constexpr uint32_t kOn = 1;

} // namespace

using GetRoamSwitch = Client;
using SetRoamSwitch = Client;

TEST_F(GetRoamSwitch, asks_without_a_body)
{
    WanManagerPeer wan_manager(answer_get(0, 1));
    lct_value_rsp out = {};
    EXPECT_EQ(lct_get_roam_switch(&out), 0);
    const std::vector<WireMessage> &received = wan_manager.stop();
    ASSERT_EQ(received.size(), 1U);
    expect_header(received[0], IPC_MSG_TYPE_REQUEST, 0x1040006a, 0);
}

TEST_F(GetRoamSwitch, gives_the_value_and_traces_it)
{
    WanManagerPeer wan_manager(answer_get(0, 1));
    lct_value_rsp out = {77, 77};
    EXPECT_EQ(lct_get_roam_switch(&out), 0);
    expect_record(out, 0, 1);
    EXPECT_EQ(trace_text(), get_trace("get roam switch value:1\n\n"));
}

TEST_F(GetRoamSwitch, traces_the_value_as_signed)
{
    WanManagerPeer wan_manager(answer_get(0, 0xFFFFFFFE));
    lct_value_rsp out = {};
    EXPECT_EQ(lct_get_roam_switch(&out), 0);
    EXPECT_EQ(out.value, 0xFFFFFFFEU);
    EXPECT_EQ(trace_text(), get_trace("get roam switch value:-2\n\n"));
}

TEST_F(GetRoamSwitch, non_zero_result_fails_and_traces_a_result_error)
{
    for (const int32_t result : {1, -1, 256}) {
        unlink(kTraceFile);
        WanManagerPeer wan_manager(answer_get(result, 1));
        lct_value_rsp out = {};
        EXPECT_EQ(lct_get_roam_switch(&out), -1);
        expect_record(out, result, 1);
        EXPECT_EQ(trace_text(), get_trace(kResultError));
    }
}

TEST_F(GetRoamSwitch, result_without_a_value_is_delivered_as_a_failure)
{
    WanManagerPeer wan_manager(answer_set(5));
    lct_value_rsp out = {77, 78};
    EXPECT_EQ(lct_get_roam_switch(&out), -1);
    expect_record(out, 5, 78);
    EXPECT_EQ(trace_text(), get_trace(kResultError));
}

TEST_F(GetRoamSwitch, without_a_wan_manager_fails_and_leaves_the_record)
{
    lct_value_rsp out = {77, 78};
    EXPECT_EQ(lct_get_roam_switch(&out), -1);
    expect_record(out, 77, 78);
    EXPECT_EQ(trace_text(), get_trace(kSendFailure));
}

TEST_F(GetRoamSwitch, answer_of_more_than_8_bytes_is_a_send_failure)
{
    WanManagerPeer wan_manager(answer_with({0, 0, 0, 0, 1, 1, 1, 1, 2}));
    lct_value_rsp out = {77, 78};
    EXPECT_EQ(lct_get_roam_switch(&out), -1);
    expect_record(out, 0, 0x01010101);
    EXPECT_EQ(trace_text(), get_trace(kSendFailure));
}

TEST(GetRoamSwitchNotStarted, fails_and_traces_a_send_failure)
{
    lct_value_rsp out = {};
    EXPECT_EQ(lct_get_roam_switch(&out), -1);
    EXPECT_EQ(trace_text(), get_trace(kSendFailure));
}

TEST_F(SetRoamSwitch, sends_the_value_as_four_bytes)
{
    WanManagerPeer wan_manager(answer_set(0));
    const uint32_t value = 0xA1B2C3D4;
    EXPECT_EQ(lct_set_roam_switch(&value), 0);
    const std::vector<WireMessage> &received = wan_manager.stop();
    ASSERT_EQ(received.size(), 1U);
    expect_header(received[0], IPC_MSG_TYPE_REQUEST, 0x1040006c, 4);
    EXPECT_EQ(received[0].body, bytes_of(value));
}

TEST_F(SetRoamSwitch, result_0_succeeds_without_a_trace_line)
{
    WanManagerPeer wan_manager(answer_set(0));
    EXPECT_EQ(lct_set_roam_switch(&kOn), 0);
    EXPECT_EQ(trace_text(), "");
}

TEST_F(SetRoamSwitch, non_zero_result_fails_and_traces_a_result_error)
{
    for (const int32_t result : {1, -1, 256}) {
        unlink(kTraceFile);
        WanManagerPeer wan_manager(answer_set(result));
        EXPECT_EQ(lct_set_roam_switch(&kOn), -1);
        EXPECT_EQ(trace_text(), set_trace(kResultError));
    }
}

TEST_F(SetRoamSwitch, answer_without_a_result_is_no_success)
{
    WanManagerPeer wan_manager(answer_with({}));
    EXPECT_EQ(lct_set_roam_switch(&kOn), -1);
    EXPECT_EQ(trace_text(), set_trace(kResultError));
}

TEST_F(SetRoamSwitch, without_a_wan_manager_fails_and_traces_a_send_failure)
{
    EXPECT_EQ(lct_set_roam_switch(&kOn), -1);
    EXPECT_EQ(trace_text(), set_trace(kSendFailure));
}

TEST_F(SetRoamSwitch, answer_of_more_than_4_bytes_is_a_send_failure)
{
    WanManagerPeer wan_manager(answer_get(0, 1));
    EXPECT_EQ(lct_set_roam_switch(&kOn), -1);
    EXPECT_EQ(trace_text(), set_trace(kSendFailure));
}
