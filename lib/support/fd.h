// Owner of a file descriptor: closes it at the end of the scope, on every path.
#pragma once

#include <unistd.h>

namespace lterouter {

class Fd {
public:
    explicit Fd(int fd) : fd_(fd) {}
    // Inlined even at -Os: as a call, it would give every function with a descriptor a stack guard.
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
