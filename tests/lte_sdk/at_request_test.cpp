// AT commands on their way to the modem, and their answers.
#include "support/expected_requests.h"
#include "support/guarded.h"
#include "support/standard_output.h"
#include "support/sync_requests.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

namespace at_request_test {

using namespace testing_support;

namespace {

constexpr char kCommand[] = "AT+CSQ?";
constexpr int kCommandLength = 7;
constexpr uint32_t kText = 0;
constexpr uint32_t kFile = 1;
constexpr int32_t kModemTimeout = 5000; // where an answer has the length of its text
constexpr size_t kTextRoom = 116;
constexpr size_t kLongest = 911;
constexpr char kAnswerFile[] = "/tmp/answer";

using Buffer = char[160];

class Record {
public:
    Record &word(uint32_t value)
    {
        const Bytes bytes = bytes_of(value);
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
        return *this;
    }
    Record &text(std::string value, size_t size)
    {
        value.resize(size);
        bytes_.insert(bytes_.end(), value.begin(), value.end());
        return *this;
    }
    Record &text(const std::string &value) { return text(value, value.size()); }

    operator Bytes() const { return bytes_; }

private:
    Bytes bytes_;
};

// A request's body; the command as it is sent, without its terminator.
Bytes request_of(const std::string &command)
{
    return Record()
        .word(static_cast<uint32_t>(command.size()))
        .word(0)
        .word(5000)
        .word(3)
        .text("OK", 16)
        .text("ERROR", 16)
        .text("+CME ERROR", 48)
        .text(command, command.size() + 1);
}

Bytes answer_record(int32_t err_code, uint32_t type, const std::string &text)
{
    return Record()
        .word(static_cast<uint32_t>(err_code))
        .word(type)
        .word(static_cast<uint32_t>(text.size()))
        .text(text);
}

std::string terminated(const std::string &text) { return text + '\0'; }

std::string trace_of(const std::string &text) { return trace_entry("lct_ext_at_req", text + "\n\n"); }

std::string success_trace(int32_t rsp_len, int32_t type, const std::string &text)
{
    return trace_of("rsp_len:" + std::to_string(rsp_len)) + trace_of("type:" + std::to_string(type)) +
           trace_of(text);
}

std::string failure_trace(int delivered, int32_t err_code)
{
    return trace_of("call WM_MSG_MODEM_AT_REQ failed. ret=" + std::to_string(delivered) +
                    " rsp->err_code=" + std::to_string(err_code));
}

class AtRequest : public Client {
protected:
    int32_t ask(uint32_t out_len = sizeof(Buffer))
    {
        return lct_ext_at_req(kCommand, *out_.get(), out_len);
    }

    int32_t ask_answered(const Bytes &answer, uint32_t out_len = sizeof(Buffer))
    {
        return answered(answer, [&] { return ask(out_len); });
    }

    // The first out_len bytes are the text, padded with NULs; behind them the buffer is as it was.
    void expect_out(std::string text, uint32_t out_len = sizeof(Buffer))
    {
        text.resize(out_len);
        EXPECT_EQ(out_.bytes(), Guarded<Buffer>().bytes().replace(0, out_len, text));
    }

    void expect_failure(int32_t result, int delivered, int32_t err_code)
    {
        EXPECT_EQ(result, -1);
        EXPECT_EQ(trace_text(), failure_trace(delivered, err_code));
        EXPECT_TRUE(out_.untouched());
    }

    Guarded<Buffer> out_;
};

// Answers that name a file.
class AtAnswerFile : public AtRequest {
protected:
    std::string printed_for(const std::string &path, uint32_t type = kFile, uint32_t out_len = 160)
    {
        return printed_by(
            [&] { EXPECT_EQ(ask_answered(answer_record(0, type, terminated(path)), out_len), 0); });
    }
};

WireMessage sent_for(const char *command)
{
    AnsweringPeer wan_manager([](Peer &peer, const WireMessage &request) {
        peer.respond(request, answer_record(0, kText, terminated("OK")));
    });
    char out[16];
    EXPECT_EQ(lct_ext_at_req(command, out, sizeof(out)), 0);
    const std::vector<WireMessage> received = wan_manager.stop();
    EXPECT_EQ(received.size(), 1U);
    return received.empty() ? WireMessage() : received[0];
}

} // namespace

TEST_F(AtRequest, sends_its_record_with_the_last_character_replaced_by_a_carriage_return)
{
    const std::string longest(kLongest, 'A');
    const std::pair<std::string, std::string> commands[] = {
        {kCommand, "AT+CSQ\r"},
        {"x", "\r"},
        {"", ""},
        {longest, longest.substr(1) + '\r'},
    };
    for (const auto &[command, as_sent] : commands) {
        const WireMessage sent = sent_for(command.c_str());
        expect_header(sent, 1, expected_request("lct_ext_at_req").msg_id,
                      static_cast<uint32_t>(command.size()) + 97);
        EXPECT_NE(sent.header.session_id, 0U);
        EXPECT_EQ(sent.body, request_of(as_sent));
    }
    EXPECT_EQ(request_of(longest).size(), IPC_MSG_MAX_BODY);
}

TEST_F(AtRequest, that_is_one_longer_fails_and_sends_nothing)
{
    Peer wan_manager(kWanManagerSocket);
    const std::string command(kLongest + 1, 'A');
    expect_failure(lct_ext_at_req(command.c_str(), *out_.get(), sizeof(Buffer)), 0, 0);
    EXPECT_TRUE(wan_manager.has_nothing());
}

TEST_F(AtRequest, gives_the_text_padded_with_nuls_and_traces_it_and_the_numbers_as_signed)
{
    const std::string formats = "%s%n%%d\r\nOK";
    const std::string full = std::string(kTextRoom - 1, 'x') + 'y';
    const struct {
        Bytes answer;
        std::string text;
        int32_t length;
        int32_t type;
    } answers[] = {
        {answer_record(0, kText, terminated("+CSQ: 21")), "+CSQ: 21", 9, 0},
        {Record().word(0).word(0xFFFFFFFE).word(0xFFFFFFFF).text(terminated(formats)), formats, -1, -2},
        {answer_record(0, kText, terminated("one") + terminated("two")), "one", 8, 0},
        {answer_record(0, kText, "x"), "x", 1, 0}, // without a terminator
        {answer_record(0, kText, "xxxxx"), "xxxxx", 5, 0},
        {answer_record(0, kText, std::string(115, 'x')), std::string(115, 'x'), 115, 0},
        {answer_record(0, kText, full), full, kTextRoom, 0},
    };
    for (const auto &[answer, text, length, type] : answers) {
        EXPECT_EQ(ask_answered(answer), 0);
        expect_out(text);
        EXPECT_EQ(trace_text(), success_trace(length, type, text));
    }
}

TEST_F(AtRequest, text_that_fills_the_buffer_has_no_terminator)
{
    for (const uint32_t out_len : {8U, 7U, 1U}) {
        EXPECT_EQ(ask_answered(answer_record(0, kText, terminated("+CSQ: 21")), out_len), 0);
        EXPECT_EQ(out_.bytes().substr(0, 8), "+CSQ: 21");
        EXPECT_EQ(out_.bytes().substr(8), Guarded<Buffer>().bytes().substr(8));
        // What is traced is the whole of it.
        EXPECT_EQ(trace_text(), success_trace(9, 0, "+CSQ: 21"));
    }
}

TEST_F(AtRequest, buffer_of_no_bytes_is_left_alone)
{
    EXPECT_EQ(ask_answered(answer_record(0, kText, terminated("OK")), 0), 0);
    EXPECT_TRUE(out_.untouched());
}

TEST_F(AtRequest, what_the_head_of_an_answer_lacks_is_the_requests_own)
{
    const Bytes whole = Record().word(0).word(5).word(6).text("text");
    const struct {
        ptrdiff_t size;
        std::string trace;
    } cases[] = {
        {4, success_trace(kModemTimeout, 0, "")},
        {8, success_trace(kModemTimeout, 5, "")},
        {12, success_trace(6, 5, "")},
        {14, success_trace(6, 5, "te")},
        {16, success_trace(6, 5, "text")},
    };
    for (const auto &part : cases) {
        EXPECT_EQ(ask_answered(Bytes(whole.begin(), whole.begin() + part.size)), 0);
        EXPECT_EQ(trace_text(), part.trace);
        expect_out(std::string("text").substr(
            0, static_cast<size_t>(std::max<ptrdiff_t>(part.size, 12)) - 12));
    }
}

TEST_F(AtRequest, head_that_is_cut_within_a_word_is_filled_up_from_the_request)
{
    Bytes type = bytes_of(uint32_t{0});
    type[0] = 1;
    type[1] = 1;
    Bytes answer = Record().word(0);
    answer.insert(answer.end(), type.begin(), type.begin() + 2);
    int32_t traced;
    memcpy(&traced, type.data(), sizeof(traced));
    EXPECT_EQ(ask_answered(answer), 0);
    EXPECT_EQ(trace_text(), success_trace(kModemTimeout, traced, ""));
}

TEST_F(AtRequest, answer_without_a_result_fails_and_what_it_lacks_is_the_commands_length)
{
    for (const size_t size : {0U, 1U, 3U}) {
        Bytes result = bytes_of(kCommandLength);
        std::fill_n(result.begin(), size, uint8_t{0});
        int32_t traced;
        memcpy(&traced, result.data(), sizeof(traced));
        expect_failure(ask_answered(Bytes(size)), 1, traced);
    }
}

TEST_F(AtRequest, answer_without_a_result_to_no_command_is_no_success)
{
    EXPECT_EQ(answered({}, [this] { return lct_ext_at_req("", *out_.get(), sizeof(Buffer)); }), -1);
    EXPECT_EQ(trace_text(), failure_trace(1, 0));
    EXPECT_TRUE(out_.untouched());
}

TEST_F(AtRequest, other_err_code_fails_and_leaves_the_buffer)
{
    for (const int32_t err_code : {1, -1, 256}) {
        expect_failure(ask_answered(answer_record(err_code, kText, terminated("+CSQ: 21"))), 1,
                       err_code);
    }
}

TEST_F(AtRequest, answer_that_is_too_long_fails_and_its_err_code_is_traced)
{
    for (const int32_t err_code : {0, 5}) {
        const Bytes answer = answer_record(err_code, kText, std::string(kTextRoom + 1, 'x'));
        expect_failure(ask_answered(answer), 0, err_code);
    }
}

TEST(AtRequestNotStarted, traces_the_commands_length)
{
    Guarded<Buffer> out;
    for (const char *command : {kCommand, ""}) {
        unlink(kTraceFile);
        EXPECT_EQ(lct_ext_at_req(command, *out.get(), sizeof(Buffer)), -1);
        EXPECT_EQ(trace_text(), failure_trace(0, static_cast<int32_t>(strlen(command))));
        EXPECT_TRUE(out.untouched());
    }
}

TEST_F(AtAnswerFile, is_printed_in_full_with_its_nuls_and_without_a_line_end_of_its_own)
{
    std::vector<std::string> contents = {std::string("one\0\0two", 8) + std::string(200, '\0') +
                                         "%s end"};
    for (const size_t size : {0U, 1U, 127U, 128U, 129U, 256U, 5000U}) {
        const Bytes bytes = pattern(size);
        contents.emplace_back(bytes.begin(), bytes.end());
    }
    for (const std::string &content : contents) {
        write_text(kAnswerFile, content);
        EXPECT_EQ(printed_for(kAnswerFile), content);
    }
}

TEST_F(AtAnswerFile, path_is_given_and_traced_and_the_file_closed)
{
    write_text(kAnswerFile, "content");
    const int before = count_descriptors();
    printed_for(kAnswerFile);
    EXPECT_EQ(count_descriptors(), before);
    expect_out(kAnswerFile);
    EXPECT_EQ(trace_text(), success_trace(sizeof(kAnswerFile), 1, kAnswerFile));
}

TEST_F(AtAnswerFile, is_printed_also_when_its_path_does_not_fit_the_buffer)
{
    write_text(kAnswerFile, "content");
    EXPECT_EQ(printed_for(kAnswerFile, kFile, 4), "content");
    expect_out("/tmp", 4);
}

TEST_F(AtAnswerFile, that_cannot_be_read_prints_nothing_and_is_no_error)
{
    EXPECT_EQ(printed_for(kAnswerFile), "");
    EXPECT_EQ(printed_for(""), "");
    EXPECT_EQ(printed_for("/tmp"), "");
}

TEST_F(AtAnswerFile, of_any_other_type_is_a_text)
{
    write_text(kAnswerFile, "content");
    for (const uint32_t type : {0U, 2U, 257U, 0x01000000U}) {
        EXPECT_EQ(printed_for(kAnswerFile, type), "");
    }
}

TEST_F(AtAnswerFile, is_not_printed_when_the_command_failed)
{
    write_text(kAnswerFile, "content");
    EXPECT_EQ(printed_by([&] {
                  expect_failure(ask_answered(answer_record(1, kFile, terminated(kAnswerFile))), 1, 1);
              }),
              "");
}

} // namespace at_request_test
