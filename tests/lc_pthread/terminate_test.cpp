// Terminating, then killing, the processes of a name: what is signalled, logged and waited for.
#include "lc_log.h"
#include "lc_pthread.h"
#include "support/calls.h"
#include "support/child_process.h"
#include "support/syslog_listener.h"
#include "support/text_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace terminate_test {

using namespace testing_support;

namespace {

using Strings = std::vector<std::string>;

Strings operator+(Strings left, const Strings &right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

std::string log_line(const std::string &doing, int n)
{
    return "[LOG][lib/lc_pthread:N]:lc_killall_tk: " + doing + " name=victim n=" + std::to_string(n) +
           "\n\n";
}

// `tries` signals, each followed by its line and pause.
Strings rounds(const std::string &signal, const std::string &doing, const std::string &pause, int tries)
{
    Strings steps;
    for (int i = 0; i < tries; ++i) {
        steps.insert(steps.end(), {signal, log_line(doing, 4 - i), pause});
    }
    return steps;
}

const Strings kTerm = {"kill 15"};
const Strings kProbe = {"kill 0"};
const Strings kKill = {"kill 9"};
const Strings kAllProbes = rounds("kill 0", "waiting", "sleep 1", 5) + kProbe;
const Strings kAllKills = rounds("kill 9", "SIGKILL", "sleep 2", 5) + kKill;

class Terminate : public testing::Test {
protected:
    Terminate()
    {
        log_init(3);
        switch_log("WanManager", "DEBUG");
    }

    void take_log_lines()
    {
        for (const std::string &line : log_.all()) {
            steps_.push_back(without_line_numbers(line));
        }
    }

    // Everything the call does, in order.
    Strings steps_;
    std::function<void(int slept)> at_sleep_;
    std::optional<int> failing_signal_;

private:
    SyslogListener log_;
    int sleeps_ = 0;
    const Hooked noted_kill_{calls::kill, [this](auto &next, pid_t pid, int sig) {
                                 take_log_lines();
                                 steps_.push_back("kill " + std::to_string(sig));
                                 if (failing_signal_ == sig) {
                                     errno = EPERM;
                                     return -1;
                                 }
                                 return next(pid, sig);
                             }};
    const Hooked noted_sleep_{calls::sleep, [this](auto &, unsigned seconds) {
                                  take_log_lines();
                                  steps_.push_back("sleep " + std::to_string(seconds));
                                  ++sleeps_;
                                  if (at_sleep_) {
                                      at_sleep_(sleeps_);
                                  }
                                  return 0U;
                              }};
};

} // namespace

TEST_F(Terminate, no_process_returns_minus_2_without_waiting)
{
    EXPECT_EQ(lc_killall_tk("victim"), -2);
    take_log_lines();
    EXPECT_EQ(steps_, Strings());
}

TEST_F(Terminate, failing_sigterm_is_returned_at_once)
{
    const NamedProcess process("victim");
    failing_signal_ = SIGTERM;
    EXPECT_EQ(lc_killall_tk("victim"), -1);
    take_log_lines();
    EXPECT_EQ(steps_, kTerm);
}

TEST_F(Terminate, process_that_ends_during_the_wait_gives_minus_2_at_the_next_probe)
{
    NamedProcess process("victim");
    at_sleep_ = [&](int slept) {
        if (slept == 3) {
            process.wait();
        }
    };
    EXPECT_EQ(lc_killall_tk("victim"), -2);
    take_log_lines();
    EXPECT_EQ(steps_, kTerm + rounds("kill 0", "waiting", "sleep 1", 3));
}

TEST_F(Terminate, process_that_ends_after_the_last_pause_is_seen_by_the_sixth_probe)
{
    NamedProcess process("victim");
    at_sleep_ = [&](int slept) {
        if (slept == 5) {
            process.wait();
        }
    };
    EXPECT_EQ(lc_killall_tk("victim"), -2);
    take_log_lines();
    EXPECT_EQ(steps_, kTerm + rounds("kill 0", "waiting", "sleep 1", 5));
}

TEST_F(Terminate, failing_probe_is_returned)
{
    const NamedProcess process("victim", true);
    at_sleep_ = [&](int slept) {
        if (slept == 2) {
            failing_signal_ = 0;
        }
    };
    EXPECT_EQ(lc_killall_tk("victim"), -1);
    take_log_lines();
    EXPECT_EQ(steps_, kTerm + rounds("kill 0", "waiting", "sleep 1", 2) + kProbe);
}

TEST_F(Terminate, six_probes_then_sigkill_for_one_that_ignores_sigterm)
{
    NamedProcess process("victim", true);
    int status = 0;
    at_sleep_ = [&](int slept) {
        if (slept == 6) {
            status = process.wait();
        }
    };
    EXPECT_EQ(lc_killall_tk("victim"), -2);
    take_log_lines();
    EXPECT_EQ(steps_, kTerm + kAllProbes + rounds("kill 9", "SIGKILL", "sleep 2", 1));
    EXPECT_EQ(WTERMSIG(status), SIGKILL);
}

TEST_F(Terminate, gives_0_after_six_sigkills_when_it_can_still_be_signalled)
{
    // Never reaped: still there for every signal.
    const NamedProcess process("victim", true);
    EXPECT_EQ(lc_killall_tk("victim"), 0);
    take_log_lines();
    EXPECT_EQ(steps_, kTerm + kAllProbes + kAllKills);
}

TEST_F(Terminate, process_that_is_gone_before_the_sixth_sigkill_gives_minus_2)
{
    NamedProcess process("victim", true);
    at_sleep_ = [&](int slept) {
        if (slept == 10) {
            process.wait();
        }
    };
    EXPECT_EQ(lc_killall_tk("victim"), -2);
    take_log_lines();
    EXPECT_EQ(steps_, kTerm + kAllProbes + rounds("kill 9", "SIGKILL", "sleep 2", 5));
}

TEST_F(Terminate, failing_sigkill_is_returned)
{
    const NamedProcess process("victim", true);
    failing_signal_ = SIGKILL;
    EXPECT_EQ(lc_killall_tk("victim"), -1);
    take_log_lines();
    EXPECT_EQ(steps_, kTerm + kAllProbes + kKill);
    failing_signal_.reset();
}

TEST_F(Terminate, logs_the_name_as_it_was_given)
{
    NamedProcess process("victim");
    at_sleep_ = [&](int) { process.wait(); };
    EXPECT_EQ(lc_killall_tk("bin/victim"), -2);
    take_log_lines();
    ASSERT_EQ(steps_.size(), 4U);
    EXPECT_EQ(steps_[2], "[LOG][lib/lc_pthread:N]:lc_killall_tk: waiting name=bin/victim n=4\n\n");
}

TEST_F(Terminate, is_silent_with_the_debug_level_off)
{
    switch_log("WanManager", "DEBUG", false);
    switch_log("WanManager", "INFO");
    switch_log("WanManager", "ERROR");
    const NamedProcess process("victim", true);
    EXPECT_EQ(lc_killall_tk("victim"), 0);
    take_log_lines();
    EXPECT_EQ(std::count_if(steps_.begin(), steps_.end(),
                            [](const std::string &step) { return step.starts_with("[LOG]"); }),
              0);
}

} // namespace terminate_test
