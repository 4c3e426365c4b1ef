// One frame and its response.
#include "lc_up.h"
#include "support/guarded.h"
#include "support/serial_modem.h"

namespace exchange_test {

using namespace testing_support;

namespace {

class FrameExchange : public SerialModem {
protected:
    int32_t exchange(const Bytes &bytes)
    {
        const auto frame = record_of<lc_up_frame>(bytes);
        return lc_data_trans(fd_, &frame, response_.get());
    }
    int32_t exchange_piece(uint32_t index)
    {
        return exchange(data_frame(index, kPiece, pattern(kPiece)));
    }

    // The response that the caller gets, to its last byte.
    Bytes got() const
    {
        const std::string bytes = response_.bytes();
        return Bytes(bytes.begin(), bytes.end());
    }

    const int fd_ = open_data_port();
    Guarded<lc_up_response> response_;
};

std::string entry(const std::string &text) { return up_entry("lc_data_trans", text); }

std::string nothing(const std::string &index)
{
    return entry("read nothing, trans type:16 index:" + index);
}

} // namespace

TEST_F(FrameExchange, writes_the_frame_at_once_and_reads_its_response)
{
    const Bytes frame = data_frame(3, kPiece, pattern(kPiece));
    answers();
    EXPECT_EQ(exchange(frame), 128);
    EXPECT_EQ(take_written(), std::vector<Bytes>{frame});
    EXPECT_EQ(got(), response(3, kDataResponse, "RSP_OK"));
    EXPECT_EQ(take_steps(), joined({kSend, kReadData}));
    EXPECT_EQ(take_trace(), "");
    EXPECT_TRUE(g_modem.is_open(fd_));
}

TEST_F(FrameExchange, yields_any_other_response_for_the_check_to_judge)
{
    for (const Bytes &other :
         {response(5, kDataResponse, "RSP_OK"), response(1, kDataResponse, "RSP_OK"),
          response(3, kCommandResponse, "no"), response(kEnd, 0, "")}) {
        g_modem.hears(other);
        EXPECT_EQ(exchange_piece(3), 128);
        EXPECT_EQ(got(), other);
        EXPECT_EQ(take_steps(), joined({kSend, kReadData}));
        EXPECT_EQ(take_trace(), "");
    }
}

TEST_F(FrameExchange, short_response_is_padded_with_zeros)
{
    for (const size_t size : {16U, 22U, 26U, 127U}) {
        const Bytes reply = response(3, kDataResponse, "RSP_FAILED", size);
        g_modem.hears(reply);
        EXPECT_EQ(exchange_piece(3), static_cast<int32_t>(size));
        Bytes padded = reply;
        padded.resize(kResponse);
        EXPECT_EQ(got(), padded);
    }
}

TEST_F(FrameExchange, partial_response_ends_the_reading)
{
    for (const size_t size : {1U, 4U, 15U}) {
        // Though its index is one behind, it is not taken for a late response.
        g_modem.hears(response(2, kDataResponse, "", size));
        g_modem.hears(response(3, kDataResponse, "RSP_OK"));
        EXPECT_EQ(exchange_piece(3), static_cast<int32_t>(size));
        g_modem.script.clear();
        EXPECT_EQ(take_steps(), joined({kSend, kReadData}));
        EXPECT_EQ(take_trace(), "");
    }
}

TEST_F(FrameExchange, late_response_is_passed_over_without_a_pause_or_a_resend)
{
    g_modem.hears(response(2, kDataResponse, "RSP_FAILED"));
    g_modem.hears(response(3, kDataResponse, "RSP_OK", 22));
    EXPECT_EQ(exchange_piece(3), 22);
    EXPECT_EQ(got(), response(3, kDataResponse, "RSP_OK")) << "nothing of the late one is left";
    EXPECT_EQ(take_steps(), joined({kSend, kReadData, kReadData}));
    EXPECT_EQ(take_trace(), entry("misplacement, req index:3 rsp index:2,continue read..."));
}

TEST_F(FrameExchange, late_response_of_any_type_and_of_16_bytes_is_passed_over)
{
    g_modem.hears(response(2, 0x99, "", 16));
    g_modem.hears(response(3, kDataResponse, "RSP_OK"));
    EXPECT_EQ(exchange_piece(3), 128);
    EXPECT_EQ(take_trace(), entry("misplacement, req index:3 rsp index:2,continue read..."));
}

TEST_F(FrameExchange, before_index_0_comes_the_last_one)
{
    g_modem.hears(response(0xFFFFFFFF, kDataResponse, "RSP_OK"));
    g_modem.hears(response(0, kDataResponse, "RSP_OK"));
    EXPECT_EQ(exchange_piece(0), 128);
    EXPECT_EQ(got(), response(0, kDataResponse, "RSP_OK"));
    EXPECT_EQ(take_trace(), entry("misplacement, req index:0 rsp index:-1,continue read..."));
}

TEST_F(FrameExchange, late_responses_are_passed_over_for_commands_too)
{
    g_modem.hears(response(kBegin - 1, kDataResponse, "RSP_OK"));
    g_modem.hears(response(kBegin, kCommandResponse, "RSP_OK"));
    EXPECT_EQ(exchange(command_frame(kBegin)), 128);
    EXPECT_EQ(take_trace(),
              entry("misplacement, req index:1111836489 rsp index:1111836488,continue read..."));
}

TEST_F(FrameExchange, each_late_response_takes_one_of_ten_reads)
{
    for (int i = 0; i < 9; ++i) {
        g_modem.hears(response(2, kDataResponse, "RSP_OK"));
    }
    g_modem.hears(response(3, kDataResponse, "RSP_OK"));
    EXPECT_EQ(exchange_piece(3), 128);
    EXPECT_EQ(take_steps(), joined({kSend, repeated(kReadData, 10)}));
    take_trace();

    for (int i = 0; i < 10; ++i) {
        g_modem.hears(response(2, kDataResponse, "RSP_OK"));
    }
    g_modem.hears(response(3, kDataResponse, "RSP_OK"));
    EXPECT_EQ(exchange_piece(3), -1);
    EXPECT_EQ(take_steps(), joined({kSend, repeated(kReadData, 10)}));
    std::string late;
    for (int i = 0; i < 10; ++i) {
        late += entry("misplacement, req index:3 rsp index:2,continue read...");
    }
    EXPECT_EQ(take_trace(), late + entry("retry read time out"));
}

TEST_F(FrameExchange, silence_is_waited_for_ten_times_with_pauses)
{
    EXPECT_EQ(exchange_piece(3), -1);
    EXPECT_EQ(take_steps(), joined({kSend, repeated(kSilentRead, 10)}));
    std::string silence;
    for (int i = 0; i < 10; ++i) {
        silence += nothing("3");
    }
    EXPECT_EQ(take_trace(), silence + entry("retry read time out"));
    EXPECT_TRUE(g_modem.is_open(fd_));
}

TEST_F(FrameExchange, response_after_nine_silences_counts)
{
    g_modem.hears(ReadEvent::kSilence, 9);
    g_modem.hears(response(3, kDataResponse, "RSP_OK"));
    EXPECT_EQ(exchange_piece(3), 128);
    EXPECT_EQ(take_steps(), joined({kSend, repeated(kSilentRead, 9), kReadData}));
}

TEST_F(FrameExchange, zero_byte_reads_and_failed_waits_are_silence)
{
    g_modem.hears("");
    g_modem.hears(ReadEvent::kWaitFails);
    g_modem.hears(response(3, kDataResponse, "RSP_OK"));
    EXPECT_EQ(exchange_piece(3), 128);
    EXPECT_EQ(take_trace(), nothing("3") +
                                up_entry("lc_read_tty", "select error:-1 " + std::to_string(EINTR)) +
                                nothing("3"));
}

TEST_F(FrameExchange, failed_read_ends_it_at_once)
{
    for (const ReadEvent::Kind kind : {ReadEvent::kReadFails, ReadEvent::kNotMarked}) {
        g_modem.hears(kind);
        g_modem.hears(response(3, kDataResponse, "RSP_OK"));
        EXPECT_EQ(exchange_piece(3), -1);
        EXPECT_EQ(g_modem.script.size(), 1U);
        g_modem.script.clear();
        EXPECT_TRUE(take_trace().ends_with(entry("read tty dev failed")));
        EXPECT_TRUE(g_modem.is_open(fd_));
    }
}

TEST_F(FrameExchange, port_that_disappears_while_it_is_read_ends_it)
{
    g_modem.on_write = [](const Bytes &) {
        unlink(kDataPort);
        g_modem.hears("");
    };
    EXPECT_EQ(exchange_piece(3), -1);
    EXPECT_EQ(take_trace(),
              up_entry("lc_read_tty", "tty dev disappear") + entry("read tty dev failed"));
}

TEST_F(FrameExchange, short_write_is_told_and_the_response_read_all_the_same)
{
    calls::write.fail_nth(1);
    g_modem.failed_write = 100;
    g_modem.hears(response(3, kDataResponse, "RSP_OK"));
    EXPECT_EQ(exchange_piece(3), 128);
    EXPECT_EQ(take_steps(), joined({kSend, kReadData}));
    EXPECT_EQ(take_trace(),
              entry("write tty dev failed, type:16 index:3 need write:2064 real write:100, "
                    "need check callback"));
}

TEST_F(FrameExchange, failed_write_of_a_command_tells_its_code)
{
    calls::write.fail_nth(1);
    g_modem.hears(response(kBegin, kCommandResponse, "RSP_OK"));
    EXPECT_EQ(exchange(command_frame(kBegin)), 128);
    EXPECT_EQ(take_trace(), entry("write tty dev failed, type:1 index:1111836489 need write:2064 real "
                                  "write:-1, need check callback"));
}

TEST_F(FrameExchange, null_is_refused_before_anything_is_written)
{
    const lc_up_frame frame = {};
    EXPECT_EQ(lc_data_trans(fd_, nullptr, response_.get()), -1);
    EXPECT_EQ(lc_data_trans(fd_, &frame, nullptr), -1);
    EXPECT_EQ(take_steps(), Steps());
    EXPECT_EQ(take_trace(), entry("param is NULL") + entry("param is NULL"));
}

} // namespace exchange_test
