// Reporting must not disturb what is reported: errno is put back when the scope is left.
#pragma once

#include <cerrno>

namespace lterouter {

class ErrnoGuard {
public:
    ErrnoGuard() = default;
    ~ErrnoGuard() { errno = saved_; }
    ErrnoGuard(const ErrnoGuard &) = delete;
    ErrnoGuard &operator=(const ErrnoGuard &) = delete;

private:
    const int saved_ = errno;
};

} // namespace lterouter
