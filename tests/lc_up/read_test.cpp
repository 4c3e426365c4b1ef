// One read of a port, step by step.
#include "lc_up.h"
#include "support/serial_modem.h"

namespace read_test {

using namespace testing_support;

namespace {

class PortRead : public SerialModem {
protected:
    int32_t read_some() { return lc_read_tty(fd_, buffer_, sizeof(buffer_)); }

    const int fd_ = open_data_port();
    char buffer_[40] = {};
};

const Steps kWait = {"wait 5 s for data"};
const Steps kWaitAndRead = {"wait 5 s for data", "read 40 from data"};

} // namespace

TEST_F(PortRead, yields_what_has_come)
{
    g_modem.hears("hello");
    EXPECT_EQ(read_some(), 5);
    EXPECT_STREQ(buffer_, "hello");
    EXPECT_EQ(take_steps(), kWaitAndRead);
    EXPECT_EQ(take_trace(), "");
}

TEST_F(PortRead, silence_of_five_seconds_yields_0)
{
    EXPECT_EQ(read_some(), 0);
    EXPECT_EQ(take_steps(), kWait);
    EXPECT_EQ(take_trace(), "");
}

TEST_F(PortRead, silence_yields_0_even_of_a_port_that_has_gone)
{
    unplug();
    EXPECT_EQ(read_some(), 0);
    EXPECT_EQ(take_trace(), "");
}

TEST_F(PortRead, failed_wait_yields_0_and_tells_why)
{
    g_modem.hears(ReadEvent::kWaitFails);
    EXPECT_EQ(read_some(), 0);
    EXPECT_EQ(take_steps(), kWait);
    EXPECT_EQ(take_trace(), up_entry("lc_read_tty", "select error:-1 " + std::to_string(EINTR)));
}

TEST_F(PortRead, closed_descriptor_yields_0)
{
    close(fd_);
    EXPECT_EQ(read_some(), 0);
    EXPECT_EQ(take_trace(), up_entry("lc_read_tty", "select error:-1 " + std::to_string(EBADF)));
}

TEST_F(PortRead, descriptor_that_is_not_marked_fails)
{
    g_modem.hears(ReadEvent::kNotMarked);
    EXPECT_EQ(read_some(), -1);
    EXPECT_EQ(take_steps(), kWait);
    EXPECT_EQ(take_trace(), up_entry("lc_read_tty", "FD_ISSET error"));
}

TEST_F(PortRead, descriptor_that_no_set_can_hold_fails_without_a_wait)
{
    for (const int fd : {-1, FD_SETSIZE, FD_SETSIZE + 1, INT32_MAX, INT32_MIN}) {
        g_modem.ports[fd] = "data";
        EXPECT_EQ(lc_read_tty(fd, buffer_, sizeof(buffer_)), -1) << fd;
        g_modem.ports.erase(fd);
        EXPECT_EQ(take_steps(), Steps()) << fd;
        EXPECT_EQ(take_trace(), up_entry("lc_read_tty", "FD_ISSET error")) << fd;
    }
}

TEST_F(PortRead, largest_descriptor_that_a_set_holds_is_read)
{
    g_modem.ports[FD_SETSIZE - 1] = "data";
    g_modem.hears("x");
    EXPECT_EQ(lc_read_tty(FD_SETSIZE - 1, buffer_, sizeof(buffer_)), 1);
    g_modem.ports.erase(FD_SETSIZE - 1);
}

TEST_F(PortRead, null_buffer_fails_without_a_wait)
{
    g_modem.hears("hello");
    EXPECT_EQ(lc_read_tty(fd_, nullptr, 8), -1);
    EXPECT_EQ(take_steps(), Steps());
    EXPECT_EQ(take_trace(), up_entry("lc_read_tty", "param is NULL"));
}

TEST_F(PortRead, failed_read_fails_and_tells_nothing)
{
    g_modem.hears(ReadEvent::kReadFails);
    EXPECT_EQ(read_some(), -1);
    EXPECT_EQ(take_steps(), kWaitAndRead);
    EXPECT_EQ(take_trace(), "");
}

TEST_F(PortRead, nothing_read_is_0_while_the_data_port_is_there)
{
    g_modem.hears("");
    EXPECT_EQ(read_some(), 0);
    EXPECT_EQ(take_steps(), kWaitAndRead);
    EXPECT_EQ(take_trace(), "");
}

TEST_F(PortRead, nothing_read_once_the_data_port_has_gone_fails)
{
    unlink(kDataPort);
    g_modem.hears("");
    EXPECT_EQ(read_some(), -1);
    EXPECT_EQ(take_trace(), up_entry("lc_read_tty", "tty dev disappear"));
}

TEST_F(PortRead, something_read_counts_even_if_the_data_port_has_gone)
{
    unlink(kDataPort);
    g_modem.hears("last words");
    EXPECT_EQ(read_some(), 10);
    g_modem.hears(ReadEvent::kReadFails);
    EXPECT_EQ(read_some(), -1);
    EXPECT_EQ(take_trace(), "");
}

TEST_F(PortRead, presence_is_that_of_the_data_port_whichever_port_is_read)
{
    const int at = open(kAtPort, O_RDWR);
    g_modem.hears("");
    unlink(kAtPort);
    EXPECT_EQ(lc_read_tty(at, buffer_, sizeof(buffer_)), 0);
    EXPECT_EQ(take_trace(), "");
    plug_in(kAtPort);
    unlink(kDataPort);
    g_modem.hears("");
    EXPECT_EQ(lc_read_tty(at, buffer_, sizeof(buffer_)), -1);
    EXPECT_EQ(take_trace(), up_entry("lc_read_tty", "tty dev disappear"));
}

} // namespace read_test
