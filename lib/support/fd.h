// Owner of a file descriptor: closes it when the scope is left, whichever way.
#pragma once

#include <unistd.h>

namespace lterouter {

class Fd {
public:
    explicit Fd(int fd) : fd_(fd) {}
    // Inline in small code too: called, it would have every function with a descriptor guard its stack.
    __attribute__((always_inline)) ~Fd()
    {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    Fd(const Fd &) = delete;
    Fd &operator=(const Fd &) = delete;

    explicit operator bool() const { return fd_ >= 0; }
    int get() const { return fd_; }
    int release()
    {
        const int fd = fd_;
        fd_ = -1;
        return fd;
    }

private:
    int fd_;
};

} // namespace lterouter
