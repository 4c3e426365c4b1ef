// Terminating, then killing, the processes of a name: what is signalled, logged and waited for.
#include "lc_log.h"
#include "lc_pthread.h"
#include "support/child_process.h"
#include "support/interpose.h"
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

using namespace testing_support;

namespace {

using Strings = std::vector<std::string>;

// Everything the call does, in order.
Strings g_steps;
std::function<void(int slept)> g_at_sleep;
std::optional<int> g_failing_signal;
SyslogListener *g_log = nullptr;
int g_sleeps = 0;

void take_log_lines()
{
    if (g_log == nullptr) {
        return;
    }
    for (const std::string &line : g_log->all()) {
        g_steps.push_back(without_line_numbers(line));
    }
}

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
        g_log = &log_;
    }

    SyslogListener log_;
};

} // namespace

extern "C" int kill(pid_t pid, int sig) noexcept
{
    take_log_lines();
    g_steps.push_back("kill " + std::to_string(sig));
    if (g_failing_signal == sig) {
        errno = EPERM;
        return -1;
    }
    return next_definition<int(pid_t, int)>("kill")(pid, sig);
}

extern "C" unsigned int sleep(unsigned int seconds)
{
    take_log_lines();
    g_steps.push_back("sleep " + std::to_string(seconds));
    ++g_sleeps;
    if (g_at_sleep) {
        g_at_sleep(g_sleeps);
    }
    return 0;
}

TEST_F(Terminate, no_process_returns_minus_2_without_waiting)
{
    EXPECT_EQ(lc_killall_tk("victim"), -2);
    take_log_lines();
    EXPECT_EQ(g_steps, Strings());
}

TEST_F(Terminate, failing_sigterm_is_returned_at_once)
{
    const NamedProcess process("victim");
    g_failing_signal = SIGTERM;
    EXPECT_EQ(lc_killall_tk("victim"), -1);
    take_log_lines();
    EXPECT_EQ(g_steps, kTerm);
}

TEST_F(Terminate, process_that_ends_during_the_wait_gives_minus_2_at_the_next_probe)
{
    NamedProcess process("victim");
    g_at_sleep = [&](int slept) {
        if (slept == 3) {
            process.wait();
        }
    };
    EXPECT_EQ(lc_killall_tk("victim"), -2);
    take_log_lines();
    EXPECT_EQ(g_steps, kTerm + rounds("kill 0", "waiting", "sleep 1", 3));
}

TEST_F(Terminate, process_that_ends_after_the_last_pause_is_seen_by_the_sixth_probe)
{
    NamedProcess process("victim");
    g_at_sleep = [&](int slept) {
        if (slept == 5) {
            process.wait();
        }
    };
    EXPECT_EQ(lc_killall_tk("victim"), -2);
    take_log_lines();
    EXPECT_EQ(g_steps, kTerm + rounds("kill 0", "waiting", "sleep 1", 5));
}

TEST_F(Terminate, failing_probe_is_returned)
{
    const NamedProcess process("victim", true);
    g_at_sleep = [](int slept) {
        if (slept == 2) {
            g_failing_signal = 0;
        }
    };
    EXPECT_EQ(lc_killall_tk("victim"), -1);
    take_log_lines();
    EXPECT_EQ(g_steps, kTerm + rounds("kill 0", "waiting", "sleep 1", 2) + kProbe);
}

TEST_F(Terminate, six_probes_then_sigkill_for_one_that_ignores_sigterm)
{
    NamedProcess process("victim", true);
    int status = 0;
    g_at_sleep = [&](int slept) {
        if (slept == 6) {
            status = process.wait();
        }
    };
    EXPECT_EQ(lc_killall_tk("victim"), -2);
    take_log_lines();
    EXPECT_EQ(g_steps, kTerm + kAllProbes + rounds("kill 9", "SIGKILL", "sleep 2", 1));
    EXPECT_EQ(WTERMSIG(status), SIGKILL);
}

TEST_F(Terminate, gives_0_after_six_sigkills_when_it_can_still_be_signalled)
{
    // Never reaped: still there for every signal.
    const NamedProcess process("victim", true);
    EXPECT_EQ(lc_killall_tk("victim"), 0);
    take_log_lines();
    EXPECT_EQ(g_steps, kTerm + kAllProbes + kAllKills);
}

TEST_F(Terminate, process_that_is_gone_before_the_sixth_sigkill_gives_minus_2)
{
    NamedProcess process("victim", true);
    g_at_sleep = [&](int slept) {
        if (slept == 10) {
            process.wait();
        }
    };
    EXPECT_EQ(lc_killall_tk("victim"), -2);
    take_log_lines();
    EXPECT_EQ(g_steps, kTerm + kAllProbes + rounds("kill 9", "SIGKILL", "sleep 2", 5));
}

TEST_F(Terminate, failing_sigkill_is_returned)
{
    const NamedProcess process("victim", true);
    g_failing_signal = SIGKILL;
    EXPECT_EQ(lc_killall_tk("victim"), -1);
    take_log_lines();
    EXPECT_EQ(g_steps, kTerm + kAllProbes + kKill);
    g_failing_signal.reset();
}

TEST_F(Terminate, logs_the_name_as_it_was_given)
{
    NamedProcess process("victim");
    g_at_sleep = [&](int) { process.wait(); };
    EXPECT_EQ(lc_killall_tk("bin/victim"), -2);
    take_log_lines();
    ASSERT_EQ(g_steps.size(), 4U);
    EXPECT_EQ(g_steps[2], "[LOG][lib/lc_pthread:N]:lc_killall_tk: waiting name=bin/victim n=4\n\n");
}

TEST_F(Terminate, is_silent_with_the_debug_level_off)
{
    switch_log("WanManager", "DEBUG", false);
    switch_log("WanManager", "INFO");
    switch_log("WanManager", "ERROR");
    const NamedProcess process("victim", true);
    EXPECT_EQ(lc_killall_tk("victim"), 0);
    take_log_lines();
    EXPECT_EQ(std::count_if(g_steps.begin(), g_steps.end(),
                            [](const std::string &step) { return step.starts_with("[LOG]"); }),
              0);
}
