// The IMSI, into a buffer of the caller's size.
#include "support/guarded.h"
#include "support/sync_requests.h"

#include <gtest/gtest.h>

#include <string>

namespace imsi_test {

using namespace testing_support;

namespace {

constexpr uint32_t kLength = 20;

std::string rsp_len(uint32_t length)
{
    return trace_entry("lct_net_imsi_get_req", "rsp_len=" + std::to_string(length) + ".\n\n");
}

std::string rsp_len_and_failure(uint32_t length)
{
    return rsp_len(length) + trace_entry("lct_net_imsi_get_req", "need more length buffer to put.\n\n");
}

class Imsi : public Client {
protected:
    int32_t ask() { return lct_net_imsi_get_req(*buffer_.get(), kLength); }

    int32_t ask_answered(const Bytes &answer)
    {
        return answered(answer, [this] { return ask(); });
    }

    // The buffer begins with these bytes and is untouched behind them.
    void expect_begin(const Bytes &begin)
    {
        std::string expected = Guarded<char[kLength]>().bytes();
        expected.replace(0, begin.size(), std::string(begin.begin(), begin.end()));
        EXPECT_EQ(buffer_.bytes(), expected);
    }

    Guarded<char[kLength]> buffer_;
};

} // namespace

TEST_F(Imsi, answer_is_given_as_far_as_it_goes_whatever_its_result)
{
    for (const Bytes &answer : {answer_of(0, 0), answer_of(0, 1), answer_of(0, 3), answer_of(0, 4),
                                answer_of(0, 19), answer_of(0, kLength), answer_of(-1, kLength)}) {
        EXPECT_EQ(ask_answered(answer), 0);
        expect_begin(answer);
        EXPECT_EQ(trace_text(), rsp_len(static_cast<uint32_t>(answer.size())));
    }
}

TEST_F(Imsi, longer_answer_fails_and_the_buffer_gets_what_fits)
{
    for (const uint32_t size : {kLength + 1, IPC_MSG_MAX_BODY}) {
        EXPECT_EQ(ask_answered(answer_of(0, size)), -1);
        expect_begin(answer_of(0, kLength));
        EXPECT_EQ(trace_text(), rsp_len_and_failure(kLength));
    }
}

TEST_F(Imsi, room_is_the_callers)
{
    std::vector<char> buffer(IPC_MSG_MAX_BODY);
    for (const uint32_t length : {1U, 4U, 19U, IPC_MSG_MAX_BODY}) {
        const Bytes answer = answer_of(0, length);
        EXPECT_EQ(answered(answer, [&] { return lct_net_imsi_get_req(buffer.data(), length); }), 0);
        EXPECT_EQ(g_exchange.room, length);
        EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + length), answer);
    }
}

TEST_F(Imsi, buffer_of_no_bytes_takes_an_empty_answer_only)
{
    const auto ask_nothing = [this] { return lct_net_imsi_get_req(*buffer_.get(), 0); };
    EXPECT_EQ(answered({}, ask_nothing), 0);
    EXPECT_EQ(trace_text(), rsp_len(0));
    EXPECT_EQ(answered({1}, ask_nothing), -1);
    EXPECT_EQ(trace_text(), rsp_len_and_failure(0));
    EXPECT_TRUE(buffer_.untouched());
}

} // namespace imsi_test
