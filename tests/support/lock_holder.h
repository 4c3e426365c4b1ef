// Record locks of a program that does not use the library.
#pragma once

#include "support/eventually.h"
#include "support/text_file.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace testing_support {

// A Python program that holds a lock of a file or folder until it is told to let go.
class LockHolder {
public:
    // kind: "LOCK_SH" or "LOCK_EX"; value: what it writes into the file just before letting go.
    LockHolder(const std::string &path, const std::string &kind, const std::string &value = "")
    {
        const std::string program = "import fcntl, os, sys\n"
                                    "path, kind, value = sys.argv[1:]\n"
                                    "mode = os.O_RDONLY if kind == 'LOCK_SH' else os.O_RDWR\n"
                                    "fd = os.open(path, mode)\n"
                                    "fcntl.lockf(fd, getattr(fcntl, kind))\n"
                                    "os.write(1, b'held')\n"
                                    "os.read(0, 1)\n"
                                    "if value: os.pwrite(fd, value.encode() + b'\\0', 0)\n"
                                    "fcntl.lockf(fd, fcntl.LOCK_UN)\n";
        EXPECT_EQ(pipe2(told_, O_CLOEXEC), 0);
        EXPECT_EQ(pipe2(tells_, O_CLOEXEC), 0);
        pid_ = fork();
        if (pid_ == 0) {
            dup2(told_[0], STDIN_FILENO);
            dup2(tells_[1], STDOUT_FILENO);
            execl("/usr/bin/python3", "python3", "-c", program.c_str(), path.c_str(), kind.c_str(),
                  value.c_str(), nullptr);
            _exit(127);
        }
        char held[4];
        EXPECT_EQ(read(tells_[0], held, sizeof(held)), 4);
    }
    ~LockHolder()
    {
        let_go();
        for (const int fd : {told_[0], told_[1], tells_[0], tells_[1]}) {
            close(fd);
        }
    }
    LockHolder(const LockHolder &) = delete;
    LockHolder &operator=(const LockHolder &) = delete;

    void let_go()
    {
        if (pid_ > 0) {
            EXPECT_EQ(write(told_[1], "x", 1), 1);
            int status = -1;
            waitpid(pid_, &status, 0);
            EXPECT_EQ(status, 0);
            pid_ = -1;
        }
    }

private:
    int told_[2];
    int tells_[2];
    pid_t pid_ = -1;
};

// True once the kernel lists so many locks that somebody waits for.
inline bool locks_are_waited_for(int count)
{
    return eventually([count] {
        const std::string locks = read_text("/proc/locks");
        int waiting = 0;
        for (size_t at = 0; (at = locks.find("->", at)) != std::string::npos; ++at) {
            ++waiting;
        }
        return waiting >= count;
    });
}
inline bool someone_waits_for_a_lock() { return locks_are_waited_for(1); }

} // namespace testing_support
