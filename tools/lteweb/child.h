// Runs of ltectl: started without a shell, read without waiting for them, ended when they take too
// long.
#pragma once

#include "lteweb/bytes.h"

#include <cstdint>
#include <optional>
#include <poll.h>
#include <string_view>
#include <sys/types.h>
#include <unistd.h>

namespace lterouter::tools {

// A descriptor that is closed before its owner ends, or changes.
class OwnFd {
public:
    OwnFd() = default;
    ~OwnFd() { reset(); }
    OwnFd(const OwnFd &) = delete;
    OwnFd &operator=(const OwnFd &) = delete;

    explicit operator bool() const { return fd_ >= 0; }
    int get() const { return fd_; }
    void reset(int fd = -1)
    {
        if (fd_ >= 0) {
            close(fd_);
        }
        fd_ = fd;
    }
    int release()
    {
        const int fd = fd_;
        fd_ = -1;
        return fd;
    }

private:
    int fd_ = -1;
};

class Child {
public:
    struct Work {
        // Each complete line, in its order; without it they are collected.
        void (*on_line)(void *context, std::string_view line) = nullptr;
        void (*on_end)(void *context, Child &child) = nullptr;
        void *context = nullptr;
        int64_t longest_ms = 0; // 0: without a limit
    };

    bool running() const { return pid_ != 0; }

    // arguments end with a NULL. input: what it is given on its standard input, taken over; stdin_file:
    // a file instead, or -1. False with errno set when it cannot be started.
    bool start(const char *program, const char *const *arguments, Bytes &input, int stdin_file,
               const Work &work);
    // Nobody waits for it any more: it ends by itself.
    void forget() { work_.on_end = nullptr; }
    // Asks it to end, later makes it.
    void end();
    void kill_now();

    static constexpr size_t kMaxPolled = 3;
    size_t add_polled(pollfd *polled) const;
    // After a poll: takes what it has written and gives it what it reads.
    void exchange();
    // After a SIGCHLD.
    void reap();
    // When it is to be looked at again, and doing so.
    std::optional<int64_t> next_ms() const;
    void tick(int64_t now_ms);

    // At its end:
    int exit_code() const { return exit_code_; } // 128 and more: by a signal
    bool was_late() const { return late_; }
    bool was_cut() const { return cut_; } // it wrote more than is taken
    std::string_view output() const { return output_.view(); }
    std::string_view errors() const { return errors_.view(); }

private:
    void feed();
    // Whether there may be more.
    bool take(OwnFd &from, Bytes &into, size_t limit);
    void pass_lines();
    void finish();

    pid_t pid_ = 0;
    OwnFd in_;
    OwnFd out_;
    OwnFd err_;
    Bytes input_;
    size_t fed_ = 0;
    Bytes output_;
    Bytes errors_;
    Work work_;
    int64_t deadline_ms_ = 0; // 0: none
    bool asked_to_end_ = false;
    bool ended_ = false; // but not all that it has written is taken
    int status_ = 0;
    bool late_ = false;
    bool cut_ = false;
    int exit_code_ = 0;
};

} // namespace lterouter::tools
