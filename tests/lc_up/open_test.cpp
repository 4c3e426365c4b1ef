// Opening the data port, call by call.
#include "lc_up.h"
#include "support/serial_modem.h"

#include <algorithm>

namespace open_test {

using namespace testing_support;

using DataPort = SerialModem;

TEST_F(DataPort, is_set_and_emptied_and_set_into_effect_in_this_order)
{
    const int fd = lc_open_tty();
    EXPECT_TRUE(g_modem.is_open(fd));
    EXPECT_EQ(take_steps(), (Steps{"open data", "speed", "discard data", "apply to data"}));
    EXPECT_EQ(take_trace(), up_entries("lc_open_tty", {"enter", "end"}));
}

TEST_F(DataPort, is_opened_to_read_and_write_and_not_as_the_controlling_terminal)
{
    lc_open_tty();
    EXPECT_EQ(g_modem.open_flags & O_ACCMODE, O_RDWR);
    EXPECT_NE(g_modem.open_flags & O_NOCTTY, 0);
    EXPECT_EQ(g_modem.open_flags & (O_CREAT | O_TRUNC | O_APPEND | O_NONBLOCK), 0);
}

TEST_F(DataPort, has_no_setting_but_the_speed_of_both_directions)
{
    lc_open_tty();
    EXPECT_EQ(cfgetispeed(&g_modem.applied), static_cast<speed_t>(B115200));
    EXPECT_EQ(cfgetospeed(&g_modem.applied), static_cast<speed_t>(B115200));
    EXPECT_EQ(g_modem.applied.c_iflag, 0U);
    EXPECT_EQ(g_modem.applied.c_oflag, 0U);
    EXPECT_EQ(g_modem.applied.c_lflag, 0U);
    EXPECT_EQ(g_modem.applied.c_line, 0);
    termios speed_alone = {};
    cfsetspeed(&speed_alone, B115200);
    EXPECT_EQ(g_modem.applied.c_cflag, speed_alone.c_cflag);
    EXPECT_TRUE(std::all_of(std::begin(g_modem.applied.c_cc), std::end(g_modem.applied.c_cc),
                            [](cc_t value) { return value == 0; }));
}

TEST_F(DataPort, that_refuses_its_settings_is_used_all_the_same)
{
    calls::tcflush.fail_nth(1);
    calls::tcsetattr.fail_nth(1);
    EXPECT_TRUE(g_modem.is_open(lc_open_tty()));
    EXPECT_EQ(take_steps(), kOpenData);
    EXPECT_EQ(take_trace(), up_entries("lc_open_tty", {"enter", "end"}));
}

TEST_F(DataPort, that_is_missing_cannot_be_opened)
{
    unplug();
    EXPECT_EQ(lc_open_tty(), -1);
    EXPECT_EQ(take_steps(), Steps{"open data: fails"});
    EXPECT_EQ(take_trace(), up_entries("lc_open_tty", {"enter", "open /dev/ttyUSB1 error"}));
}

TEST_F(DataPort, is_a_new_descriptor_each_time)
{
    const int first = lc_open_tty();
    const int second = lc_open_tty();
    EXPECT_NE(first, second);
    EXPECT_TRUE(g_modem.is_open(first) && g_modem.is_open(second));
}

} // namespace open_test
