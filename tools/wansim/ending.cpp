#include "wansim/ending.h"

#include "common/clock.h"
#include "wansim/control.h"

#include <algorithm>
#include <ctime>
#include <pthread.h>
#include <utility>

namespace lterouter::tools {
namespace {

// Its timed waits go by the monotonic clock: the wall clock may jump.
class Condition {
public:
    Condition()
    {
        pthread_condattr_t attributes;
        pthread_condattr_init(&attributes);
        pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
        pthread_cond_init(&condition_, &attributes);
        pthread_condattr_destroy(&attributes);
    }
    Condition(const Condition &) = delete;
    Condition &operator=(const Condition &) = delete;

    void tell_all() { pthread_cond_broadcast(&condition_); }
    // False when that moment of now_ms() has come.
    bool wait_until(pthread_mutex_t *mutex, int64_t moment_ms)
    {
        const timespec moment = {.tv_sec = static_cast<time_t>(moment_ms / 1000),
                                 .tv_nsec = static_cast<long>(moment_ms % 1000) * 1'000'000};
        return pthread_cond_timedwait(&condition_, mutex, &moment) == 0;
    }

private:
    pthread_cond_t condition_;
};

pthread_mutex_t g_mutex = PTHREAD_MUTEX_INITIALIZER;
Condition g_changed;
// Under the mutex.
bool g_ending = false;
bool g_controls = false;
int64_t g_hang_end_ms = 0;

class Lock {
public:
    Lock() { pthread_mutex_lock(&g_mutex); }
    ~Lock() { pthread_mutex_unlock(&g_mutex); }
    Lock(const Lock &) = delete;
    Lock &operator=(const Lock &) = delete;
};

// With the mutex: waits for the later of the moment and the end of the hang. True when it is there,
// false when something has changed.
bool await(int64_t moment_ms)
{
    const int64_t until_ms = std::max(moment_ms, g_hang_end_ms);
    return now_ms() >= until_ms || !g_changed.wait_until(&g_mutex, until_ms);
}

void announce(bool *what)
{
    const Lock lock;
    *what = true;
    g_changed.tell_all();
}

} // namespace

void announce_end() { announce(&g_ending); }

void announce_controls() { announce(&g_controls); }

bool take_announced_controls()
{
    const Lock lock;
    return std::exchange(g_controls, false);
}

bool wait_unless_ending(uint32_t ms)
{
    const int64_t deadline_ms = now_ms() + ms + (ms != 0 ? 1 : 0); // now_ms() is rounded down
    for (;;) {
        serve_controls();
        const Lock lock;
        while (!g_ending && !g_controls) {
            if (await(deadline_ms)) {
                return true;
            }
        }
        if (g_ending) {
            return false;
        }
    }
}

void hang(uint32_t ms)
{
    const Lock lock;
    g_hang_end_ms = now_ms() + ms;
    g_changed.tell_all();
}

uint32_t hang_left_ms()
{
    const Lock lock;
    return static_cast<uint32_t>(std::max<int64_t>(g_hang_end_ms - now_ms(), 0));
}

void await_end_of_hang()
{
    const Lock lock;
    while (!g_ending && !await(0)) {
    }
}

} // namespace lterouter::tools
