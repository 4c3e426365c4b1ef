// What both ways to send a command to the AT port have in common.
#include "lc_up.h"
#include "support/serial_modem.h"

namespace at_command_test {

using namespace testing_support;

namespace {

struct Way {
    const char *name;
    int32_t (*send)(const char *);
    Steps opened;
    Steps read;
};

void PrintTo(const Way &way, std::ostream *out) { *out << way.name; }

const Way kWays[] = {
    {"lc_at_snd", lc_at_snd, {"open at"}, {"wait 5 s for at", "read 128 from at"}},
    {"lc_at_snd_wait", lc_at_snd_wait, kOpenAt, {"pause 2000000 us", "read 128 from at"}},
};

const std::string kCommand = "at+syscmd=sys_upgrader_get\r\n";
const Steps kWritten = {"write 28 to at"};
const Steps kSleep = {"sleep 10 s"};
const Steps kLeave = joined({{"close at"}, kSleep});

class AtCommand : public SerialModem, public testing::WithParamInterface<Way> {
protected:
    static int32_t result_of(const std::string &reply)
    {
        g_modem.hears(reply);
        return GetParam().send(kCommand.c_str());
    }
    static std::string traced(const std::string &text)
    {
        return up_entries(GetParam().name, {"enter", text});
    }
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Up, AtCommand, testing::ValuesIn(kWays));

TEST_P(AtCommand, reply_that_fills_the_buffer_ends_with_it)
{
    const std::string reply(128, 'x');
    EXPECT_EQ(result_of(reply), -1);
    EXPECT_EQ(take_trace(), traced("result of " + kCommand + " error:" + reply));
    EXPECT_EQ(result_of(std::string(126, '.') + "OK"), 0);
}

TEST_P(AtCommand, that_is_not_written_whole_is_not_waited_for)
{
    for (const int written : {-1, 0, 27}) {
        calls::write.fail_nth(1);
        g_modem.failed_write = written;
        EXPECT_EQ(result_of("OK"), -1);
        g_modem.script.clear();
        EXPECT_EQ(take_steps(), joined({GetParam().opened, kWritten, kLeave}));
        EXPECT_EQ(take_trace(), traced("write /dev/ttyUSB3 failed, need write:28 real write:" +
                                       std::to_string(written)));
    }
}

TEST_P(AtCommand, fails_at_once_and_without_a_pause_when_the_port_is_missing)
{
    unplug();
    EXPECT_EQ(GetParam().send(kCommand.c_str()), -1);
    EXPECT_EQ(take_steps(), Steps{"open at: fails"});
    EXPECT_EQ(take_trace(), traced("open /dev/ttyUSB3 error"));
}

TEST_P(AtCommand, descriptor_0_is_used_and_not_closed)
{
    close(0);
    EXPECT_EQ(result_of("OK"), 0);
    EXPECT_EQ(take_steps(), joined({GetParam().opened, kWritten, GetParam().read, kSleep}));
    EXPECT_TRUE(g_modem.is_open(0));
}

TEST_P(AtCommand, port_is_closed_each_time)
{
    EXPECT_EQ(result_of("OK"), 0);
    EXPECT_EQ(result_of("ERROR"), -1);
    EXPECT_TRUE(g_modem.ports.empty());
}

} // namespace at_command_test
