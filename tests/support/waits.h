// Interposes the library's condition variables: tells which threads wait and which were signalled, and
// causes spurious wake-ups.
#pragma once

#include "lc_pthread.h"
#include "support/eventually.h"
#include "support/interpose.h"

#include <atomic>
#include <mutex>

namespace testing_support {

class Waits {
public:
    // Waits until count threads sleep. A sleeper is counted while it still holds its lock, so whoever
    // takes that lock afterwards finds it asleep.
    bool until_asleep(int count)
    {
        return eventually([this, count] { return asleep >= count; });
    }

    // The next count waits return at once, as a spurious wake-up would.
    void wake_spuriously(int count) { spurious_ = count; }
    bool is_spurious() { return spurious_ > 0 && spurious_-- > 0; }

    void note_deadline(const timespec &deadline)
    {
        const std::lock_guard guard(mutex_);
        deadline_ = deadline;
    }
    timespec last_deadline()
    {
        const std::lock_guard guard(mutex_);
        return deadline_;
    }

    std::atomic<int> asleep{0};
    std::atomic<int> unlimited{0}; // waits without a deadline
    std::atomic<int> timed{0};
    std::atomic<int> signals{0};
    std::atomic<int> broadcasts{0};

private:
    std::atomic<int> spurious_{0};
    std::mutex mutex_;
    timespec deadline_ = {};
};

inline Waits g_waits;

} // namespace testing_support

TAKES_OVER int lc_pthread_cond_wait(pthread_cond_t *cond, pthread_mutex_t *mutex)
{
    using testing_support::g_waits;
    ++g_waits.unlimited;
    if (g_waits.is_spurious()) {
        return 0;
    }
    ++g_waits.asleep;
    const int result = pthread_cond_wait(cond, mutex);
    --g_waits.asleep;
    return result;
}

TAKES_OVER int lc_pthread_cond_timedwait(pthread_cond_t *cond, pthread_mutex_t *mutex,
                                         const timespec *deadline)
{
    using testing_support::g_waits;
    ++g_waits.timed;
    g_waits.note_deadline(*deadline);
    if (g_waits.is_spurious()) {
        return 0;
    }
    ++g_waits.asleep;
    const int result = pthread_cond_timedwait(cond, mutex, deadline);
    --g_waits.asleep;
    return result;
}

TAKES_OVER int lc_pthread_cond_signal(pthread_cond_t *cond)
{
    ++testing_support::g_waits.signals;
    return pthread_cond_signal(cond);
}

TAKES_OVER int lc_pthread_cond_broadcast(pthread_cond_t *cond)
{
    ++testing_support::g_waits.broadcasts;
    return pthread_cond_broadcast(cond);
}
