// The synchronous requests, a row each: what goes over the wire, what is waited for, and what the
// caller and the trace file are told.
#include "support/counted_memory.h"
#include "support/expected_requests.h"
#include "support/sync_requests.h"

#include <gtest/gtest.h>

#include <ostream>
#include <set>
#include <string>

namespace request_test {

using namespace testing_support;

namespace {

const auto kPin = patterned<lct_pin>();
const auto kPinChange = patterned<lct_pin_change>();
constexpr uint8_t kEnable = 0xA1;
constexpr uint32_t kValue = 0xA1B2C3D4;

constexpr uint32_t kResultSize = 4;

lct_value_rsp g_value;
lct_netlist_rsp g_operators;
char g_imsi[20];

// The one trace line of a failure. result: what the response record holds, 1 when nothing came.
using FailureText = std::string (*)(int delivered, int32_t result);
using DoneText = std::string (*)(int32_t value);

std::string send_or_result(int delivered, int32_t)
{
    return delivered != 0 ? "result error.\n\n" : "ipc msg send failure.\n\n";
}

std::string result_only(int, int32_t) { return "result error.\n"; }

std::string apn_result(int, int32_t result)
{
    return "ipc result of request msg error:" + std::to_string(result) + "\n\n";
}

std::string channel_result(int delivered, int32_t result)
{
    return "get channel failed ret:" + std::to_string(delivered) + " rsp:" + std::to_string(result) +
           "\n\n";
}

std::string nothing(int32_t) { return ""; }

std::string roam_value(int32_t value)
{
    return "get roam switch value:" + std::to_string(value) + "\n\n";
}

struct Row {
    const char *name;
    int32_t (*call)();
    Bytes body;
    // Of those that succeed with an answer of result 0 and with no other.
    FailureText failure = nullptr;
    DoneText done = nothing;
    uint32_t own_room = 0; // where it is the caller's

    const ExpectedRequest &expected() const { return expected_request(name); }
    uint32_t room() const { return own_room != 0 ? own_room : expected().room; }
};

void PrintTo(const Row &row, std::ostream *out) { *out << row.name; }

// clang-format off
const Row kStrictRows[] = {
    {"lct_enable_pin", [] { return lct_enable_pin(&kPin); }, bytes_of(kPin), send_or_result},
    {"lct_disenable_pin", [] { return lct_disenable_pin(&kPin); }, bytes_of(kPin), send_or_result},
    {"lct_modify_pin", [] { return lct_modify_pin(&kPinChange); }, bytes_of(kPinChange), send_or_result},
    {"lct_modify_pin_en", [] { return lct_modify_pin_en(&kEnable); }, {kEnable}, send_or_result},
    {"lct_set_nettype", [] { return lct_set_nettype(&kValue); }, bytes_of(kValue), send_or_result},
    {"lct_get_nettype", [] { return lct_get_nettype(&g_value); }, {}, send_or_result},
    {"lct_set_roam_switch", [] { return lct_set_roam_switch(&kValue); }, bytes_of(kValue), send_or_result},
    {"lct_get_roam_switch", [] { return lct_get_roam_switch(&g_value); }, {}, send_or_result, roam_value},
    {"lct_set_serial_port", [] { return lct_set_serial_port(kValue); }, bytes_of(kValue), send_or_result},
    {"lct_get_diag_info", [] { return lct_get_diag_info(); }, {}, result_only},
    {"lct_get_diag_hide_info", [] { return lct_get_diag_hide_info(); }, {}, result_only},
    {"lct_apn_set_req", [] { return lct_apn_set_req(); }, {}, apn_result},
    {"lct_lte_channel_req", [] { return lct_lte_channel_req(&g_value.value); }, {}, channel_result},
};

const Row kOtherRows[] = {
    {"lct_sim_set_pinen_req", [] { return lct_sim_set_pinen_req(&kEnable); }, {kEnable}},
    {"lct_net_set_pref_req", [] { return lct_net_set_pref_req(&kValue); }, bytes_of(kValue)},
    {"lct_net_set_status_test_req", [] { return lct_net_set_status_test_req(&kValue); }, bytes_of(kValue)},
    {"lct_get_netlist_req", [] { return lct_get_netlist_req(&g_operators); }, {}},
    {"lct_net_imsi_get_req", [] { return lct_net_imsi_get_req(g_imsi, sizeof(g_imsi)); }, {},
     nullptr, nothing, sizeof(g_imsi)},
};
// clang-format on

// The response record's result when this much of an answer has come.
int32_t result_after(const Bytes &answer)
{
    int32_t result = 1;
    std::copy_n(answer.begin(), std::min(answer.size(), sizeof(result)),
                reinterpret_cast<uint8_t *>(&result));
    return result;
}

// Destroyed after the client that it is in front of.
struct NothingLeft {
    ~NothingLeft() { EXPECT_EQ(memory().blocks_in_use(), 0U); }
};

class Request : NothingLeft, public Client, public testing::WithParamInterface<Row> {};

class StrictRequest : public Request {
protected:
    void expect_failure(int32_t result, int delivered, const Bytes &answer = {})
    {
        EXPECT_EQ(result, -1);
        EXPECT_EQ(trace_text(), failure_line(delivered, result_after(answer)));
    }

    static std::string failure_line(int delivered, int32_t result)
    {
        return trace_entry(GetParam().name, GetParam().failure(delivered, result));
    }
};

class RequestNotStarted : public testing::TestWithParam<Row> {};

int line_number(const std::string &trace, const char *function)
{
    const std::string start = std::string("[lib/lte_sdk:") + function + ":";
    EXPECT_EQ(trace.substr(0, start.size()), start);
    return atoi(trace.c_str() + start.size());
}

} // namespace

INSTANTIATE_TEST_SUITE_P(Strict, Request, testing::ValuesIn(kStrictRows));
INSTANTIATE_TEST_SUITE_P(Other, Request, testing::ValuesIn(kOtherRows));
INSTANTIATE_TEST_SUITE_P(All, StrictRequest, testing::ValuesIn(kStrictRows));
INSTANTIATE_TEST_SUITE_P(Strict, RequestNotStarted, testing::ValuesIn(kStrictRows));

TEST_P(Request, sends_its_header_and_body)
{
    const Row &row = GetParam();
    AnsweringPeer wan_manager([&](Peer &peer, const WireMessage &request) {
        peer.respond(request, answer_of(0, row.room()));
    });
    EXPECT_EQ(row.call(), 0);
    const std::vector<WireMessage> &received = wan_manager.stop();
    ASSERT_EQ(received.size(), 1U);
    expect_header(received[0], 1, row.expected().msg_id, static_cast<uint32_t>(row.body.size()));
    EXPECT_NE(received[0].header.session_id, 0U);
    EXPECT_EQ(received[0].body, row.body);
    EXPECT_EQ(row.body.size(), row.expected().body_most);
}

TEST_P(Request, waits_its_own_time)
{
    unheard(GetParam().call);
    EXPECT_EQ(g_exchange.timeout, GetParam().expected().timeout);
}

TEST_P(Request, has_room_for_its_answer_and_not_a_byte_more)
{
    const Row &row = GetParam();
    answered(answer_of(0, row.room()), row.call);
    EXPECT_EQ(g_exchange.room, row.room());
    EXPECT_EQ(g_exchange.result, IPC_SUCCESS);
    answered(answer_of(0, row.room() + 1), row.call);
    EXPECT_EQ(g_exchange.result, IPC_ERR_TOO_SMALL);
}

TEST_P(StrictRequest, succeeds_with_result_0)
{
    const Bytes answer = answer_of(0, GetParam().room());
    EXPECT_EQ(answered(answer, GetParam().call), 0);
    const std::string done = answer.size() < 8
                                 ? GetParam().done(0)
                                 : GetParam().done(static_cast<int32_t>(word_at(answer, 4)));
    EXPECT_EQ(trace_text(), done.empty() ? "" : trace_entry(GetParam().name, done));
}

TEST_P(StrictRequest, fails_with_any_other_result)
{
    for (const int32_t result : {1, -1, 256, INT32_MIN, INT32_MAX}) {
        const Bytes answer = answer_of(result, GetParam().room());
        expect_failure(answered(answer, GetParam().call), 1, answer);
    }
}

TEST_P(StrictRequest, is_decided_by_the_result_whatever_else_the_answer_lacks)
{
    for (uint32_t size = kResultSize; size <= GetParam().room(); ++size) {
        g_value = {1, 77};
        EXPECT_EQ(answered(answer_of(0, size), GetParam().call), 0) << size;
        const std::string done = GetParam().done(static_cast<int32_t>(g_value.value));
        EXPECT_EQ(trace_text(), done.empty() ? "" : trace_entry(GetParam().name, done));
        const Bytes refusal = answer_of(0x05060708, size);
        expect_failure(answered(refusal, GetParam().call), 1, refusal);
    }
}

TEST_P(StrictRequest, fails_with_an_answer_without_a_whole_result)
{
    for (const int32_t result : {0, 0x05060708}) {
        for (size_t size = 0; size < kResultSize; ++size) {
            g_value = {0, 77};
            const Bytes answer = answer_of(result, size);
            expect_failure(answered(answer, GetParam().call), 1, answer);
        }
    }
}

TEST_P(StrictRequest, answer_that_is_too_long_is_not_delivered)
{
    for (const int32_t result : {0, 0x05060708}) {
        for (const uint32_t size : {GetParam().room() + 1, IPC_MSG_MAX_BODY}) {
            const Bytes answer = answer_of(result, size);
            expect_failure(answered(answer, GetParam().call), 0, answer);
        }
    }
}

TEST_P(StrictRequest, fails_without_a_wan_manager) { expect_failure(unheard(GetParam().call), 0); }

TEST_P(StrictRequest, fails_without_an_answer_in_time)
{
    expect_failure(timed_out(GetParam().call), 0);
}

TEST_P(StrictRequest, without_memory_fails_and_sends_nothing)
{
    Peer wan_manager(kWanManagerSocket);
    const std::string failure = failure_line(0, 1);
    const std::string no_message = trace_entry("send_request_syn", "Malloc memory failed.\n\n");
    const std::pair<Allocation, std::string> failures[] = {{kMessage, no_message + failure},
                                                           {kMessage.number(2), no_message + failure},
                                                           {kWaiter, failure},
                                                           {kWaiterNode, failure}};
    for (const auto &[what, trace] : failures) {
        unlink(kTraceFile);
        memory().fail_of_this_thread(what);
        EXPECT_EQ(GetParam().call(), -1) << what.name;
        EXPECT_TRUE(memory().failed()) << what.name;
        EXPECT_EQ(trace_text(), trace) << what.name;
    }
    EXPECT_TRUE(wan_manager.has_nothing());
}

TEST_P(RequestNotStarted, fails_and_sends_nothing)
{
    Peer wan_manager(kWanManagerSocket);
    EXPECT_EQ(GetParam().call(), -1);
    EXPECT_EQ(trace_text(), trace_entry(GetParam().name, GetParam().failure(0, 1)));
    EXPECT_TRUE(wan_manager.has_nothing());
}

// But those that have tests of their own.
TEST(RequestRows, every_request_that_is_answered_has_one_here)
{
    std::set<std::string> rows = {"lct_ext_at_req", "lct_state_change_req", "lct_sms_del_dev_all_msg"};
    for (const Row &row : kStrictRows) {
        rows.insert(row.name);
    }
    for (const Row &row : kOtherRows) {
        rows.insert(row.name);
    }
    for (const ExpectedRequest &request : kExpectedRequests) {
        EXPECT_EQ(rows.count(request.function), request.timeout != 0 ? 1U : 0U) << request.function;
    }
}

TEST(RequestTrace, each_request_names_a_line_of_its_own)
{
    std::set<int> lines;
    for (const Row &row : kStrictRows) {
        unlink(kTraceFile);
        EXPECT_EQ(row.call(), -1);
        lines.insert(line_number(read_text(kTraceFile), row.name));
    }
    EXPECT_EQ(lines.size(), std::size(kStrictRows));
    EXPECT_GT(*lines.begin(), 0);
}

} // namespace request_test
