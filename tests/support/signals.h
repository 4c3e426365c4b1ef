// Finds out which thread receives a signal to the process: one that the library has started, or the one
// that started it.
#pragma once

#include "support/eventually.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <ctime>
#include <functional>
#include <unistd.h>

namespace testing_support {

inline std::atomic<pid_t> g_signalled{0}; // the thread that the handler ran on

inline sigset_t block_user_signal()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

inline void handle_user_signal()
{
    struct sigaction action = {};
    action.sa_handler = [](int) { g_signalled = gettid(); };
    sigaction(SIGUSR1, &action, nullptr);
}

// What a thread has blocked before it starts the library's is left for it to await. round: has the
// library's thread do something, behind which it would have taken the signal.
inline void expect_signal_is_left_to_its_waiter(const std::function<void()> &start,
                                                const std::function<void()> &round)
{
    handle_user_signal();
    const sigset_t signals = block_user_signal();
    start();
    kill(getpid(), SIGUSR1);
    round();
    EXPECT_EQ(g_signalled, 0);
    const timespec at_once = {};
    EXPECT_EQ(sigtimedwait(&signals, nullptr, &at_once), SIGUSR1);
}

// What it blocks only afterwards, the library's thread takes.
inline void expect_signal_is_taken_by_started_thread(const std::function<void()> &start)
{
    handle_user_signal();
    start();
    block_user_signal();
    kill(getpid(), SIGUSR1);
    EXPECT_TRUE(eventually([] { return g_signalled != 0; }));
    EXPECT_NE(g_signalled, gettid());
}

} // namespace testing_support
