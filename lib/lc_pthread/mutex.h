// Mutex and condition variable over the lc_pthread_ wrappers, with default attributes, and the guard
// that unlocks. Constant-initialised, so that a global needs no start-up code and no failure path.
#pragma once

#include "lc_pthread.h"
#include "support/thread_annotations.h"

namespace lterouter {

class CAPABILITY("mutex") Mutex {
public:
    void lock() ACQUIRE() { lc_pthread_mutex_lock(&mutex_); }
    void unlock() RELEASE() { lc_pthread_mutex_unlock(&mutex_); }
    void destroy() { lc_pthread_mutex_destroy(&mutex_); }

private:
    friend class Condition;
    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
};

class SCOPED_CAPABILITY MutexLock {
public:
    explicit MutexLock(Mutex &mutex) ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
    ~MutexLock() RELEASE() { mutex_.unlock(); }
    MutexLock(const MutexLock &) = delete;
    MutexLock &operator=(const MutexLock &) = delete;

private:
    Mutex &mutex_;
};

class Condition {
public:
    void signal() { lc_pthread_cond_signal(&condition_); }
    int wait(Mutex &mutex) REQUIRES(mutex) { return lc_pthread_cond_wait(&condition_, &mutex.mutex_); }
    int wait_until(Mutex &mutex, const timespec &deadline) REQUIRES(mutex)
    {
        return lc_pthread_cond_timedwait(&condition_, &mutex.mutex_, &deadline);
    }
    void destroy() { lc_pthread_cond_destroy(&condition_); }

private:
    pthread_cond_t condition_ = PTHREAD_COND_INITIALIZER;
};

} // namespace lterouter
