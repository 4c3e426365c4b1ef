// Running a command: its descriptors, signals, session, time-out and result.
#include "lc_pthread.h"
#include "support/calls.h"
#include "support/text_file.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <initializer_list>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace eval_test {

using namespace testing_support;

namespace {

constexpr char kOutput[] = "/tmp/output";
constexpr char kPython[] = "/usr/bin/python3";
constexpr char kToOutput[] = ">/tmp/output";

int eval(std::initializer_list<const char *> command, const char *redirect = nullptr, int timeout = 0,
         int *pid = nullptr)
{
    std::vector<char *> arguments;
    for (const char *argument : command) {
        arguments.push_back(const_cast<char *>(argument));
    }
    arguments.push_back(nullptr);
    return _eval(arguments.data(), redirect, timeout, pid);
}

int eval_shell(const char *script, const char *redirect = nullptr)
{
    return eval({"sh", "-c", script}, redirect);
}

int eval_python(const char *script, const char *redirect = nullptr)
{
    return eval({kPython, "-c", script}, redirect);
}

mode_t mode_of(const char *path)
{
    struct stat status = {};
    stat(path, &status);
    return status.st_mode & 07777;
}

} // namespace

TEST(Fork, gives_the_child_0_and_the_parent_its_process_id)
{
    const pid_t parent = getpid();
    const pid_t child = lc_fork();
    if (child == 0) {
        _exit(getppid() == parent ? 5 : 6);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(WEXITSTATUS(status), 5);
}

TEST(Fork, failure_gives_minus_1_and_errno)
{
    calls::fork.fail_nth(1, EAGAIN);
    EXPECT_EQ(lc_fork(), -1);
    EXPECT_EQ(errno, EAGAIN);
}

TEST(Eval, result_is_the_raw_wait_status_of_an_exit)
{
    EXPECT_EQ(eval_shell("exit 3"), 3 << 8);
    EXPECT_EQ(eval({"true"}), 0);
}

TEST(Eval, result_is_the_raw_wait_status_of_a_killed_command)
{
    const int status = eval_shell("kill -9 $$");
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGKILL);
}

TEST(Eval, passes_every_argument)
{
    EXPECT_EQ(eval({"printf", "%s|%s|", "one two", ""}, kToOutput), 0);
    EXPECT_EQ(read_text(kOutput), "one two||");
}

TEST(Eval, searches_the_inherited_path)
{
    mkdir("/tmp/bin", 0755);
    write_text("/tmp/bin/only-here", "#!/bin/sh\nexit 42\n");
    chmod("/tmp/bin/only-here", 0755);
    EXPECT_EQ(WEXITSTATUS(eval({"only-here"})), ENOENT);
    setenv("PATH", "/tmp/bin", 1);
    EXPECT_EQ(WEXITSTATUS(eval({"only-here"})), 42);
}

TEST(Eval, failed_execution_is_an_exit_status_of_errno)
{
    EXPECT_EQ(eval({"/no/such/program"}), ENOENT << 8);
    EXPECT_EQ(eval({"/tmp"}), EACCES << 8);
}

TEST(Eval, failed_execution_does_not_run_the_hosts_exit_handlers)
{
    ASSERT_EQ(atexit([] { write_text("/tmp/exit_" + std::to_string(getpid()), ""); }), 0);
    int pid = -1;
    ASSERT_EQ(eval({"/no/such/program"}, nullptr, 0, &pid), 0);
    waitpid(pid, nullptr, 0);
    EXPECT_NE(access(("/tmp/exit_" + std::to_string(pid)).c_str(), F_OK), 0);
}

TEST(Eval, fork_failure_returns_errno_and_leaves_the_process_id_alone)
{
    calls::fork.fail_nth(1, EAGAIN);
    int pid = 77;
    EXPECT_EQ(eval({"true"}, nullptr, 0, &pid), EAGAIN);
    EXPECT_EQ(pid, 77);
    calls::fork.fail_nth(1, EAGAIN);
    EXPECT_EQ(eval({"true"}), EAGAIN);
}

TEST(Eval, an_interrupted_wait_goes_on)
{
    int interruptions = 2;
    const Hooked interrupted(calls::waitpid, [&](auto &next, pid_t pid, int *status, int options) {
        if (interruptions > 0) {
            --interruptions;
            errno = EINTR;
            return -1;
        }
        return next(pid, status, options);
    });
    EXPECT_EQ(eval_shell("exit 3"), 3 << 8);
    EXPECT_EQ(interruptions, 0);
}

TEST(Eval, failed_wait_returns_errno)
{
    // With SIGCHLD ignored the kernel keeps no status for anyone.
    signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(eval_shell("exit 3"), ECHILD);
}

TEST(Eval, waits_for_the_command_when_no_process_id_is_asked_for)
{
    EXPECT_EQ(eval_shell("sleep 0.2; echo done > /tmp/output"), 0);
    EXPECT_EQ(read_text(kOutput), "done\n");
}

TEST(Eval, with_process_id_returns_0_while_the_command_runs_and_the_caller_reaps_it)
{
    ASSERT_EQ(mkfifo("/tmp/fifo", 0600), 0);
    int pid = -1;
    ASSERT_EQ(eval({"sh", "-c", "read line < /tmp/fifo; exit 7"}, nullptr, 0, &pid), 0);
    ASSERT_GT(pid, 0);
    EXPECT_EQ(waitpid(pid, nullptr, WNOHANG), 0);
    write_text("/tmp/fifo", "go\n");
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_EQ(WEXITSTATUS(status), 7);
}

TEST(Eval, with_process_id_a_failed_execution_is_seen_by_the_caller_alone)
{
    int pid = -1;
    ASSERT_EQ(eval({"/no/such/program"}, nullptr, 0, &pid), 0);
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_EQ(WEXITSTATUS(status), ENOENT);
}

TEST(EvalRedirect, two_signs_append)
{
    mkdir("/tmp/listed", 0755);
    write_text("/tmp/listed/name", "");
    write_text(kOutput, "before\n");
    EXPECT_EQ(eval({"ls", "/tmp/listed"}, ">>/tmp/output"), 0);
    EXPECT_EQ(eval({"ls", "/tmp/listed"}, ">>/tmp/output"), 0);
    EXPECT_EQ(read_text(kOutput), "before\nname\nname\n");
}

TEST(EvalRedirect, one_sign_truncates)
{
    write_text(kOutput, "a longer text than what follows\n");
    EXPECT_EQ(eval({"echo", "new"}, kToOutput), 0);
    EXPECT_EQ(read_text(kOutput), "new\n");
}

TEST(EvalRedirect, bare_path_overwrites_the_start_and_keeps_the_tail)
{
    write_text(kOutput, "0123456789");
    EXPECT_EQ(eval({"echo", "abc"}, kOutput), 0);
    EXPECT_EQ(read_text(kOutput), "abc\n456789");
}

TEST(EvalRedirect, every_form_creates_the_file_with_mode_0644)
{
    umask(0);
    EXPECT_EQ(eval({"true"}, "/tmp/bare"), 0);
    EXPECT_EQ(eval({"true"}, ">/tmp/truncated"), 0);
    EXPECT_EQ(eval({"true"}, ">>/tmp/appended"), 0);
    EXPECT_EQ(mode_of("/tmp/bare"), 0644U);
    EXPECT_EQ(mode_of("/tmp/truncated"), 0644U);
    EXPECT_EQ(mode_of("/tmp/appended"), 0644U);
}

TEST(EvalRedirect, takes_standard_output_only)
{
    EXPECT_EQ(eval_shell("echo out; echo err >&2", kToOutput), 0);
    EXPECT_EQ(read_text(kOutput), "out\n");
}

TEST(EvalRedirect, a_path_that_cannot_be_opened_leaves_output_on_dev_null)
{
    const char look[] = "import os, sys\n"
                        "open('/tmp/target', 'w').write(os.readlink('/proc/self/fd/1'))\n"
                        "sys.exit(4)\n";
    EXPECT_EQ(eval_python(look, ">/no/such/folder/file"), 4 << 8);
    EXPECT_EQ(read_text("/tmp/target"), "/dev/null");
}

TEST(EvalRedirect, leaves_no_further_descriptor_to_the_command)
{
    const char list[] = "import os; open('/tmp/listed', 'w').write(str(os.listdir('/proc/self/fd')))";
    EXPECT_EQ(eval_python(list), 0);
    const std::string without_redirect = read_text("/tmp/listed");
    EXPECT_EQ(eval_python(list, kToOutput), 0);
    EXPECT_NE(without_redirect, "");
    EXPECT_EQ(read_text("/tmp/listed"), without_redirect);
}

TEST(EvalEnvironment, descriptors_are_on_dev_null_with_input_read_only_and_output_write_only)
{
    const char look[] = "import os, fcntl\n"
                        "seen = ['%s %d' % (os.readlink('/proc/self/fd/%d' % fd),\n"
                        "                   fcntl.fcntl(fd, fcntl.F_GETFL) & os.O_ACCMODE)\n"
                        "        for fd in range(3)]\n"
                        "open('/tmp/output', 'w').write(', '.join(seen))\n";
    EXPECT_EQ(eval_python(look), 0);
    EXPECT_EQ(read_text(kOutput), "/dev/null 0, /dev/null 1, /dev/null 1");
}

TEST(EvalEnvironment, every_ignored_signal_is_default_again)
{
    for (const int sig : {SIGHUP, SIGINT, SIGPIPE, SIGTERM, SIGUSR1, SIGCHLD, SIGRTMAX}) {
        signal(sig, SIG_IGN);
    }
    int pid = -1;
    EXPECT_EQ(eval({"grep", "SigIgn", "/proc/self/status"}, kToOutput, 0, &pid), 0);
    // SIGCHLD is ignored here, so the wait ends only when there is no child any more.
    EXPECT_EQ(waitpid(pid, nullptr, 0), -1);
    EXPECT_EQ(read_text(kOutput), "SigIgn:\t0000000000000000\n");
}

TEST(EvalEnvironment, no_signal_is_blocked)
{
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, nullptr);
    EXPECT_EQ(eval({"grep", "SigBlk", "/proc/self/status"}, kToOutput), 0);
    EXPECT_EQ(read_text(kOutput), "SigBlk:\t0000000000000000\n");
}

TEST(EvalEnvironment, command_leads_a_session_of_its_own)
{
    EXPECT_EQ(eval_python("import os; print(os.getsid(0) == os.getpid(), os.getpgrp() == os.getpid())",
                          kToOutput),
              0);
    EXPECT_EQ(read_text(kOutput), "True True\n");
}

TEST(EvalTimeout, alarm_ends_a_command_that_takes_longer)
{
    const auto start = std::chrono::steady_clock::now();
    const int status = eval({"sleep", "30"}, nullptr, 1);
    const auto passed = std::chrono::steady_clock::now() - start;
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGALRM);
    EXPECT_GE(passed, std::chrono::milliseconds(900));
    EXPECT_LT(passed, std::chrono::seconds(20));
}

TEST(EvalTimeout, is_in_seconds_and_0_sets_no_alarm)
{
    const char look[] = "import signal; print(round(signal.getitimer(signal.ITIMER_REAL)[0] / 100))";
    EXPECT_EQ(eval({kPython, "-c", look}, kToOutput, 600), 0);
    EXPECT_EQ(read_text(kOutput), "6\n");
    EXPECT_EQ(eval({kPython, "-c", look}, kToOutput, 0), 0);
    EXPECT_EQ(read_text(kOutput), "0\n");
}

TEST(EvalTimeout, a_command_that_ends_in_time_is_not_disturbed)
{
    EXPECT_EQ(eval({"sh", "-c", "exit 3"}, nullptr, 30), 3 << 8);
}

} // namespace eval_test
