// The identity of a process in the system log, and when it is set.

#include "lc_log.h"
#include "support/calls.h"
#include "support/log_config.h"
#include "support/pattern.h"
#include "support/syslog_listener.h"

#include <syslog.h>

namespace identity_test {

using namespace testing_support;

namespace {

struct OpenlogCall {
    std::string identity;
    int options;
    int facility;
};

class Identity : public testing::Test {
protected:
    // The identity of an error message when name is the module's; empty when none is sent.
    std::string shown_by(const char *name)
    {
        switch_log(name, "ERROR");
        log_print(LC_LOG_ERROR, "text\n");
        return captured(log.next_raw(),
                        "<11>[A-Z][a-z]{2} [ 0-9][0-9] [0-9]{2}:[0-9]{2}:[0-9]{2} (.+): text\n");
    }

    SyslogListener log;
    std::vector<OpenlogCall> openlog_calls;

private:
    const Hooked noted_{calls::openlog,
                        [this](auto &next, const char *identity, int options, int facility) {
                            openlog_calls.push_back({identity, options, facility});
                            next(identity, options, facility);
                        }};
};

} // namespace

TEST_F(Identity, built_in_module_needs_no_file)
{
    EXPECT_EQ(log_init(3), 0);
    EXPECT_EQ(shown_by("WanManager"), "03WanManager");
}

TEST_F(Identity, two_digit_id)
{
    EXPECT_EQ(log_init(15), 0);
    EXPECT_EQ(shown_by("CM"), "15CM");
}

TEST_F(Identity, module_of_the_file)
{
    const LogConfig config("16,x,NEWMOD\n");
    EXPECT_EQ(log_init(16), 0);
    EXPECT_EQ(shown_by("NEWMOD"), "16NEWMOD");
}

TEST_F(Identity, two_digits_are_the_least)
{
    const LogConfig config("123,x,NEWMOD\n");
    EXPECT_EQ(log_init(123), 0);
    EXPECT_EQ(shown_by("NEWMOD"), "123NEWMOD");
}

TEST_F(Identity, negative_id)
{
    const LogConfig config("-5,x,NEWMOD\n");
    EXPECT_EQ(log_init(-5), 0);
    EXPECT_EQ(shown_by("NEWMOD"), "-5NEWMOD");
}

TEST_F(Identity, longest_id_and_longest_name_that_go_with_it)
{
    const std::string name(31, 'N');
    const LogConfig config("-214748364,x," + name + "\n");
    EXPECT_EQ(log_init(-214748364), 0);
    EXPECT_EQ(shown_by(name.c_str()), "-214748364" + name);
}

TEST_F(Identity, longest_name)
{
    const std::string name(32, 'N');
    const LogConfig config("16,x," + name + "\n");
    EXPECT_EQ(log_init(16), 0);
    EXPECT_EQ(shown_by(name.c_str()), "16" + name);
}

TEST_F(Identity, file_may_go_once_it_was_read)
{
    {
        const LogConfig config("16,x,NEWMOD\n");
        EXPECT_EQ(log_init(16), 0);
    }
    EXPECT_EQ(shown_by("NEWMOD"), "16NEWMOD");
}

TEST_F(Identity, second_call_returns_0_and_changes_nothing)
{
    EXPECT_EQ(log_init(3), 0);
    EXPECT_EQ(log_init(12), 0);
    EXPECT_EQ(log_init(3), 0);
    EXPECT_EQ(log_init(99), 0); // even though there is no such module
    EXPECT_EQ(shown_by("MM"), "");
    EXPECT_EQ(shown_by("WanManager"), "03WanManager");
    EXPECT_EQ(openlog_calls.size(), 1u);
}

TEST_F(Identity, module_that_is_not_known_fails_and_opens_nothing)
{
    EXPECT_EQ(log_init(16), 1);
    const LogConfig config("17,x,OTHER\n16,xy,NEWMOD\n");
    EXPECT_EQ(log_init(16), 1);
    EXPECT_EQ(log_init(-1), 1);
    EXPECT_EQ(shown_by("NEWMOD"), "");
    EXPECT_TRUE(openlog_calls.empty());
}

TEST_F(Identity, call_after_a_failed_one_may_succeed)
{
    EXPECT_EQ(log_init(16), 1);
    EXPECT_EQ(log_init(3), 0);
    EXPECT_EQ(shown_by("WanManager"), "03WanManager");
}

TEST_F(Identity, log_is_opened_without_options_as_a_user_process)
{
    EXPECT_EQ(log_init(3), 0);
    ASSERT_EQ(openlog_calls.size(), 1u);
    EXPECT_EQ(openlog_calls[0].identity, "03WanManager");
    EXPECT_EQ(openlog_calls[0].options, 0);
    EXPECT_EQ(openlog_calls[0].facility, LOG_USER);
}

TEST_F(Identity, messages_that_the_process_logs_by_itself_carry_it_too)
{
    EXPECT_EQ(log_init(3), 0);
    syslog(LOG_WARNING, "own");
    const std::string raw = log.next_raw();
    EXPECT_EQ(raw.substr(0, 4), "<12>");
    EXPECT_NE(raw.find(" 03WanManager: own"), std::string::npos) << raw;
}

} // namespace identity_test
