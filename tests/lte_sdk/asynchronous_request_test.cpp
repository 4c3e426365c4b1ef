// The requests that wait for no answer.
#include "lc_ipc_msg.h"
#include "support/bytes.h"
#include "support/client.h"
#include "support/counted_memory.h"
#include "support/expected_requests.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace asynchronous_request_test {

using namespace testing_support;

namespace {

const auto kInterface = patterned<lct_iface_status>();

struct Row {
    const char *function;
    int32_t (*call)();
    Bytes body;
    const char *failure;
};

void PrintTo(const Row &row, std::ostream *out) { *out << row.function; }

const Row kRows[] = {
    {"lct_inface_status_req", [] { return lct_inface_status_req(&kInterface); }, bytes_of(kInterface),
     "call WM_MSG_IFACE_UPORDOWN_REQ failed ret:0 \n\n"},
    {"lct_at_cfun_off_req", [] { return lct_at_cfun_off_req(); }, {}, "ipc msg send failure.\n\n"},
};

std::string failure_line(const Row &row) { return trace_entry(row.function, row.failure); }

class AsynchronousRequest : public Client, public testing::WithParamInterface<Row> {};
class AsynchronousNotStarted : public testing::TestWithParam<Row> {};

} // namespace

INSTANTIATE_TEST_SUITE_P(All, AsynchronousRequest, testing::ValuesIn(kRows));
INSTANTIATE_TEST_SUITE_P(All, AsynchronousNotStarted, testing::ValuesIn(kRows));

TEST_P(AsynchronousRequest, sends_its_header_and_body_once_and_traces_nothing)
{
    Peer wan_manager(kWanManagerSocket);
    EXPECT_EQ(GetParam().call(), 0);
    const WireMessage message = receive_from(wan_manager);
    expect_header(message, 0, expected_request(GetParam().function).msg_id,
                  static_cast<uint32_t>(GetParam().body.size()));
    EXPECT_NE(message.header.session_id, 0U);
    EXPECT_EQ(message.body, GetParam().body);
    EXPECT_TRUE(wan_manager.has_nothing());
    EXPECT_EQ(trace_text(), "");
}

TEST_P(AsynchronousRequest, fails_without_a_wan_manager)
{
    EXPECT_EQ(GetParam().call(), -1);
    EXPECT_EQ(trace_text(), failure_line(GetParam()));
}

TEST_P(AsynchronousRequest, without_memory_fails_and_sends_nothing)
{
    Peer wan_manager(kWanManagerSocket);
    memory().fail_of_this_thread(kMessage);
    EXPECT_EQ(GetParam().call(), -1);
    EXPECT_EQ(trace_text(),
              trace_entry("send_request", "Malloc memory failed.\n\n") + failure_line(GetParam()));
    EXPECT_TRUE(wan_manager.has_nothing());
}

TEST_P(AsynchronousNotStarted, fails_and_sends_nothing)
{
    Peer wan_manager(kWanManagerSocket);
    EXPECT_EQ(GetParam().call(), -1);
    EXPECT_EQ(trace_text(), failure_line(GetParam()));
    EXPECT_TRUE(wan_manager.has_nothing());
}

} // namespace asynchronous_request_test
