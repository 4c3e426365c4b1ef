// Finding processes by name and signalling them.
#include "lc_pthread.h"
#include "support/calls.h"
#include "support/child_process.h"
#include "support/scoped_mount.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <utility>
#include <vector>

namespace process_signal_test {

using namespace testing_support;

namespace {

using Kills = std::vector<std::pair<pid_t, int>>;

struct NotedKills {
    Kills made;
    const Hooked noted{calls::kill, [this](auto &next, pid_t pid, int sig) {
                           made.emplace_back(pid, sig);
                           return next(pid, sig);
                       }};
};

} // namespace

TEST(PidOf, finds_a_process_by_its_exact_name)
{
    const NamedProcess longer("wanted2");
    const NamedProcess shorter("wante");
    const NamedProcess wanted("wanted");
    EXPECT_EQ(lc_pidof("wanted"), wanted.pid());
}

TEST(PidOf, gives_minus_1_when_there_is_none)
{
    const NamedProcess other("other");
    EXPECT_EQ(lc_pidof("wanted"), -1);
    EXPECT_EQ(lc_pidof(""), -1);
}

TEST(PidOf, compares_what_follows_the_first_slash)
{
    const NamedProcess process("foo");
    EXPECT_EQ(lc_pidof("foo"), process.pid());
    EXPECT_EQ(lc_pidof("/foo"), process.pid());
    EXPECT_EQ(lc_pidof("sbin/foo"), process.pid());
    EXPECT_EQ(lc_pidof("/usr/sbin/foo"), -1);
}

TEST(PidOf, finds_a_name_with_a_slash_only_behind_another)
{
    const NamedProcess process("kworker/0");
    EXPECT_EQ(lc_pidof("kworker/0"), -1);
    EXPECT_EQ(lc_pidof("/kworker/0"), process.pid());
}

TEST(PidOf, of_several_gives_the_first)
{
    // The kernel lists processes by number.
    const NamedProcess first("twin");
    const NamedProcess second("twin");
    EXPECT_EQ(lc_pidof("twin"), std::min(first.pid(), second.pid()));
}

TEST(KillAll, signals_every_process_from_the_last_found_to_the_first)
{
    const NamedProcess one("target");
    const NamedProcess other("bystander");
    const NamedProcess two("target");
    const NamedProcess three("target");
    const NotedKills kills;
    EXPECT_EQ(lc_killall("target", 0), 0);
    EXPECT_EQ(kills.made, (Kills{{three.pid(), 0}, {two.pid(), 0}, {one.pid(), 0}}));
}

TEST(KillAll, delivers_the_signal)
{
    NamedProcess process("target");
    EXPECT_EQ(lc_killall("target", SIGUSR1), 0);
    EXPECT_EQ(WTERMSIG(process.wait()), SIGUSR1);
}

TEST(KillAll, gives_minus_1_when_any_failed_and_still_signals_the_rest)
{
    for (const int which : {0, 1}) {
        NamedProcess one("target");
        NamedProcess two("target");
        NamedProcess &spared = which == 0 ? one : two;
        NamedProcess &killed = which == 0 ? two : one;
        const Hooked refused(calls::kill, [&](auto &next, pid_t pid, int sig) {
            if (pid == spared.pid()) {
                errno = EPERM;
                return -1;
            }
            return next(pid, sig);
        });
        EXPECT_EQ(lc_killall("target", SIGUSR1), -1);
        EXPECT_EQ(WTERMSIG(killed.wait()), SIGUSR1);
    }
}

TEST(KillAll, gives_minus_2_when_no_process_matches)
{
    const NotedKills kills;
    EXPECT_EQ(lc_killall("target", SIGKILL), -2);
    EXPECT_EQ(kills.made, Kills());
}

TEST(KillAll, without_process_files_finds_nothing)
{
    const NamedProcess process("target");
    const ScopedMount empty("/proc");
    EXPECT_EQ(lc_killall("target", SIGKILL), -2);
    EXPECT_EQ(lc_pidof("target"), -1);
}

} // namespace process_signal_test
