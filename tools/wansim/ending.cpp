#include "wansim/ending.h"

#include "wansim/control.h"

#include <ctime>
#include <pthread.h>
#include <utility>

namespace lterouter::tools {
namespace {

pthread_mutex_t g_mutex = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t g_changed = PTHREAD_COND_INITIALIZER;
// Under the mutex.
bool g_ending = false;
bool g_controls = false;
timespec g_hang_end = {};

class Lock {
public:
    Lock() { pthread_mutex_lock(&g_mutex); }
    ~Lock() { pthread_mutex_unlock(&g_mutex); }
    Lock(const Lock &) = delete;
    Lock &operator=(const Lock &) = delete;
};

constexpr long kNanosecondsPerMs = 1'000'000;
constexpr long kNanosecondsPerSecond = 1'000'000'000;

timespec in_ms(uint32_t ms)
{
    timespec moment;
    clock_gettime(CLOCK_REALTIME, &moment);
    moment.tv_sec += static_cast<time_t>(ms / 1000);
    moment.tv_nsec += static_cast<long>(ms % 1000) * kNanosecondsPerMs;
    if (moment.tv_nsec >= kNanosecondsPerSecond) {
        ++moment.tv_sec;
        moment.tv_nsec -= kNanosecondsPerSecond;
    }
    return moment;
}

bool is_before(const timespec &a, const timespec &b)
{
    return a.tv_sec < b.tv_sec || (a.tv_sec == b.tv_sec && a.tv_nsec < b.tv_nsec);
}

// With the mutex: waits for the later of the moment and the end of the hang. True when it is there,
// false when something has changed.
bool await(const timespec &moment)
{
    const timespec until = is_before(moment, g_hang_end) ? g_hang_end : moment;
    return !is_before(in_ms(0), until) || pthread_cond_timedwait(&g_changed, &g_mutex, &until) != 0;
}

void announce(bool *what)
{
    const Lock lock;
    *what = true;
    pthread_cond_broadcast(&g_changed);
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
    const timespec deadline = in_ms(ms);
    for (;;) {
        serve_controls();
        const Lock lock;
        while (!g_ending && !g_controls) {
            if (await(deadline)) {
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
    g_hang_end = in_ms(ms);
    pthread_cond_broadcast(&g_changed);
}

uint32_t hang_left_ms()
{
    const Lock lock;
    const timespec now = in_ms(0);
    return is_before(now, g_hang_end)
               ? static_cast<uint32_t>((g_hang_end.tv_sec - now.tv_sec) * 1000 +
                                       (g_hang_end.tv_nsec - now.tv_nsec) / kNanosecondsPerMs)
               : 0;
}

void await_end_of_hang()
{
    const Lock lock;
    while (!g_ending && !await({})) {
    }
}

} // namespace lterouter::tools
