// A yes or no that threads read while another sets it: whoever sees it set sees what was written
// before. That is all that a flag of a service's start is asked for, and on the router it saves the
// full barriers of a plain atomic.
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
