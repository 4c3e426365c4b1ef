// Mutual exclusion of this process's threads at a volatile parameter. Record locks belong to the
// process: they do not exclude its own threads, and closing any descriptor of a file releases them. So
// a thread has its turn at a parameter from before it opens the file until it has closed it.
//
// Threads at different parameters do not wait for each other. A forked child starts without turns. A
// thread can be cancelled while it waits, for its turn or for another process's lock, and nowhere else:
// a write that has begun is completed. In a cancelled thread no destructor of the library runs, since
// it is built without exceptions; so clean-up handlers of the turn release what the thread holds while
// it waits.
#pragma once

#include "lc_pthread/mutex.h"

#include <cstddef>

namespace lterouter {

class NvTurn {
public:
    // Waits until all earlier turns at the parameter have ended. name must outlive the turn.
    explicit NvTurn(const char *name);
    ~NvTurn();
    NvTurn(const NvTurn &) = delete;
    NvTurn &operator=(const NvTurn &) = delete;

    // A descriptor that a clean-up handler closes if the thread is cancelled; it keeps its owner.
    void entrust(int fd) { entrusted_[entrusted_count_++] = fd; }

    // Waits for the lock as nv_wait_for_lock, and entrusts fd. At most once per turn.
    void lock_file(int fd, short type);

private:
    // Guards the list; never held while a thread waits for a file.
    static Mutex mutex_;
    // In the order of arrival; the first at a parameter has its turn. Each is on the stack of its
    // thread, so that no allocation is needed for any number of threads.
    static NvTurn *turns_ GUARDED_BY(mutex_);

    static void start_anew_in_child();
    __attribute__((constructor)) static void watch_forks();

    static NvTurn *first_at(const char *name) REQUIRES(mutex_);
    void leave() EXCLUDES(mutex_);

    // Waits with the caller's cancellation state.
    void wait_as_caller(void (*wait)(NvTurn *), void (*cancelled)(void *));
    static void wait_until_first(NvTurn *turn) REQUIRES(mutex_);
    static void cancelled_in_queue(void *turn) RELEASE(mutex_);
    static void wait_at_file(NvTurn *turn);
    static void cancelled_at_file(void *turn) EXCLUDES(mutex_);

    const char *const name_;
    int callers_state_ = 0; // of cancellation
    NvTurn *next_ GUARDED_BY(mutex_) = nullptr;
    // One per turn: a shared one would be copied into a forked child together with its waiters.
    Condition is_first_;
    int entrusted_[2]; // the file, and the directory when the file is created
    size_t entrusted_count_ = 0;
    short lock_type_ = 0;
};

} // namespace lterouter
