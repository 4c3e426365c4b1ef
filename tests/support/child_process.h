// Child processes of a test.
#pragma once

#include <csignal>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace testing_support {

// Runs a function in a forked process and ends it with the function's result; killed and reaped with
// the object. Fork before the test starts threads.
class ChildProcess {
public:
    template <typename Function> explicit ChildProcess(Function function) : pid_(fork())
    {
        if (pid_ == 0) {
            _exit(function());
        }
    }
    ~ChildProcess()
    {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            wait();
        }
    }
    ChildProcess(ChildProcess &&other) noexcept : pid_(std::exchange(other.pid_, -1)) {}
    ChildProcess(const ChildProcess &) = delete;
    ChildProcess &operator=(const ChildProcess &) = delete;

    pid_t pid() const { return pid_; }

    // The raw wait status; the process is gone afterwards.
    int wait()
    {
        int status = 0;
        waitpid(pid_, &status, 0);
        pid_ = -1;
        return status;
    }

private:
    pid_t pid_;
};

// A sleeping process with a command name of its own.
class NamedProcess {
public:
    explicit NamedProcess(const char *name, bool ignores_sigterm = false)
        : process_([&] {
              prctl(PR_SET_NAME, name);
              if (ignores_sigterm) {
                  signal(SIGTERM, SIG_IGN);
              }
              static_cast<void>(!write(ready_.write_end, "r", 1));
              for (;;) {
                  pause();
              }
              return 0;
          })
    {
        char byte;
        static_cast<void>(!read(ready_.read_end, &byte, 1));
    }

    pid_t pid() const { return process_.pid(); }
    int wait() { return process_.wait(); }

    // Dead, but not reaped: the process is still listed, and can be signalled.
    void make_zombie() const
    {
        kill(pid(), SIGKILL);
        siginfo_t info;
        waitid(P_PID, static_cast<id_t>(pid()), &info, WEXITED | WNOWAIT);
    }

private:
    struct Pipe {
        int read_end = -1;
        int write_end = -1;

        Pipe()
        {
            int ends[2];
            if (pipe(ends) == 0) {
                read_end = ends[0];
                write_end = ends[1];
            }
        }
        ~Pipe()
        {
            close(read_end);
            close(write_end);
        }
        Pipe(const Pipe &) = delete;
        Pipe &operator=(const Pipe &) = delete;
    };

    Pipe ready_;
    ChildProcess process_;
};

} // namespace testing_support
