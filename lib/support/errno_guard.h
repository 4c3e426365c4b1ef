// Restores errno at the end of the scope: logging an error must not change it.
#pragma once

#include <cerrno>

namespace lterouter {

class ErrnoGuard {
public:
    // Inlined even at -Os: as calls, they would give every function with such a guard a stack guard.
    __attribute__((always_inline)) ErrnoGuard() : saved_(errno) {}
    __attribute__((always_inline)) ~ErrnoGuard() { errno = saved_; }
    ErrnoGuard(const ErrnoGuard &) = delete;
    ErrnoGuard &operator=(const ErrnoGuard &) = delete;

private:
    const int saved_;
};

} // namespace lterouter
