// The library's condition variables: tells how many threads wait, and causes spurious wake-ups.
#pragma once

#include "support/eventually.h"
#include "support/library_calls.h"

#include <atomic>
#include <mutex>

namespace testing_support {

class Waits {
public:
    Waits()
    {
        calls::lc_pthread_cond_wait.add([this](auto &next, auto *cond, auto *mutex) {
            return sleep([&] { return next(cond, mutex); });
        });
        calls::lc_pthread_cond_timedwait.add(
            [this](auto &next, auto *cond, auto *mutex, const timespec *deadline) {
                {
                    const std::lock_guard guard(mutex_);
                    deadline_ = *deadline;
                }
                return sleep([&] { return next(cond, mutex, deadline); });
            });
    }

    // Waits until count threads sleep. A sleeper is counted while it still holds its lock, so whoever
    // takes that lock afterwards finds it asleep.
    bool until_asleep(int count)
    {
        return eventually([this, count] { return asleep_ >= count; });
    }

    // The next count waits return at once, as a spurious wake-up would.
    void wake_spuriously(int count) { spurious_ = count; }

    timespec last_deadline()
    {
        const std::lock_guard guard(mutex_);
        return deadline_;
    }

    int asleep() const { return asleep_; }

private:
    template <typename Wait> int sleep(Wait wait)
    {
        if (spurious_ > 0 && spurious_-- > 0) {
            return 0;
        }
        ++asleep_;
        const int result = wait();
        --asleep_;
        return result;
    }

    std::atomic<int> asleep_{0};
    std::atomic<int> spurious_{0};
    std::mutex mutex_;
    timespec deadline_ = {};
};

inline Waits &g_waits = kept<Waits>();

} // namespace testing_support
