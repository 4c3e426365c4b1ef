// The ports as real terminals, on which everything goes through the kernel's line discipline.
#include "lc_up.h"
#include "support/calls.h"
#include "support/child_process.h"
#include "support/eventually.h"
#include "support/pattern.h"
#include "support/trace_file.h"
#include "support/upgrade_frames.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

using namespace testing_support;

namespace {

constexpr char kDataPort[] = "/dev/ttyUSB1";
constexpr char kAtPort[] = "/dev/ttyUSB3";

// A terminal behind a port's name. It is kept open, so that its settings outlive the library's use.
class Terminal {
public:
    explicit Terminal(const char *path) : path_(path)
    {
        char name[64] = "";
        EXPECT_EQ(grantpt(modem_), 0);
        EXPECT_EQ(unlockpt(modem_), 0);
        EXPECT_EQ(ptsname_r(modem_, name, sizeof(name)), 0);
        EXPECT_EQ(symlink(name, path), 0);
        port_ = open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
        EXPECT_GE(port_, 0);
    }
    ~Terminal()
    {
        unlink(path_);
        close(port_);
        close(modem_);
    }
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;

    int port() const { return port_; }
    void unplug()
    {
        close(modem_);
        modem_ = -1;
    }

    // As the modem.
    bool say(const Bytes &bytes) const
    {
        return write(modem_, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    }
    Bytes hear(size_t size) const
    {
        Bytes bytes(size);
        size_t heard = 0;
        while (heard < size) {
            const ssize_t count = read(modem_, bytes.data() + heard, size - heard);
            if (count <= 0) {
                break;
            }
            heard += static_cast<size_t>(count);
        }
        bytes.resize(heard);
        return bytes;
    }

    int waiting_bytes() const
    {
        int count = -1;
        EXPECT_EQ(ioctl(port_, FIONREAD, &count), 0);
        return count;
    }

    // What a program that this project did not write makes of the settings.
    std::string settings(const std::string &how) const
    {
        FILE *output = popen(("stty -F " + std::string(path_) + " " + how).c_str(), "r");
        char line[512] = "";
        EXPECT_NE(fgets(line, sizeof(line), output), nullptr);
        EXPECT_EQ(pclose(output), 0);
        return line;
    }

    void make_raw() const
    {
        termios settings = {};
        cfsetspeed(&settings, B9600);
        EXPECT_EQ(tcsetattr(port_, TCSANOW, &settings), 0);
    }

private:
    const char *const path_;
    int modem_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    int port_ = -1;
};

// All zero but speed, 8 bits and reception, which a pseudo-terminal always has.
constexpr char kRaw[] = "0:0:10b2:0(:0)+\n";

// The library's pauses last until the port for commands has an answer, its sleeps no time.
class Ports : public testing::Test {
protected:
    Terminal data_{kDataPort};
    Terminal at_{kAtPort};
    unsigned slept_ = 0;

private:
    const Hooked pauses_{calls::usleep, [this](auto &, useconds_t) {
                             EXPECT_TRUE(eventually([this] { return at_.waiting_bytes() > 0; }));
                             return 0;
                         }};
    const Hooked sleeps_{calls::sleep, [this](auto &, unsigned seconds) {
                             slept_ += seconds;
                             return 0U;
                         }};
};

} // namespace

TEST_F(Ports, data_port_has_the_settings_that_stty_reads_back)
{
    EXPECT_FALSE(matches(data_.settings("-g"), kRaw));
    EXPECT_GE(lc_open_tty(), 0);
    EXPECT_TRUE(matches(data_.settings("-g"), kRaw)) << data_.settings("-g");
    EXPECT_EQ(data_.settings("speed"), "115200\n");
}

TEST_F(Ports, data_port_is_emptied_when_it_is_opened)
{
    data_.make_raw();
    ASSERT_TRUE(data_.say(text("stale")));
    ASSERT_TRUE(eventually([&] { return data_.waiting_bytes() == 5; }));
    EXPECT_GE(lc_open_tty(), 0);
    EXPECT_EQ(data_.waiting_bytes(), 0);
}

TEST_F(Ports, reads_of_the_data_port_wait_for_no_minimum)
{
    const int fd = lc_open_tty();
    char byte;
    EXPECT_EQ(read(fd, &byte, 1), 0);
}

TEST_F(Ports, data_port_does_not_become_the_controlling_terminal)
{
    const auto controlled_by = [](auto open_port) {
        ChildProcess process([&] {
            setsid();
            const bool opened = open_port() >= 0;
            const int terminal = open("/dev/tty", O_RDWR);
            return !opened ? 2 : terminal >= 0 ? 1 : errno == ENXIO ? 0 : 3;
        });
        return WEXITSTATUS(process.wait());
    };
    EXPECT_EQ(controlled_by([] { return lc_open_tty(); }), 0);
    EXPECT_EQ(controlled_by([] { return open(kDataPort, O_RDWR); }), 1) << "it could become it";
}

TEST_F(Ports, frame_and_response_of_any_bytes_go_through_unchanged)
{
    const Bytes frame = data_frame(0x0A0D1113, kPiece, pattern(kPiece));
    const Bytes reply = response(0x0A0D1113, kDataResponse, "RSP_OK\r\n\x03\x04\x11\x13\x7F\xFF");
    ChildProcess modem([&] { return data_.hear(kFrame) == frame && data_.say(reply) ? 0 : 1; });
    const int fd = lc_open_tty();
    const auto request = record_of<lc_up_frame>(frame);
    lc_up_response got;
    ASSERT_EQ(lc_data_trans(fd, &request, &got), 128);
    EXPECT_EQ(memcmp(&got, reply.data(), sizeof(got)), 0);
    EXPECT_EQ(lc_data_chk(&request, &got), 0);
    EXPECT_EQ(modem.wait(), 0);
}

TEST_F(Ports, data_port_that_is_unplugged_has_disappeared)
{
    char byte;
    const int fd = lc_open_tty();
    data_.unplug();
    EXPECT_EQ(lc_read_tty(fd, &byte, 1), -1) << "the name leads nowhere";
    unlink(kDataPort);
    EXPECT_EQ(lc_read_tty(fd, &byte, 1), -1);
    // Another device that takes its name is not told from it.
    ASSERT_EQ(symlink("/dev/null", kDataPort), 0);
    EXPECT_EQ(lc_read_tty(fd, &byte, 1), 0);
    EXPECT_EQ(trace_text(), "[lib/lc_up:lc_open_tty:N]enter\n\n[lib/lc_up:lc_open_tty:N]end\n\n"
                            "[lib/lc_up:lc_read_tty:N]tty dev disappear\n\n"
                            "[lib/lc_up:lc_read_tty:N]tty dev disappear\n\n");
}

TEST_F(Ports, waiting_command_sets_the_at_port_and_takes_echo_and_answer_in_one_read)
{
    const Bytes command = text(LC_UP_AT_START);
    const Bytes reply = text(LC_UP_AT_START "\r\nOK\r\n");
    ChildProcess modem([&] { return at_.hear(command.size()) == command && at_.say(reply) ? 0 : 1; });
    EXPECT_EQ(lc_at_snd_wait(LC_UP_AT_START), 0);
    EXPECT_EQ(modem.wait(), 0);
    EXPECT_EQ(at_.waiting_bytes(), 0);
    EXPECT_EQ(slept_, 10U);
    EXPECT_TRUE(matches(at_.settings("-g"), kRaw)) << at_.settings("-g");
}

TEST_F(Ports, reading_command_leaves_the_at_port_as_it_is)
{
    at_.make_raw();
    const std::string before = at_.settings("-g");
    const Bytes command = text(LC_UP_AT_STATUS);
    ChildProcess modem(
        [&] { return at_.hear(command.size()) == command && at_.say(text("OK")) ? 0 : 1; });
    EXPECT_EQ(lc_at_snd(LC_UP_AT_STATUS), 0);
    EXPECT_EQ(modem.wait(), 0);
    EXPECT_EQ(slept_, 10U);
    EXPECT_EQ(at_.settings("-g"), before);
    EXPECT_EQ(at_.settings("speed"), "9600\n");
}
