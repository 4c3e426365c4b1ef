// The system's uptime in front of each message, while its flag file is there.

#include "lc_log.h"
#include "support/pattern.h"
#include "support/scoped_mount.h"
#include "support/syslog_listener.h"
#include "support/text_file.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>

namespace uptime_test {

using namespace testing_support;

namespace {

constexpr char kTimeFlag[] = "/tmp/.LC_DEBUG_FLAG_TIME";
constexpr char kUptime[] = "/proc/uptime";
constexpr size_t kFormatRoom = 512; // for prefix, format and terminator

// Logs as WanManager; every message and its uptime are on.
class Uptime : public testing::Test {
protected:
    Uptime()
    {
        EXPECT_EQ(log_init(3), 0);
        for (const char *level : {"DEBUG", "INFO", "ERROR"}) {
            switch_log("WanManager", level);
        }
        write_text(kTimeFlag, "");
    }

    std::string printed(const std::string &text)
    {
        log_print(LC_LOG_INFO, "%s", text.c_str());
        return log.next();
    }
    // A format of so many characters, two of which ask for an argument of one.
    std::string printed_format(size_t length)
    {
        const std::string format = std::string(length - 2, 'x') + "%d";
        log_print(LC_LOG_INFO, format.c_str(), 1);
        return log.next();
    }

    SyslogListener log;
};

double system_uptime() { return atof(read_text(kUptime).c_str()); }

} // namespace

TEST_F(Uptime, is_the_first_field_of_the_systems_file_in_brackets)
{
    const double before = system_uptime();
    const std::string line = printed("text\n");
    const double after = system_uptime();
    ASSERT_TRUE(matches(line, "\\[[0-9]+\\.[0-9]{2}\\]text\n")) << line;
    const double shown = atof(line.c_str() + 1);
    EXPECT_GE(shown, before);
    EXPECT_LE(shown, after);
}

TEST_F(Uptime, ends_at_the_first_blank)
{
    const ScopedMount proc("/proc");
    write_text(kUptime, "12345.67 99.01\n");
    EXPECT_EQ(printed("text"), "[12345.67]text");
}

TEST_F(Uptime, ends_at_the_end_of_a_file_without_blank)
{
    const ScopedMount proc("/proc");
    write_text(kUptime, "12345.67 99.01\n");
    printed("leaves its uptime where the next one is read to");
    write_text(kUptime, "7.25");
    EXPECT_EQ(printed("text"), "[7.25]text");
}

TEST_F(Uptime, is_read_anew_for_each_message)
{
    const ScopedMount proc("/proc");
    write_text(kUptime, "1.00 0.50\n");
    EXPECT_EQ(printed("text"), "[1.00]text");
    write_text(kUptime, "2.00 1.50\n");
    EXPECT_EQ(printed("text"), "[2.00]text");
}

TEST_F(Uptime, stands_before_messages_of_every_level_and_their_arguments)
{
    const ScopedMount proc("/proc");
    write_text(kUptime, "1.50 1\n");
    for (const int32_t level : {LC_LOG_DEBUG, LC_LOG_INFO, LC_LOG_ERROR}) {
        log_print(level, "[%s:%d]%ld%%\n", "lib/unit", 17, -1L);
        EXPECT_EQ(log.next(), "[1.50][lib/unit:17]-1%\n");
    }
}

TEST_F(Uptime, is_left_out_when_its_flag_file_goes)
{
    unlink(kTimeFlag);
    EXPECT_EQ(printed("text"), "text");
}

TEST_F(Uptime, flag_file_alone_switches_no_message_on)
{
    switch_log("WanManager", "INFO", false);
    EXPECT_EQ(printed("text"), "");
}

TEST_F(Uptime, is_0_00_when_the_file_cannot_be_opened)
{
    const ScopedMount proc("/proc");
    errno = 77;
    log_print(LC_LOG_INFO, "text");
    EXPECT_EQ(errno, 77);
    EXPECT_EQ(log.next(), "[0.00]text");
}

TEST_F(Uptime, does_not_hide_the_error_that_a_message_tells)
{
    const ScopedMount proc("/proc");
    errno = EACCES;
    log_print(LC_LOG_INFO, std::string("%m%s").c_str(), "!");
    EXPECT_EQ(log.next(), std::string("[0.00]") + strerror(EACCES) + "!");
}

TEST_F(Uptime, is_0_00_when_the_file_cannot_be_read)
{
    const ScopedMount proc("/proc");
    ASSERT_EQ(mkdir(kUptime, 0755), 0); // opens, but does not read
    EXPECT_EQ(printed("text"), "[0.00]text");
}

TEST_F(Uptime, is_0_00_when_the_file_is_empty)
{
    const ScopedMount proc("/proc");
    write_text(kUptime, "");
    EXPECT_EQ(printed("text"), "[0.00]text");
}

TEST_F(Uptime, is_shown_up_to_63_characters)
{
    const ScopedMount proc("/proc");
    const std::string digits(63, '7');
    write_text(kUptime, digits + " 1\n");
    EXPECT_EQ(printed("text"), "[" + digits + "]text");
    write_text(kUptime, digits + "8 1\n");
    EXPECT_EQ(printed("text"), "[" + digits + "]text");
}

TEST_F(Uptime, is_put_before_the_longest_format_that_leaves_room_for_it)
{
    const ScopedMount proc("/proc");
    write_text(kUptime, "1.50 1\n");
    const size_t longest = kFormatRoom - 1 - strlen("[1.50]");
    EXPECT_EQ(printed_format(longest), "[1.50]" + std::string(longest - 2, 'x') + "1");
}

TEST_F(Uptime, is_left_out_before_a_longer_format_which_is_never_cut)
{
    const ScopedMount proc("/proc");
    write_text(kUptime, "1.50 1\n");
    const size_t longest = kFormatRoom - 1 - strlen("[1.50]");
    for (const size_t length : {longest + 1, longest + 2, size_t{511}, size_t{512}, size_t{1500}}) {
        EXPECT_EQ(printed_format(length), std::string(length - 2, 'x') + "1");
    }
}

TEST_F(Uptime, room_is_for_the_format_not_for_the_message)
{
    const ScopedMount proc("/proc");
    write_text(kUptime, "1.50 1\n");
    const std::string text(3000, 'x');
    EXPECT_EQ(printed(text), "[1.50]" + text);
}

TEST_F(Uptime, reading_it_leaves_no_file_open)
{
    printed("the first message connects to the log daemon");
    const int before = count_descriptors();
    printed("text");
    printed_format(1500);
    EXPECT_EQ(count_descriptors(), before);
}

} // namespace uptime_test
