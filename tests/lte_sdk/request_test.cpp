// The requests, a row each: what goes over the wire, what is waited for, and what the caller and the
// trace file are told.
#include "support/counted_memory.h"
#include "support/expected_requests.h"
#include "support/standard_output.h"
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
const auto kInterface = patterned<lct_iface_status>();
constexpr uint8_t kEnable = 0xA1;
constexpr uint32_t kValue = 0xA1B2C3D4;

constexpr uint32_t kResultSize = 4;

// What calls fill in, but for the channel, which is 0 without an answer.
struct Out {
    lct_value_rsp value;
    lct_netlist_rsp operators;
    char imsi[20];
    char text[160];
};
Out g_out;
uint32_t g_channel;

// The trace lines of a failure. result: what the response record holds, 1 when nothing came.
struct Row;
using FailureText = std::string (*)(const Row &row, int delivered, int32_t result);
using DoneText = std::string (*)(int32_t value);

struct Row {
    const char *name;
    int32_t (*call)();
    Bytes body;
    FailureText failure = nullptr;
    DoneText done = [](int32_t) { return std::string(); };
    uint32_t own_room = 0;         // where it is the caller's
    const char *message = nullptr; // as the trace names it

    ExpectedRequest expected() const { return expected_request(name); }
    uint32_t room() const { return own_room != 0 ? own_room : expected().room; }
    bool is_answered() const { return expected().timeout != 0; }

    std::string failure_lines(int delivered, int32_t result) const
    {
        return trace_entry(name, failure(*this, delivered, result));
    }
    std::string done_lines(int32_t value) const
    {
        return done(value).empty() ? "" : trace_entry(name, done(value));
    }
};

std::string send_or_result(const Row &, int delivered, int32_t)
{
    return delivered != 0 ? "result error.\n\n" : "ipc msg send failure.\n\n";
}

std::string result_only(const Row &, int, int32_t) { return "result error.\n"; }

std::string apn_result(const Row &, int, int32_t result)
{
    return "ipc result of request msg error:" + std::to_string(result) + "\n\n";
}

std::string channel_result(const Row &, int delivered, int32_t result)
{
    return "get channel failed ret:" + std::to_string(delivered) + " rsp:" + std::to_string(result) +
           "\n\n";
}

std::string call_failed(const Row &row, int, int32_t result)
{
    return std::string("call ") + row.message + " failed ret:0 rsp:" + std::to_string(result) + "\n\n";
}

std::string interface_failed(const Row &, int, int32_t)
{
    return "call WM_MSG_IFACE_UPORDOWN_REQ failed ret:0 \n\n";
}

std::string rsp_len(int32_t) { return "rsp_len=20.\n\n"; }

std::string rsp_len_and_failure(const Row &row, int, int32_t)
{
    return rsp_len(0) + trace_entry(row.name, "need more length buffer to put.\n\n");
}

// The request still stands where the answer would: its first word is the command's length.
std::string command_length(const Row &, int, int32_t)
{
    return "call WM_MSG_MODEM_AT_REQ failed. ret=0 rsp->err_code=7\n\n";
}

std::string roam_value(int32_t value)
{
    return "get roam switch value:" + std::to_string(value) + "\n\n";
}

using Rows = std::vector<Row>;

// clang-format off
// Those that succeed with an answer of result 0 and with no other.
const Rows kStrict = {
    {"lct_enable_pin", [] { return lct_enable_pin(&kPin); }, bytes_of(kPin), send_or_result},
    {"lct_disenable_pin", [] { return lct_disenable_pin(&kPin); }, bytes_of(kPin), send_or_result},
    {"lct_modify_pin", [] { return lct_modify_pin(&kPinChange); }, bytes_of(kPinChange), send_or_result},
    {"lct_modify_pin_en", [] { return lct_modify_pin_en(&kEnable); }, {kEnable}, send_or_result},
    {"lct_set_nettype", [] { return lct_set_nettype(&kValue); }, bytes_of(kValue), send_or_result},
    {"lct_get_nettype", [] { return lct_get_nettype(&g_out.value); }, {}, send_or_result},
    {"lct_set_roam_switch", [] { return lct_set_roam_switch(&kValue); }, bytes_of(kValue), send_or_result},
    {"lct_get_roam_switch", [] { return lct_get_roam_switch(&g_out.value); }, {}, send_or_result, roam_value},
    {"lct_set_serial_port", [] { return lct_set_serial_port(kValue); }, bytes_of(kValue), send_or_result},
    {"lct_get_diag_info", [] { return lct_get_diag_info(); }, {}, result_only},
    {"lct_get_diag_hide_info", [] { return lct_get_diag_hide_info(); }, {}, result_only},
    {"lct_apn_set_req", [] { return lct_apn_set_req(); }, {}, apn_result},
    {"lct_lte_channel_req", [] { return lct_lte_channel_req(&g_channel); }, {}, channel_result},
};

// Those that succeed when they are delivered.
const Row kPinEnabled = {.name = "lct_sim_set_pinen_req", .call = [] { return lct_sim_set_pinen_req(&kEnable); },
                         .body = {kEnable}, .failure = call_failed, .message = "WM_MSG_PIN_MODIFY_EN_REQ"};
const Row kPreference = {.name = "lct_net_set_pref_req", .call = [] { return lct_net_set_pref_req(&kValue); },
                         .body = bytes_of(kValue), .failure = call_failed, .message = "WM_MSG_DUALMODE_SET_PREF_REQ"};
const Row kStatus = {.name = "lct_net_set_status_test_req", .call = [] { return lct_net_set_status_test_req(&kValue); },
                     .body = bytes_of(kValue), .failure = call_failed, .message = "SC_STATE_CHANGE_REQ"};
const Rows kLenient = {kPinEnabled, kPreference, kStatus};

// Of what becomes of their answers there are tests elsewhere.
const Rows kOther = {
    {"lct_get_netlist_req", [] { return lct_get_netlist_req(&g_out.operators); }, {}, send_or_result},
    {"lct_net_imsi_get_req", [] { return lct_net_imsi_get_req(g_out.imsi, sizeof(g_out.imsi)); }, {},
     rsp_len_and_failure, rsp_len, sizeof(g_out.imsi)},
};

const Rows kUnanswered = {
    {"lct_inface_status_req", [] { return lct_inface_status_req(&kInterface); }, bytes_of(kInterface), interface_failed},
    {"lct_at_cfun_off_req", [] { return lct_at_cfun_off_req(); }, {}, send_or_result},
};

// Those that tell of no failure.
const Rows kSilent = {
    {"lct_connect", [] { return lct_connect(); }, {}},
    {"lct_disconnect", [] { return lct_disconnect(); }, {}},
};

const Rows kAt = {
    {"lct_ext_at_req", [] { return lct_ext_at_req("AT+CSQ?", g_out.text, sizeof(g_out.text)); }, {}, command_length},
};
// clang-format on

Rows joined(const std::vector<Rows> &groups)
{
    Rows rows;
    for (const Rows &group : groups) {
        rows.insert(rows.end(), group.begin(), group.end());
    }
    return rows;
}

const Rows kAnswered = joined({kStrict, kLenient, kOther, kAt});
const Rows kFailing = joined({kAnswered, kUnanswered});

void PrintTo(const Row &row, std::ostream *out) { *out << row.name; }

// The response record's result when this much of an answer has come.
int32_t result_after(const Bytes &answer)
{
    int32_t result = 1;
    std::copy_n(answer.begin(), std::min(answer.size(), sizeof(result)),
                reinterpret_cast<uint8_t *>(&result));
    return result;
}

// A call that gets no answer fails with its trace, prints nothing and leaves what it is to fill in.
template <typename Call> void expect_no_answer(const Row &row, Call call)
{
    memset(static_cast<void *>(&g_out), 0xA5, sizeof(g_out));
    const Bytes before = bytes_of(g_out);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(call(), -1); }), "");
    EXPECT_EQ(trace_text(), row.failure_lines(0, 1));
    EXPECT_EQ(bytes_of(g_out), before);
}

// Destroyed after the client that it is in front of.
struct NothingLeft {
    ~NothingLeft() { EXPECT_EQ(memory().blocks_in_use(), 0U); }
};

class Request : NothingLeft, public Client, public testing::WithParamInterface<Row> {};
using SentRequest = Request;
using FailingRequest = Request;
using LenientRequest = Request;

class StrictRequest : public Request {
protected:
    void expect_failure(int32_t result, int delivered, const Bytes &answer)
    {
        EXPECT_EQ(result, -1);
        EXPECT_EQ(trace_text(), GetParam().failure_lines(delivered, result_after(answer)));
    }
};

class RequestNotStarted : public testing::TestWithParam<Row> {};
using TooLongAnswer = Client;

int line_number(const std::string &trace, const char *function)
{
    const std::string start = std::string("[lib/lte_sdk:") + function + ":";
    EXPECT_EQ(trace.substr(0, start.size()), start);
    return atoi(trace.c_str() + start.size());
}

} // namespace

INSTANTIATE_TEST_SUITE_P(All, SentRequest,
                         testing::ValuesIn(joined({kStrict, kLenient, kOther, kUnanswered, kSilent})));
INSTANTIATE_TEST_SUITE_P(All, Request, testing::ValuesIn(kAnswered));
INSTANTIATE_TEST_SUITE_P(All, FailingRequest, testing::ValuesIn(kFailing));
INSTANTIATE_TEST_SUITE_P(All, RequestNotStarted, testing::ValuesIn(kFailing));
INSTANTIATE_TEST_SUITE_P(All, StrictRequest, testing::ValuesIn(kStrict));
INSTANTIATE_TEST_SUITE_P(All, LenientRequest, testing::ValuesIn(kLenient));

TEST_P(SentRequest, has_its_header_and_body_and_succeeds_with_result_0)
{
    const Row &row = GetParam();
    const Bytes answer = answer_of(0, row.room());
    AnsweringPeer wan_manager(
        [&](Peer &peer, const WireMessage &request) { peer.respond(request, answer); });
    EXPECT_EQ(row.call(), 0);
    const std::vector<WireMessage> &received = wan_manager.stop();
    ASSERT_EQ(received.size(), 1U);
    expect_header(received[0], row.is_answered() ? IPC_MSG_TYPE_REQUEST : IPC_MSG_TYPE_ASYNC,
                  row.expected().msg_id, static_cast<uint32_t>(row.body.size()));
    EXPECT_NE(received[0].header.session_id, 0U);
    EXPECT_EQ(received[0].body, row.body);
    EXPECT_EQ(row.body.size(), row.expected().body_most);
    EXPECT_EQ(trace_text(), row.done_lines(static_cast<int32_t>(word_at(answer, 4))));
}

TEST_P(Request, waits_its_own_time_for_an_answer)
{
    const Row &row = GetParam();
    expect_no_answer(row, [&] { return timed_out(row.call); });
    EXPECT_EQ(g_exchange.timeout, row.expected().timeout);
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

TEST_P(FailingRequest, has_nobody_to_go_to_without_a_wan_manager)
{
    g_exchange = {};
    expect_no_answer(GetParam(), GetParam().call);
    EXPECT_EQ(g_exchange.result, GetParam().is_answered() ? IPC_ERR_SOCKET : IPC_SUCCESS);
}

TEST_P(FailingRequest, is_not_sent_without_memory)
{
    Peer wan_manager(kWanManagerSocket);
    const Row &row = GetParam();
    const std::string failure = row.failure_lines(0, 1);
    const auto no_message = [&](const char *function) {
        return trace_entry(function, "Malloc memory failed.\n\n") + failure;
    };
    std::vector<std::pair<Allocation, std::string>> failures = {{kMessage, no_message("send_request")}};
    if (row.is_answered()) {
        failures = {{kMessage, no_message("send_request_syn")},
                    {kMessage.number(2), no_message("send_request_syn")},
                    {kWaiter, failure},
                    {kWaiterNode, failure}};
    }
    for (const auto &[what, trace] : failures) {
        unlink(kTraceFile);
        memory().fail_of_this_thread(what);
        EXPECT_EQ(row.call(), -1) << what.name;
        EXPECT_TRUE(memory().failed()) << what.name;
        EXPECT_EQ(trace_text(), trace) << what.name;
    }
    EXPECT_TRUE(wan_manager.has_nothing());
}

TEST_P(RequestNotStarted, fails_and_sends_nothing)
{
    Peer wan_manager(kWanManagerSocket);
    expect_no_answer(GetParam(), GetParam().call);
    EXPECT_TRUE(wan_manager.has_nothing());
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
        g_out.value = {1, 77};
        EXPECT_EQ(answered(answer_of(0, size), GetParam().call), 0) << size;
        EXPECT_EQ(trace_text(), GetParam().done_lines(static_cast<int32_t>(g_out.value.value)));
        const Bytes refusal = answer_of(0x05060708, size);
        expect_failure(answered(refusal, GetParam().call), 1, refusal);
    }
}

TEST_P(StrictRequest, fails_with_an_answer_without_a_whole_result)
{
    for (const int32_t result : {0, 0x05060708}) {
        for (size_t size = 0; size < kResultSize; ++size) {
            g_out.value = {0, 77};
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

TEST_P(LenientRequest, succeeds_with_any_result_and_with_a_short_answer)
{
    const uint32_t room = GetParam().room();
    std::vector<Bytes> answers;
    for (const int32_t result : {0, 1, -1, 256}) {
        answers.push_back(answer_of(result, room));
    }
    for (uint32_t size = 0; size <= room; ++size) {
        answers.push_back(answer_of(0x05060708, size));
    }
    for (const Bytes &answer : answers) {
        EXPECT_EQ(answered(answer, GetParam().call), 0);
        EXPECT_EQ(trace_text(), "");
    }
}

TEST_F(TooLongAnswer, fails_and_its_result_is_traced)
{
    const struct {
        const Row &row;
        Bytes answer;
        int32_t result;
    } answers[] = {
        {kPinEnabled, {200, 0, 0, 0}, 200},  {kPinEnabled, {0, 0}, 0},
        {kPreference, answer_of(-7, 5), -7}, {kStatus, answer_of(-7, 5), -7},
        {kStatus, answer_of(0, 5), 0},
    };
    for (const auto &[row, answer, result] : answers) {
        EXPECT_EQ(answered(answer, row.call), -1);
        EXPECT_EQ(trace_text(), row.failure_lines(0, result));
    }
}

TEST_F(TooLongAnswer, of_result_0_to_a_preference_succeeds)
{
    for (const uint32_t size : {uint32_t{5}, IPC_MSG_MAX_BODY}) {
        EXPECT_EQ(answered(answer_of(0, size), kPreference.call), 0);
        EXPECT_EQ(trace_text(), "");
    }
}

using SilentRequest = Client;

TEST_F(SilentRequest, gives_0_without_a_wan_manager)
{
    for (const Row &row : kSilent) {
        EXPECT_EQ(row.call(), 0) << row.name;
    }
    EXPECT_EQ(trace_text(), "");
}

TEST(SilentRequestNotStarted, gives_0_and_sends_nothing)
{
    Peer wan_manager(kWanManagerSocket);
    for (const Row &row : kSilent) {
        EXPECT_EQ(row.call(), 0) << row.name;
    }
    EXPECT_TRUE(wan_manager.has_nothing());
}

TEST(RequestRows, every_request_has_one_here_but_those_without_a_client)
{
    std::set<std::string> rows = {"lct_state_change_req", "lct_sms_del_dev_all_msg",
                                  "lct_test_ussd_notify_req"};
    for (const Row &row : joined({kFailing, kSilent})) {
        rows.insert(row.name);
    }
    std::set<std::string> expected;
    for (const ExpectedRequest &request : kExpectedRequests) {
        expected.insert(request.function);
    }
    EXPECT_EQ(rows, expected);
}

TEST(RequestTrace, each_request_names_a_line_of_its_own)
{
    std::set<int> lines;
    for (const Row &row : kStrict) {
        unlink(kTraceFile);
        EXPECT_EQ(row.call(), -1);
        lines.insert(line_number(read_text(kTraceFile), row.name));
    }
    EXPECT_EQ(lines.size(), kStrict.size());
    EXPECT_GT(*lines.begin(), 0);
}

} // namespace request_test
