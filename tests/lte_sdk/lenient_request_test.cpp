// The requests that succeed when they are delivered.
#include "support/sync_requests.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace lenient_request_test {

using namespace testing_support;

namespace {

constexpr uint8_t kEnable = 1;
constexpr uint32_t kValue = 2;

int32_t set_pin_enabled() { return lct_sim_set_pinen_req(&kEnable); }
int32_t set_preference() { return lct_net_set_pref_req(&kValue); }
int32_t set_status() { return lct_net_set_status_test_req(&kValue); }

struct Row {
    const char *function;
    const char *request; // as the trace names it
    int32_t (*call)();
    uint32_t room;
};

void PrintTo(const Row &row, std::ostream *out) { *out << row.function; }

constexpr Row kPinEnabled = {"lct_sim_set_pinen_req", "WM_MSG_PIN_MODIFY_EN_REQ", set_pin_enabled, 1};
constexpr Row kPreference = {"lct_net_set_pref_req", "WM_MSG_DUALMODE_SET_PREF_REQ", set_preference, 4};
constexpr Row kStatus = {"lct_net_set_status_test_req", "SC_STATE_CHANGE_REQ", set_status, 4};
constexpr Row kRows[] = {kPinEnabled, kPreference, kStatus};

void expect_undelivered(const Row &row, int32_t result, int traced_result)
{
    EXPECT_EQ(result, -1);
    EXPECT_EQ(trace_text(),
              trace_entry(row.function, std::string("call ") + row.request + " failed ret:0 rsp:" +
                                            std::to_string(traced_result) + "\n\n"));
}

void expect_success(int32_t result)
{
    EXPECT_EQ(result, 0);
    EXPECT_EQ(trace_text(), "");
}

class LenientRequest : public Client, public testing::WithParamInterface<Row> {};
class LenientNotStarted : public testing::TestWithParam<Row> {};
using TooLongAnswer = Client;

} // namespace

INSTANTIATE_TEST_SUITE_P(All, LenientRequest, testing::ValuesIn(kRows));
INSTANTIATE_TEST_SUITE_P(All, LenientNotStarted, testing::ValuesIn(kRows));

TEST_P(LenientRequest, succeeds_with_any_result)
{
    for (const int32_t result : {0, 1, -1, 256, 0x05060708}) {
        expect_success(answered(answer_of(result, GetParam().room), GetParam().call));
    }
}

TEST_P(LenientRequest, succeeds_with_a_short_answer)
{
    for (uint32_t size = 0; size < GetParam().room; ++size) {
        expect_success(answered(answer_of(0x05060708, size), GetParam().call));
    }
}

TEST_P(LenientRequest, fails_without_a_wan_manager)
{
    expect_undelivered(GetParam(), unheard(GetParam().call), 1);
}

TEST_P(LenientRequest, fails_without_an_answer_in_time)
{
    expect_undelivered(GetParam(), timed_out(GetParam().call), 1);
}

TEST_P(LenientNotStarted, fails) { expect_undelivered(GetParam(), GetParam().call(), 1); }

TEST_F(TooLongAnswer, fails_and_its_result_is_traced)
{
    expect_undelivered(kPinEnabled, answered({200, 0, 0, 0}, set_pin_enabled), 200);
    expect_undelivered(kPreference, answered(answer_of(-7, 5), set_preference), -7);
    expect_undelivered(kStatus, answered(answer_of(-7, 5), set_status), -7);
}

TEST_F(TooLongAnswer, of_result_0_fails_too)
{
    expect_undelivered(kPinEnabled, answered({0, 0}, set_pin_enabled), 0);
    expect_undelivered(kStatus, answered(answer_of(0, 5), set_status), 0);
}

TEST_F(TooLongAnswer, of_result_0_to_a_preference_succeeds)
{
    expect_success(answered(answer_of(0, 5), set_preference));
    expect_success(answered(answer_of(0, IPC_MSG_MAX_BODY), set_preference));
}

} // namespace lenient_request_test
