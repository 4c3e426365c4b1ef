#include "wansim/ending.h"

#include <ctime>
#include <pthread.h>

namespace lterouter::tools {
namespace {

pthread_mutex_t g_mutex = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t g_announced = PTHREAD_COND_INITIALIZER;
bool g_ending = false; // under the mutex

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

} // namespace

void announce_end()
{
    pthread_mutex_lock(&g_mutex);
    g_ending = true;
    pthread_cond_broadcast(&g_announced);
    pthread_mutex_unlock(&g_mutex);
}

bool wait_unless_ending(uint32_t ms)
{
    const timespec deadline = in_ms(ms);
    pthread_mutex_lock(&g_mutex);
    while (!g_ending && pthread_cond_timedwait(&g_announced, &g_mutex, &deadline) == 0) {
    }
    const bool go_on = !g_ending;
    pthread_mutex_unlock(&g_mutex);
    return go_on;
}

} // namespace lterouter::tools
