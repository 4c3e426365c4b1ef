// Reporting must not disturb what is reported: errno is put back when the scope is left.
#pragma once

#include <cerrno>

namespace lterouter {

class ErrnoGuard {
public:
    // Inline in small code too: called, they would have every function with a guard protect its stack.
    __attribute__((always_inline)) ErrnoGuard() : saved_(errno) {}
    __attribute__((always_inline)) ~ErrnoGuard() { errno = saved_; }
    ErrnoGuard(const ErrnoGuard &) = delete;
    ErrnoGuard &operator=(const ErrnoGuard &) = delete;

private:
    const int saved_;
};

} // namespace lterouter
