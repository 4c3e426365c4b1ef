// The requests that have a value to give: what the caller's record or variable holds afterwards.
#include "support/guarded.h"
#include "support/sync_requests.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace value_request_test {

using namespace testing_support;

namespace {

struct Row {
    const char *name;
    int32_t (*get)(lct_value_rsp *out);
};

void PrintTo(const Row &row, std::ostream *out) { *out << row.name; }

constexpr Row kRows[] = {
    {"lct_get_nettype", lct_get_nettype},
    {"lct_get_roam_switch", lct_get_roam_switch},
};

class ValueRequest : public Client, public testing::WithParamInterface<Row> {
protected:
    static int32_t ask(lct_value_rsp *out) { return GetParam().get(out); }
};

std::string text_of(const Bytes &bytes) { return {bytes.begin(), bytes.end()}; }

class Channel : public Client {
protected:
    static int32_t ask() { return lct_lte_channel_req(&channel); }

    static inline uint32_t channel = 77;
};

Bytes channel_answer(int32_t result, uint32_t channel)
{
    return bytes_of(lct_value_rsp{result, channel});
}

} // namespace

INSTANTIATE_TEST_SUITE_P(All, ValueRequest, testing::ValuesIn(kRows));

TEST_P(ValueRequest, answer_fills_the_record_whatever_its_result)
{
    for (const int32_t result : {0, 5, -1}) {
        Guarded<lct_value_rsp> out;
        const Bytes answer = answer_of(result, 8);
        EXPECT_EQ(answered(answer, [&] { return ask(out.get()); }), result == 0 ? 0 : -1);
        EXPECT_EQ(out.bytes(), text_of(answer));
    }
}

TEST_P(ValueRequest, value_that_the_answer_lacks_is_left_as_it_was)
{
    for (const int32_t result : {0, 5, -1}) {
        for (const size_t size : {0U, 1U, 3U, 4U, 7U}) {
            lct_value_rsp out = {77, 78};
            Bytes expected = bytes_of(out);
            const Bytes answer = answer_of(result, size);
            std::copy(answer.begin(), answer.end(), expected.begin());
            EXPECT_EQ(answered(answer, [&] { return ask(&out); }), result == 0 && size >= 4 ? 0 : -1);
            EXPECT_EQ(bytes_of(out), expected);
        }
    }
}

TEST_P(ValueRequest, answer_without_a_result_is_no_success_in_a_record_that_held_one)
{
    for (const size_t size : {0U, 1U, 3U}) {
        lct_value_rsp out = {0, 78};
        EXPECT_EQ(answered(Bytes(size), [&] { return ask(&out); }), -1);
        EXPECT_EQ(bytes_of(out), bytes_of(lct_value_rsp{0, 78}));
    }
}

TEST_P(ValueRequest, of_an_answer_that_is_too_long_the_record_gets_what_fits)
{
    Guarded<lct_value_rsp> out;
    EXPECT_EQ(answered(answer_of(0, 9), [&] { return ask(out.get()); }), -1);
    EXPECT_EQ(out.bytes(), text_of(answer_of(0, 8)));
}

using RoamSwitch = Client;

TEST_F(RoamSwitch, is_traced_as_a_signed_value)
{
    lct_value_rsp out = {};
    EXPECT_EQ(
        answered(bytes_of(lct_value_rsp{0, 0xFFFFFFFE}), [&] { return lct_get_roam_switch(&out); }), 0);
    EXPECT_EQ(out.value, 0xFFFFFFFEU);
    EXPECT_EQ(trace_text(), trace_entry("lct_get_roam_switch", "get roam switch value:-2\n\n"));
}

TEST_F(RoamSwitch, that_the_answer_lacks_is_traced_as_it_was)
{
    lct_value_rsp out = {5, 78};
    EXPECT_EQ(answered({0, 0, 0, 0}, [&] { return lct_get_roam_switch(&out); }), 0);
    EXPECT_EQ(bytes_of(out), bytes_of(lct_value_rsp{0, 78}));
    EXPECT_EQ(trace_text(), trace_entry("lct_get_roam_switch", "get roam switch value:78\n\n"));
}

TEST_F(Channel, is_given_with_result_0)
{
    for (const uint32_t number : {1U, 0U, 0xFFFFFFFEU}) {
        EXPECT_EQ(answered(channel_answer(0, number), ask), 0);
        EXPECT_EQ(channel, number);
    }
}

TEST_F(Channel, is_0_with_any_other_result)
{
    for (const int32_t result : {1, -1, 256}) {
        channel = 77;
        EXPECT_EQ(answered(channel_answer(result, 1300), ask), -1);
        EXPECT_EQ(channel, 0U);
    }
}

TEST_F(Channel, is_0_when_the_answer_does_not_hold_it)
{
    channel = 77;
    EXPECT_EQ(answered({0, 0, 0, 0}, ask), 0);
    EXPECT_EQ(channel, 0U);
    EXPECT_EQ(trace_text(), "");
    for (const size_t size : {0U, 3U, 9U}) {
        channel = 77;
        EXPECT_EQ(answered(answer_of(0, size), ask), -1);
        EXPECT_EQ(channel, 0U) << size;
    }
}

TEST_F(Channel, is_0_when_no_answer_comes)
{
    channel = 77;
    EXPECT_EQ(unheard(ask), -1);
    EXPECT_EQ(channel, 0U);
    channel = 77;
    EXPECT_EQ(timed_out(ask), -1);
    EXPECT_EQ(channel, 0U);
    EXPECT_EQ(lct_module_fin(), 0);
    channel = 77;
    EXPECT_EQ(ask(), -1);
    EXPECT_EQ(channel, 0U);
}

} // namespace value_request_test
