// Which messages reach the system log, at which priority, switched by which file.

#include "lc_log.h"
#include "support/log_config.h"
#include "support/syslog_listener.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <thread>

namespace print_test {

using namespace testing_support;

namespace {

constexpr const char *kLevelNames[] = {"DEBUG", "INFO", "ERROR"};
constexpr char kModule[] = "WanManager";

void switch_all(const char *module, bool on = true)
{
    for (const char *level : kLevelNames) {
        switch_log(module, level, on);
    }
}

void print_each_level()
{
    log_print(LC_LOG_DEBUG, "debug");
    log_print(LC_LOG_INFO, "info");
    log_print(LC_LOG_ERROR, "error");
}

using Lines = std::vector<std::string>;

// Logs as WanManager, with every message switched off.
class Print : public testing::Test {
protected:
    Print() { EXPECT_EQ(log_init(3), 0); }

    SyslogListener log;
};

} // namespace

TEST_F(Print, levels_have_their_syslog_priorities_and_the_user_facility)
{
    switch_all(kModule);
    print_each_level();
    EXPECT_EQ(log.next_raw().substr(0, 4), "<15>");
    EXPECT_EQ(log.next_raw().substr(0, 4), "<14>");
    EXPECT_EQ(log.next_raw().substr(0, 4), "<11>");
    EXPECT_EQ(log.next_raw(), "");
}

TEST_F(Print, without_flag_files_nothing_is_sent_errors_included)
{
    print_each_level();
    EXPECT_EQ(log.all(), Lines());
}

TEST_F(Print, each_level_has_a_file_of_its_own)
{
    const Lines texts = {"debug", "info", "error"};
    for (size_t level = 0; level < texts.size(); ++level) {
        switch_log(kModule, kLevelNames[level]);
        print_each_level();
        EXPECT_EQ(log.all(), Lines{texts[level]});
        switch_log(kModule, kLevelNames[level], false);
    }
}

TEST_F(Print, files_of_other_modules_switch_nothing)
{
    switch_all("SC");
    switch_all("WanManager2");
    switch_all("wanmanager");
    switch_all("");
    print_each_level();
    EXPECT_EQ(log.all(), Lines());
}

TEST_F(Print, switching_takes_effect_on_the_next_message)
{
    log_print(LC_LOG_INFO, "one");
    switch_log(kModule, "INFO");
    log_print(LC_LOG_INFO, "two");
    switch_log(kModule, "INFO", false);
    log_print(LC_LOG_INFO, "three");
    switch_log(kModule, "INFO");
    log_print(LC_LOG_INFO, "four");
    EXPECT_EQ(log.all(), (Lines{"two", "four"}));
}

TEST_F(Print, other_levels_are_dropped)
{
    switch_all(kModule);
    for (const int32_t level : {3, 4, 5, 7, -1, INT32_MAX, INT32_MIN}) {
        log_print(level, "level %ld", static_cast<long>(level));
    }
    EXPECT_EQ(log.all(), Lines());
}

TEST_F(Print, arguments_are_formatted_as_printf_does)
{
    switch_all(kModule);
    log_print(LC_LOG_ERROR, "[ERR][%s:%d]Failed! sret=%ld %c%5.1f%%\n\n", "lib/unit", 17, -1L, 'x',
              2.5);
    EXPECT_EQ(log.next(), "[ERR][lib/unit:17]Failed! sret=-1 x  2.5%\n\n");
}

TEST_F(Print, long_message_arrives_whole)
{
    switch_all(kModule);
    const std::string text(3000, 'x');
    log_print(LC_LOG_INFO, "%s!", text.c_str());
    EXPECT_EQ(log.next(), text + "!");
}

TEST_F(Print, errno_is_kept_whether_or_not_the_message_is_sent)
{
    errno = 77;
    log_print(LC_LOG_ERROR, "off");
    EXPECT_EQ(errno, 77);
    switch_all(kModule);
    errno = 77;
    log_print(LC_LOG_ERROR, "on");
    EXPECT_EQ(errno, 77);
    EXPECT_EQ(log.all(), Lines{"on"});
}

TEST_F(Print, message_may_tell_the_error_of_the_call_before)
{
    switch_all(kModule); // but not the uptime, whose flag file is looked for in vain
    errno = EACCES;
    log_print(LC_LOG_ERROR, std::string("%m%s").c_str(), "!");
    EXPECT_EQ(log.next(), std::string(strerror(EACCES)) + "!");
}

TEST_F(Print, errno_is_kept_when_nobody_listens)
{
    switch_all(kModule);
    unlink("/dev/log");
    errno = 77;
    log_print(LC_LOG_ERROR, "lost");
    EXPECT_EQ(errno, 77);
}

TEST_F(Print, any_thread_may_print)
{
    switch_all(kModule);
    // Few enough for the listener's socket to hold them all: nobody reads meanwhile.
    Lines expected;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        for (int message = 0; message < 2; ++message) {
            expected.push_back("thread " + std::to_string(thread) + " message " +
                               std::to_string(message));
        }
        threads.emplace_back([thread] {
            for (int message = 0; message < 2; ++message) {
                log_print(LC_LOG_INFO, "thread %d message %d", thread, message);
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    Lines lines = log.all();
    std::sort(lines.begin(), lines.end());
    EXPECT_EQ(lines, expected);
}

TEST(PrintWithoutModule, nothing_is_sent_before_log_init)
{
    SyslogListener log;
    switch_all(kModule);
    switch_all(""); // the name that no module has
    print_each_level();
    EXPECT_EQ(log.all(), Lines());
}

TEST(PrintWithoutModule, nothing_is_sent_after_a_failed_log_init)
{
    SyslogListener log;
    EXPECT_EQ(log_init(16), 1);
    switch_all("NEWMOD");
    switch_all("");
    print_each_level();
    EXPECT_EQ(log.all(), Lines());
}

TEST(PrintOfLongName, each_level_is_switched_by_the_whole_name)
{
    SyslogListener log;
    const std::string name(32, 'N');
    const LogConfig config("16,x," + name + "\n");
    ASSERT_EQ(log_init(16), 0);
    print_each_level();
    EXPECT_EQ(log.all(), Lines());
    switch_all(name.c_str());
    print_each_level();
    EXPECT_EQ(log.all(), (Lines{"debug", "info", "error"}));
}

TEST_F(Print, a_text_is_sent_as_it_is)
{
    switch_all(kModule);
    for (const char *text : {"100% %s %n%d\n", "", "%"}) {
        errno = EBADF;
        log_print_text(LC_LOG_INFO, text);
        EXPECT_EQ(errno, EBADF);
        EXPECT_EQ(log.next_raw().substr(0, 4), "<14>");
        log_print_text(LC_LOG_INFO, text);
        EXPECT_EQ(log.next(), text);
    }
    log_print_text(LC_LOG_INFO, nullptr);
    log_print_text(3, "no such level");
    EXPECT_EQ(log.all(), Lines());
}

TEST_F(Print, a_text_is_switched_by_the_file_of_its_level)
{
    for (int32_t level = LC_LOG_DEBUG; level <= LC_LOG_ERROR; ++level) {
        log_print_text(level, "unheard");
        switch_log(kModule, kLevelNames[level]);
        log_print_text(level, "heard");
        switch_log(kModule, kLevelNames[level], false);
        EXPECT_EQ(log.all(), Lines{"heard"});
    }
}

} // namespace print_test
