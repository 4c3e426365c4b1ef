// lc_at_snd_wait: a command to the AT port, with one read after two seconds.
#include "lc_up.h"
#include "support/serial_modem.h"

namespace at_wait_test {

using namespace testing_support;

namespace {

constexpr char kCommand[] = "at+syscmd=sys_upgrade_start\r\n";

const Steps kCommandSteps =
    joined({kOpenAt, {"write 29 to at", "pause 2000000 us", "read 128 from at"}});
const Steps kLeave = {"close at", "sleep 10 s"};

std::string entry(const std::string &text) { return up_entry("lc_at_snd_wait", text); }

std::string traced(const std::string &text) { return entry("enter") + entry(text); }

class WaitingCommand : public SerialModem {
protected:
    // Of a modem that replies so to the one command.
    static int32_t result_of(const std::string &reply)
    {
        g_modem.hears(reply);
        return lc_at_snd_wait(kCommand);
    }
};

} // namespace

TEST_F(WaitingCommand, is_written_exactly_and_its_reply_read_once_after_two_seconds)
{
    EXPECT_EQ(result_of("\r\nOK\r\n"), 0);
    EXPECT_EQ(take_steps(), joined({kCommandSteps, kLeave}));
    const std::string sent = kCommand;
    EXPECT_EQ(take_written(), std::vector<Bytes>{Bytes(sent.begin(), sent.end())});
    EXPECT_EQ(take_trace(), traced("ok"));
}

TEST_F(WaitingCommand, opens_and_sets_the_port_like_the_data_port)
{
    result_of("OK");
    EXPECT_EQ(g_modem.open_flags & O_ACCMODE, O_RDWR);
    EXPECT_NE(g_modem.open_flags & O_NOCTTY, 0);
    const termios at = g_modem.applied;
    lc_open_tty();
    EXPECT_EQ(memcmp(&at, &g_modem.applied, sizeof(at)), 0);
    EXPECT_EQ(cfgetospeed(&at), static_cast<speed_t>(B115200));
}

TEST_F(WaitingCommand, succeeds_wherever_the_reply_has_ok)
{
    const std::string in_its_last_bytes = std::string(126, '.') + "OK";
    for (const std::string &reply : {std::string("OK"), std::string(kCommand) + "\r\nOK\r\n",
                                     std::string("BROKEN: NOT OKAY"), in_its_last_bytes}) {
        EXPECT_EQ(result_of(reply), 0) << reply;
        EXPECT_EQ(take_trace(), traced("ok")) << reply;
    }
}

TEST_F(WaitingCommand, fails_without_ok_and_tells_the_reply)
{
    for (const std::string &reply :
         {std::string("\r\nERROR\r\n"), std::string("ok"), std::string("O K"), std::string(kCommand)}) {
        EXPECT_EQ(result_of(reply), -1) << reply;
        EXPECT_EQ(take_steps(), joined({kCommandSteps, kLeave})) << reply;
        EXPECT_EQ(take_trace(), traced(std::string("result of ") + kCommand + " error:" + reply));
    }
}

TEST_F(WaitingCommand, zero_byte_ends_the_reply)
{
    EXPECT_EQ(result_of(std::string("NO\0OK", 5)), -1);
    EXPECT_EQ(take_trace(), traced(std::string("result of ") + kCommand + " error:NO"));
}

TEST_F(WaitingCommand, fails_when_there_is_nothing_to_read_yet)
{
    g_modem.hears(ReadEvent::kSilence);
    EXPECT_EQ(result_of("OK"), -1);
    EXPECT_EQ(g_modem.script.size(), 1U) << "what comes later is not read";
    EXPECT_EQ(take_steps(), joined({kCommandSteps, kLeave}));
    EXPECT_EQ(take_trace(), traced(std::string("result length of ") + kCommand + " error"));
}

TEST_F(WaitingCommand, fails_when_reading_fails)
{
    g_modem.hears(ReadEvent::kReadFails);
    EXPECT_EQ(lc_at_snd_wait(kCommand), -1);
    EXPECT_EQ(take_steps(), joined({kCommandSteps, kLeave}));
    EXPECT_EQ(take_trace(), traced(std::string("result length of ") + kCommand + " error"));
}

} // namespace at_wait_test
