#include "lc_nv/turn.h"

#include "lc_nv/transfer.h"

#include <cstring>
#include <pthread.h>
#include <unistd.h>

namespace lterouter {

constinit Mutex NvTurn::mutex_;
constinit NvTurn *NvTurn::turns_ = nullptr;

// The threads that had the mutex or a turn do not exist in the child. There is no handler before the
// fork: if it took the mutex, a fork in a signal handler that interrupted the holder would deadlock.
void NvTurn::start_anew_in_child() NO_THREAD_SAFETY_ANALYSIS
{
    mutex_ = Mutex();
    turns_ = nullptr;
}

void NvTurn::watch_forks() { pthread_atfork(nullptr, nullptr, start_anew_in_child); }

NvTurn *NvTurn::first_at(const char *name)
{
    NvTurn *turn = turns_;
    while (turn != nullptr && strcmp(turn->name_, name) != 0) {
        turn = turn->next_;
    }
    return turn;
}

NvTurn::NvTurn(const char *name) : name_(name)
{
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &callers_state_);
    const MutexLock guard(mutex_);
    const bool is_first = first_at(name_) == nullptr;
    NvTurn **end = &turns_;
    while (*end != nullptr) {
        end = &(*end)->next_;
    }
    *end = this;
    if (!is_first) {
        wait_as_caller(wait_until_first, cancelled_in_queue);
    }
}

NvTurn::~NvTurn()
{
    leave();
    pthread_setcancelstate(callers_state_, nullptr);
}

void NvTurn::leave()
{
    const MutexLock guard(mutex_);
    const bool was_first = first_at(name_) == this;
    // Not listed in a child that was forked by a signal handler during this turn.
    for (NvTurn **place = &turns_; *place != nullptr; place = &(*place)->next_) {
        if (*place == this) {
            *place = next_;
            break;
        }
    }
    if (NvTurn *const next = was_first ? first_at(name_) : nullptr; next != nullptr) {
        next->is_first_.signal();
    }
}

void NvTurn::wait_as_caller(void (*wait)(NvTurn *), void (*cancelled)(void *))
{
    pthread_cleanup_push(cancelled, this);
    pthread_setcancelstate(callers_state_, nullptr);
    wait(this);
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    pthread_cleanup_pop(0);
}

void NvTurn::wait_until_first(NvTurn *turn)
{
    while (first_at(turn->name_) != turn) {
        turn->is_first_.wait(mutex_);
    }
    turn->is_first_.destroy();
}

void NvTurn::cancelled_in_queue(void *turn)
{
    NvTurn *const self = static_cast<NvTurn *>(turn);
    mutex_.unlock();
    self->leave();
    self->is_first_.destroy();
}

void NvTurn::lock_file(int fd, short type)
{
    entrust(fd);
    lock_type_ = type;
    wait_as_caller(wait_at_file, cancelled_at_file);
}

void NvTurn::wait_at_file(NvTurn *turn)
{
    nv_wait_for_lock(turn->entrusted_[turn->entrusted_count_ - 1], turn->lock_type_);
}

void NvTurn::cancelled_at_file(void *turn)
{
    NvTurn *const self = static_cast<NvTurn *>(turn);
    while (self->entrusted_count_ > 0) {
        close(self->entrusted_[--self->entrusted_count_]);
    }
    self->leave();
}

} // namespace lterouter
