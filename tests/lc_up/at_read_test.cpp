// lc_at_snd: a command to the AT port, with reads until its reply arrives.
#include "lc_up.h"
#include "support/serial_modem.h"

namespace at_read_test {

using namespace testing_support;

namespace {

constexpr char kCommand[] = "at+syscmd=sys_upgrader_get\r\n";

const Steps kStart = {"open at", "write 28 to at"};
const Steps kRead = {"wait 5 s for at", "read 128 from at"};
const Steps kSilence = {"wait 5 s for at"};
const Steps kLeave = {"close at", "sleep 10 s"};

std::string entry(const std::string &text) { return up_entry("lc_at_snd", text); }

std::string echo(const std::string &text) { return entry("result is " + text + ", continue read..."); }

std::string failure(const std::string &command, const std::string &reply)
{
    return entry("result of " + command + " error:" + reply);
}

class ReadingCommand : public SerialModem {
protected:
    static int32_t result_of(std::initializer_list<std::string> replies,
                             const std::string &command = kCommand)
    {
        for (const std::string &reply : replies) {
            g_modem.hears(reply);
        }
        return lc_at_snd(command.c_str());
    }
};

} // namespace

TEST_F(ReadingCommand, is_written_exactly_to_a_port_that_is_left_as_it_is)
{
    EXPECT_EQ(result_of({"\r\nOK\r\n"}), 0);
    EXPECT_EQ(take_steps(), joined({kStart, kRead, kLeave}));
    EXPECT_EQ(g_modem.open_flags & O_ACCMODE, O_RDWR);
    EXPECT_NE(g_modem.open_flags & O_NOCTTY, 0);
    const std::string sent = kCommand;
    EXPECT_EQ(take_written(), std::vector<Bytes>{Bytes(sent.begin(), sent.end())});
    EXPECT_EQ(take_trace(), entry("enter") + entry("ok"));
}

TEST_F(ReadingCommand, passes_over_the_echo)
{
    EXPECT_EQ(result_of({kCommand, "\r\nOK\r\n"}), 0);
    EXPECT_EQ(take_steps(), joined({kStart, kRead, kRead, kLeave}));
    EXPECT_EQ(take_trace(), entry("enter") + echo(kCommand) + entry("ok"));
}

TEST_F(ReadingCommand, first_20_characters_make_an_echo)
{
    // 20 of the command's, then others.
    EXPECT_EQ(result_of({"at+syscmd=sys_upgradXX", "OK"}), 0);
    EXPECT_EQ(take_trace(), entry("enter") + echo("at+syscmd=sys_upgradXX") + entry("ok"));
    // 19 are a reply.
    EXPECT_EQ(result_of({"at+syscmd=sys_upgraXXX", "OK"}), -1);
    EXPECT_EQ(take_trace(), entry("enter") + failure(kCommand, "at+syscmd=sys_upgraXXX"));
    g_modem.script.clear();
    EXPECT_EQ(result_of({"at+syscmd=sys_upgra", "OK"}), -1);
    EXPECT_EQ(take_trace(), entry("enter") + failure(kCommand, "at+syscmd=sys_upgra"));
}

TEST_F(ReadingCommand, echo_and_ok_in_one_read_are_an_echo)
{
    const std::string both = std::string(kCommand) + "\r\nOK\r\n";
    EXPECT_EQ(result_of({both}), -1);
    EXPECT_EQ(take_steps(), joined({kStart, kRead, repeated(kSilence, 119), kLeave}));
    EXPECT_EQ(take_trace(), entry("enter") + echo(both) + failure(kCommand, ""));
}

TEST_F(ReadingCommand, echo_of_a_short_command_is_all_of_it_and_no_more)
{
    EXPECT_EQ(result_of({"AT\r\n", "OK"}, "AT\r\n"), 0);
    EXPECT_EQ(take_trace(), entry("enter") + echo("AT\r\n") + entry("ok"));
    // With its answer behind it, it is a reply.
    EXPECT_EQ(result_of({"AT\r\nOK\r\n"}, "AT\r\n"), 0);
    EXPECT_EQ(take_trace(), entry("enter") + entry("ok"));
    EXPECT_EQ(result_of({"AT\r"}, "AT\r\n"), -1);
    EXPECT_EQ(take_trace(), entry("enter") + failure("AT\r\n", "AT\r"));
}

TEST_F(ReadingCommand, command_of_20_characters_is_an_echo_with_anything_behind_it)
{
    const std::string command = "AT+12345678901234567"; // without a line end
    EXPECT_EQ(result_of({command + "OK", "ERROR"}, command), -1);
    EXPECT_EQ(take_trace(), entry("enter") + echo(command + "OK") + failure(command, "ERROR"));
}

TEST_F(ReadingCommand, nothing_of_an_echo_is_left_in_the_reply)
{
    EXPECT_EQ(result_of({std::string(kCommand) + "OK", "NO"}), -1);
    EXPECT_EQ(take_trace(),
              entry("enter") + echo(std::string(kCommand) + "OK") + failure(kCommand, "NO"));
}

TEST_F(ReadingCommand, first_other_reply_decides)
{
    EXPECT_EQ(result_of({"\r\nBUSY\r\n", "OK"}), -1);
    EXPECT_EQ(take_steps(), joined({kStart, kRead, kLeave}));
    EXPECT_EQ(take_trace(), entry("enter") + failure(kCommand, "\r\nBUSY\r\n"));
}

TEST_F(ReadingCommand, silence_is_read_120_times_without_a_pause)
{
    EXPECT_EQ(result_of({}), -1);
    EXPECT_EQ(take_steps(), joined({kStart, repeated(kSilence, 120), kLeave}));
    EXPECT_EQ(take_trace(), entry("enter") + failure(kCommand, ""));
}

TEST_F(ReadingCommand, reply_to_the_last_of_120_reads_counts)
{
    g_modem.hears(ReadEvent::kSilence, 119);
    EXPECT_EQ(result_of({"OK"}), 0);
    EXPECT_EQ(take_steps(), joined({kStart, repeated(kSilence, 119), kRead, kLeave}));
}

TEST_F(ReadingCommand, every_echo_takes_one_of_the_120_reads)
{
    g_modem.hears(ReadEvent::kSilence, 60);
    for (int i = 0; i < 60; ++i) {
        g_modem.hears(kCommand);
    }
    EXPECT_EQ(result_of({"OK"}), -1);
    EXPECT_EQ(take_steps(), joined({kStart, repeated(kSilence, 60), repeated(kRead, 60), kLeave}));
    const std::string trace = take_trace();
    EXPECT_TRUE(trace.ends_with(echo(kCommand) + failure(kCommand, "")));
}

TEST_F(ReadingCommand, zero_byte_reads_and_failed_waits_are_silence)
{
    g_modem.hears(ReadEvent::kWaitFails);
    EXPECT_EQ(result_of({"", "OK"}), 0);
    EXPECT_EQ(take_steps(), joined({kStart, kSilence, kRead, kRead, kLeave}));
    EXPECT_EQ(take_trace(), entry("enter") +
                                up_entry("lc_read_tty", "select error:-1 " + std::to_string(EINTR)) +
                                entry("ok"));
}

TEST_F(ReadingCommand, failed_read_ends_it)
{
    for (const ReadEvent::Kind kind : {ReadEvent::kReadFails, ReadEvent::kNotMarked}) {
        g_modem.hears(kind);
        EXPECT_EQ(result_of({"OK"}), -1);
        EXPECT_EQ(g_modem.script.size(), 1U);
        g_modem.script.clear();
        const Steps steps = take_steps();
        EXPECT_EQ(Steps(steps.end() - 2, steps.end()), kLeave);
        EXPECT_TRUE(take_trace().ends_with(entry("read AT PORT:/dev/ttyUSB3 failed")));
    }
}

TEST_F(ReadingCommand, data_port_that_disappears_ends_it)
{
    unlink(kDataPort);
    EXPECT_EQ(result_of({""}), -1);
    EXPECT_EQ(take_steps(), joined({kStart, kRead, kLeave}));
    EXPECT_EQ(take_trace(), entry("enter") + up_entry("lc_read_tty", "tty dev disappear") +
                                entry("read AT PORT:/dev/ttyUSB3 failed"));
}

} // namespace at_read_test
