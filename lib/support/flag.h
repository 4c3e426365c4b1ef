// A flag that threads read while another sets it: a thread that sees it set also sees what was written
// before (acquire and release). A flag of a service's start needs no more, and on the router this saves
// the full barriers of sequential consistency.
#pragma once

#include <atomic>

namespace lterouter {

class Flag {
public:
    explicit operator bool() const { return value_.load(std::memory_order_acquire); }
    Flag &operator=(bool value)
    {
        value_.store(value, std::memory_order_release);
        return *this;
    }

private:
    std::atomic<bool> value_{false};
};

} // namespace lterouter
