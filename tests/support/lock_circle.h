// Processes that each hold the lock of a parameter and request that of another: a deadlock, or with
// different threads only one that the kernel reports.
#pragma once

#include "support/calls.h"
#include "support/child_process.h"
#include "support/lock_holder.h"
#include "support/parameter_files.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <future>
#include <string>
#include <unistd.h>

namespace testing_support {

// Counts, while it lives, the locks that the kernel refuses as deadlocks.
class DeadlockCount {
public:
    int refused() const { return refused_; }

private:
    std::atomic<int> refused_{0};
    Hooked hook_{calls::fcntl, [this](auto &next, int fd, int command, void *argument) {
                     const int result = next(fd, command, argument);
                     if (result != 0 && errno == EDEADLK) {
                         ++refused_;
                     }
                     return result;
                 }};
};

// What another process waits for, or is waited for with.
class Cue {
public:
    Cue() { EXPECT_EQ(pipe2(ends_, O_CLOEXEC), 0); }
    ~Cue()
    {
        close(ends_[0]);
        close(ends_[1]);
    }
    Cue(const Cue &) = delete;
    Cue &operator=(const Cue &) = delete;

    void give() { static_cast<void>(!write(ends_[1], "x", 1)); }
    void await()
    {
        char byte;
        static_cast<void>(!read(ends_[0], &byte, 1));
    }

private:
    int ends_[2];
};

inline int lock_exclusively(const std::string &path)
{
    const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    struct flock whole = {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    return fcntl(fd, F_SETLKW, &whole) == 0 ? fd : -1;
}

// Another process, which has locked a parameter whose value is half written, and wants another lock
// before it writes the rest.
class HalfWay {
public:
    HalfWay(const std::string &parameter, const std::string &other_file)
        : process_([=, this] {
              const int fd = lock_exclusively(parameter);
              bool fine = pwrite(fd, "half", 5, 0) == 5;
              locked_.give();
              goes_on_.await();
              fine = lock_exclusively(other_file) >= 0 && fine;
              return pwrite(fd, "whole", 6, 0) == 6 && fine ? 0 : 1;
          })
    {
        locked_.await();
    }

    void want_the_other_lock()
    {
        goes_on_.give();
        EXPECT_TRUE(someone_waits_for_a_lock());
    }
    void expect_success() { EXPECT_EQ(process_.wait(), 0); }

private:
    Cue locked_;
    Cue goes_on_;
    ChildProcess process_;
};

// A thread of this process has one parameter and another asks for the second, while another process has
// that and asks for the first. Each read yields a ReadResult.
template <typename ReadFirst, typename ReadSecond>
void expect_circle_is_waited_out(const std::string &first, const std::string &second,
                                 ReadFirst read_first, ReadSecond read_second)
{
    write_text(first, stored("value"));
    HalfWay other(second, first);
    const DeadlockCount deadlocks;
    static thread_local bool t_is_held_up = false;
    std::atomic<bool> has_its_lock{false};
    std::atomic<bool> goes_on{false};
    const Hooked held_up_here(calls::read, [&](auto &next, int fd, void *bytes, size_t size) {
        if (t_is_held_up) {
            has_its_lock = true;
            EXPECT_TRUE(eventually([&] { return goes_on.load(); }));
        }
        return next(fd, bytes, size);
    });
    auto held_up = std::async(std::launch::async, [&] {
        t_is_held_up = true;
        return read_first();
    });
    EXPECT_TRUE(eventually([&] { return has_its_lock.load(); }));
    other.want_the_other_lock();

    auto reading = std::async(std::launch::async, read_second);
    EXPECT_TRUE(eventually([&] { return deadlocks.refused() > 1; }));
    goes_on = true;
    EXPECT_EQ(held_up.get(), found("value"));
    EXPECT_EQ(reading.get(), found("whole"));
    other.expect_success();
}

} // namespace testing_support
