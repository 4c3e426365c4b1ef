// Turns of the threads of this process at the volatile parameters. Record locks belong to the process:
// they do not keep its own threads apart, and closing any descriptor of a file gives them up. So a
// thread has its turn at a parameter from before it opens the file until it has closed it.
//
// Threads at different parameters do not wait for each other. A forked child begins with no turn taken.
// A thread can be cancelled where it waits, for its turn or for another process's lock, and nowhere
// else: what it has begun to write it finishes. In a thread that is cancelled no destructor of the
// library runs, since it is built without exceptions; so the turn itself gives back what there is while
// the thread waits.
#pragma once

#include "lc_pthread/mutex.h"

#include <cstddef>

namespace lterouter {

class NvTurn {
public:
    // Waits until all that asked for the parameter earlier have had their turns. name outlives this.
    explicit NvTurn(const char *name);
    ~NvTurn();
    NvTurn(const NvTurn &) = delete;
    NvTurn &operator=(const NvTurn &) = delete;

    // A descriptor that has its owner, but is to be closed if the thread is cancelled.
    void entrust(int fd) { entrusted_[entrusted_count_++] = fd; }

    // Waits for the lock as nv_wait_for_lock. Entrusts fd. Once a turn.
    void lock_file(int fd, short type);

private:
    // Held to look at the list or to change it, never while a file is waited for.
    static Mutex mutex_;
    // In the order of arrival; of those at one parameter the first has its turn. Each stands on the
    // stack of its thread, so any number of threads needs no memory of its own.
    static NvTurn *turns_ GUARDED_BY(mutex_);

    static void start_anew_in_child();
    __attribute__((constructor)) static void watch_forks();

    static NvTurn *first_at(const char *name) REQUIRES(mutex_);
    void leave() EXCLUDES(mutex_);

    // Waits with cancellation as the caller has it.
    void wait_as_caller(void (*wait)(NvTurn *), void (*cancelled)(void *));
    static void wait_until_first(NvTurn *turn) REQUIRES(mutex_);
    static void cancelled_in_queue(void *turn) RELEASE(mutex_);
    static void wait_at_file(NvTurn *turn);
    static void cancelled_at_file(void *turn) EXCLUDES(mutex_);

    const char *const name_;
    int callers_state_ = 0; // whether it can be cancelled
    NvTurn *next_ GUARDED_BY(mutex_) = nullptr;
    // A common one would come into a forked child with sleepers that do not exist there.
    Condition is_first_;
    int entrusted_[2]; // the file, and the folder when it is made
    size_t entrusted_count_ = 0;
    short lock_type_ = 0;
};

} // namespace lterouter
