// One frame sent until it is accepted.
#include "lc_up.h"
#include "support/serial_modem.h"

namespace send_test {

using namespace testing_support;

namespace {

class FrameSending : public SerialModem {
protected:
    int32_t send() { return lc_data_snd(&frame_); }
    std::vector<Bytes> frames(size_t count) { return std::vector<Bytes>(count, bytes_); }

    const Bytes bytes_ = data_frame(3, kPiece, pattern(kPiece));
    const lc_up_frame frame_ = record_of<lc_up_frame>(bytes_);
};

const Steps kExchange = joined({kSend, kReadData});
const Steps kSilentExchange = joined({kSend, repeated(kSilentRead, 10)});
const std::string kOpened = up_entries("lc_open_tty", {"enter", "end"});

std::string entry(const std::string &text) { return up_entry("lc_data_snd", text); }

std::string broken() { return entry("tranlate data from tty dev failure,req index:3"); }

std::string silence()
{
    std::string text;
    for (int i = 0; i < 10; ++i) {
        text += up_entry("lc_data_trans", "read nothing, trans type:16 index:3");
    }
    return text + up_entry("lc_data_trans", "retry read time out") + broken();
}

std::string refused()
{
    return up_entry("lc_data_chk", "Up Response error:RSP_FAILED, index is 3, retry it...") +
           entry("transfer this package again");
}

std::string times(size_t count, const std::string &text)
{
    std::string result;
    for (; count != 0; --count) {
        result += text;
    }
    return result;
}

} // namespace

TEST_F(FrameSending, opens_the_port_once_and_keeps_it_open)
{
    answers();
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(take_steps(), joined({kOpenData, kExchange}));
    EXPECT_EQ(take_trace(), kOpened);
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(take_steps(), kExchange);
    EXPECT_EQ(take_trace(), "");
    EXPECT_EQ(take_written(), frames(2));
    EXPECT_EQ(g_modem.ports.size(), 1U);
}

TEST_F(FrameSending, repeats_the_same_frame_over_the_same_descriptor_when_told_to)
{
    g_modem.hears(answer(bytes_, "RSP_FAILED"));
    g_modem.hears(answer(bytes_, "RSP_FAILED"));
    g_modem.hears(answer(bytes_));
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(take_written(), frames(3));
    EXPECT_EQ(take_steps(), joined({kOpenData, repeated(kExchange, 3)}));
    EXPECT_EQ(take_trace(), kOpened + times(2, refused()));
}

TEST_F(FrameSending, mismatched_response_makes_it_repeat_the_frame)
{
    g_modem.hears(response(4, kDataResponse, "RSP_OK"));
    g_modem.hears(response(3, kCommandResponse, "RSP_OK"));
    g_modem.hears(answer(bytes_));
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(take_written(), frames(3));
    const auto mismatch = [](const std::string &type, const std::string &index) {
        return up_entry("lc_data_chk", "UP Comand error, request type:16 index:3 response type:" +
                                           type + " index:" + index) +
               entry("transfer this package again");
    };
    EXPECT_EQ(take_trace(), kOpened + mismatch("32", "4") + mismatch("2", "3"));
}

TEST_F(FrameSending, late_response_does_not_make_it_repeat_the_frame)
{
    g_modem.hears(response(2, kDataResponse, "RSP_OK"));
    g_modem.hears(answer(bytes_));
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(take_written(), frames(1));
}

TEST_F(FrameSending, eleventh_answer_is_still_taken)
{
    for (int i = 0; i < 10; ++i) {
        g_modem.hears(answer(bytes_, "RSP_FAILED"));
    }
    g_modem.hears(answer(bytes_));
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(take_written(), frames(11));
    EXPECT_EQ(take_trace(), kOpened + times(10, refused()));
}

TEST_F(FrameSending, gives_up_after_eleven_refusals_and_leaves_the_port_open)
{
    answers("RSP_FAILED");
    EXPECT_EQ(send(), -1);
    EXPECT_EQ(take_written(), frames(11));
    EXPECT_EQ(take_steps(), joined({kOpenData, repeated(kExchange, 11)}));
    EXPECT_EQ(take_trace(), kOpened + times(11, refused()) + entry("retry transform time out"));
    EXPECT_EQ(g_modem.ports.size(), 1U);
}

TEST_F(FrameSending, gives_up_at_once_at_any_other_text_and_leaves_the_port_open)
{
    answers("FLASH WORN");
    EXPECT_EQ(send(), -1);
    EXPECT_EQ(take_written(), frames(1));
    EXPECT_EQ(take_steps(), joined({kOpenData, kExchange}));
    EXPECT_EQ(take_trace(),
              kOpened + up_entry("lc_data_chk", "Up Response error:FLASH WORN, index is 3, exit...") +
                  entry("check data failure"));
    answers();
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(take_steps(), kExchange);
}

TEST_F(FrameSending, partial_response_is_judged_by_what_came)
{
    // Without its type it is no answer; with it, but without a text, it is the end.
    g_modem.hears(response(3, kDataResponse, "", 4));
    g_modem.hears(response(3, kDataResponse, "", 8));
    EXPECT_EQ(send(), -1);
    EXPECT_EQ(take_written(), frames(2));
    EXPECT_EQ(take_trace(),
              kOpened +
                  up_entry("lc_data_chk",
                           "UP Comand error, request type:16 index:3 response type:0 index:3") +
                  entry("transfer this package again") +
                  up_entry("lc_data_chk", "Up Response error:, index is 3, exit...") +
                  entry("check data failure"));
}

TEST_F(FrameSending, reopens_the_port_after_a_failed_exchange)
{
    g_modem.hears(ReadEvent::kReadFails);
    g_modem.hears(answer(bytes_));
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(take_written(), frames(2));
    EXPECT_EQ(take_steps(), joined({kOpenData, kExchange, kCloseData, kOpenData, kExchange}));
    EXPECT_EQ(take_trace(),
              kOpened + up_entry("lc_data_trans", "read tty dev failed") + broken() + kOpened);
    EXPECT_EQ(g_modem.ports.size(), 1U);
}

TEST_F(FrameSending, silence_costs_eleven_openings_of_ten_waits)
{
    EXPECT_EQ(send(), -1);
    EXPECT_EQ(take_written(), frames(11));
    EXPECT_EQ(take_steps(), repeated(joined({kOpenData, kSilentExchange, kCloseData}), 11));
    EXPECT_EQ(take_trace(), times(11, kOpened + silence()) + entry("retry transform time out"));
    EXPECT_TRUE(g_modem.ports.empty());
}

TEST_F(FrameSending, port_that_cannot_be_opened_ends_it)
{
    unplug();
    EXPECT_EQ(send(), -1);
    EXPECT_EQ(take_steps(), Steps{"open data: fails"});
    EXPECT_EQ(take_trace(), up_entries("lc_open_tty", {"enter", "open /dev/ttyUSB1 error"}) +
                                entry("open tty dev failed"));
}

TEST_F(FrameSending, port_that_does_not_come_back_ends_it)
{
    g_modem.on_write = [](const Bytes &) {
        unlink(kDataPort);
        g_modem.hears("");
    };
    EXPECT_EQ(send(), -1);
    EXPECT_EQ(take_steps(), joined({kOpenData, kExchange, kCloseData, {"open data: fails"}}));
    EXPECT_EQ(take_trace(), kOpened + up_entry("lc_read_tty", "tty dev disappear") +
                                up_entry("lc_data_trans", "read tty dev failed") + broken() +
                                up_entries("lc_open_tty", {"enter", "open /dev/ttyUSB1 error"}) +
                                entry("open tty dev failed"));
    EXPECT_TRUE(g_modem.ports.empty());
}

TEST_F(FrameSending, port_that_comes_back_is_sent_the_frame_again)
{
    g_modem.on_write = [](const Bytes &) {
        unlink(kDataPort);
        g_modem.hears("");
        g_modem.before_open = [] {
            plug_in(kDataPort);
            answers();
        };
    };
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(take_written(), frames(2));
    EXPECT_EQ(take_steps(), joined({kOpenData, kExchange, kCloseData, kOpenData, kExchange}));
}

TEST_F(FrameSending, descriptor_0_is_not_closed_and_not_kept)
{
    close(0);
    g_modem.hears(ReadEvent::kReadFails); // over descriptor 0
    g_modem.hears(answer(bytes_));
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(take_steps(), joined({kOpenData, kExchange, kOpenData, kExchange}));
    EXPECT_TRUE(g_modem.is_open(0));
    answers();
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(take_steps(), kExchange);
}

TEST_F(FrameSending, descriptor_0_counts_as_not_open)
{
    close(0);
    g_modem.hears(answer(bytes_, "RSP_FAILED")); // over descriptor 0, which works
    g_modem.hears(answer(bytes_));
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(take_steps(), joined({kOpenData, kExchange, kOpenData, kExchange}));
}

TEST_F(FrameSending, null_is_refused_before_the_port_is_opened)
{
    EXPECT_EQ(lc_data_snd(nullptr), -1);
    EXPECT_EQ(take_steps(), Steps());
    EXPECT_EQ(take_trace(), entry("param is NULL"));
}

} // namespace send_test
