// The search for operators: its answer, and when the list in the RAM store is printed.
#include "lc_nv.h"
#include "support/guarded.h"
#include "support/standard_output.h"
#include "support/sync_requests.h"

#include <gtest/gtest.h>

#include <string>

namespace netlist_request_test {

using namespace testing_support;

namespace {

constexpr uint32_t kSize = 408;
constexpr char kList[] = "nv value:**end**\n";

const std::string kSendFailure = trace_entry("lct_get_netlist_req", "ipc msg send failure.\n\n");
const std::string kResultError = trace_entry("lct_get_netlist_req", "result error.\n\n");

class NetlistRequest : public Client {
protected:
    NetlistRequest() { EXPECT_EQ(nvmram_writenv("wm_search_netlist_nv", "end", 524), 0U); }

    int32_t ask() { return lct_get_netlist_req(out_.get()); }

    int32_t ask_answered(const Bytes &answer)
    {
        return answered(answer, [this] { return ask(); });
    }

    template <typename Call>
    static void expect(Call call, int32_t result, const std::string &trace, const std::string &printed)
    {
        EXPECT_EQ(printed_by([&] { EXPECT_EQ(call(), result); }), printed);
        EXPECT_EQ(trace_text(), trace);
    }

    // The record begins with these bytes and is as it was behind them.
    void expect_begin(const Bytes &begin, std::string before = Guarded<lct_netlist_rsp>().bytes())
    {
        before.replace(0, begin.size(), std::string(begin.begin(), begin.end()));
        EXPECT_EQ(out_.bytes(), before);
    }

    Guarded<lct_netlist_rsp> out_;
};

} // namespace

TEST_F(NetlistRequest, answer_fills_the_record_and_the_list_is_printed)
{
    const Bytes answer = answer_of(0, kSize);
    expect([&] { return ask_answered(answer); }, 0, "", kList);
    expect_begin(answer);
}

TEST_F(NetlistRequest, other_result_fails_and_the_list_is_printed_all_the_same)
{
    for (const int32_t result : {1, -1, 256}) {
        const Bytes answer = answer_of(result, kSize);
        expect([&] { return ask_answered(answer); }, -1, kResultError, kList);
        expect_begin(answer);
    }
}

TEST_F(NetlistRequest, list_that_is_missing_changes_neither_result_nor_trace)
{
    nvmram_clear();
    expect([&] { return ask_answered(answer_of(0, kSize)); }, 0, "", "read nv err\n");
    expect([&] { return ask_answered(answer_of(1, kSize)); }, -1, kResultError, "read nv err\n");
}

TEST_F(NetlistRequest, answer_may_be_short_if_it_has_a_result)
{
    for (const uint32_t size : {4U, 8U, 407U}) {
        expect([&] { return ask_answered(answer_of(0, size)); }, 0, "", kList);
        expect_begin(answer_of(0, size));
        expect([&] { return ask_answered(answer_of(5, size)); }, -1, kResultError, kList);
        expect_begin(answer_of(5, size));
    }
}

TEST_F(NetlistRequest, answer_without_a_result_fails_whatever_the_record_held)
{
    const std::string zeros(kSize, '\0');
    for (const uint32_t size : {0U, 1U, 3U}) {
        memset(out_.get(), 0, kSize);
        expect([&] { return ask_answered(Bytes(size)); }, -1, kResultError, kList);
        expect_begin({}, zeros);
    }
}

TEST_F(NetlistRequest, answer_that_is_too_long_is_a_send_failure_and_prints_nothing)
{
    expect([&] { return ask_answered(answer_of(0, kSize + 1)); }, -1, kSendFailure, "");
    expect_begin(answer_of(0, kSize));
}

} // namespace netlist_request_test
