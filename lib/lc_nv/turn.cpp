#include "lc_nv/turn.h"

#include "lc_nv/transfer.h"

#include <cstring>
#include <pthread.h>
#include <unistd.h>

namespace lterouter {
namespace {

int set_cancel_state(int state)
{
    int before;
    pthread_setcancelstate(state, &before);
    return before;
}

} // namespace

constinit Mutex NvTurn::mutex_;
constinit NvTurn *NvTurn::turns_ = nullptr;

// Whoever had the mutex or a turn does not exist in the child. Nothing is done before the fork: a
// handler that took the mutex would hang a host that forks where a signal has interrupted its holder.
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

NvTurn::NvTurn(const char *name) : name_(name), callers_state_(set_cancel_state(PTHREAD_CANCEL_DISABLE))
{
    const MutexLock guard(mutex_);
    const bool is_first = first_at(name_) == nullptr;
    NvTurn **end = &turns_;
    while (*end != nullptr) {
        end = &(*end)->next_;
    }
    *end = this;
    if (!is_first) {
        wait_until_first();
    }
}

NvTurn::~NvTurn()
{
    {
        const MutexLock guard(mutex_);
        leave();
    }
    set_cancel_state(callers_state_);
}

void NvTurn::wait_until_first()
{
    pthread_cleanup_push(cancelled_in_queue, this);
    set_cancel_state(callers_state_);
    while (first_at(name_) != this) {
        is_first_.wait(mutex_);
    }
    set_cancel_state(PTHREAD_CANCEL_DISABLE);
    pthread_cleanup_pop(0);
    is_first_.destroy();
}

void NvTurn::leave()
{
    const bool was_first = first_at(name_) == this;
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

void NvTurn::entrust(int fd) { entrusted_[entrusted_count_++] = fd; }

void NvTurn::lock_file(int fd, short type)
{
    entrust(fd);
    pthread_cleanup_push(cancelled_at_file, this);
    set_cancel_state(callers_state_);
    nv_wait_for_lock(fd, type);
    set_cancel_state(PTHREAD_CANCEL_DISABLE);
    pthread_cleanup_pop(0);
}

void NvTurn::cancelled_in_queue(void *turn)
{
    NvTurn *const self = static_cast<NvTurn *>(turn);
    self->leave();
    mutex_.unlock();
    self->is_first_.destroy();
}

void NvTurn::cancelled_at_file(void *turn)
{
    NvTurn *const self = static_cast<NvTurn *>(turn);
    while (self->entrusted_count_ > 0) {
        close(self->entrusted_[--self->entrusted_count_]);
    }
    const MutexLock guard(mutex_);
    self->leave();
}

} // namespace lterouter
