/* Every wait without a limit ends after 1 ms by a spurious wake-up, which POSIX allows. */
#include <pthread.h>
#include <time.h>

int pthread_cond_wait(pthread_cond_t *condition, pthread_mutex_t *mutex)
{
    struct timespec deadline;
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_nsec += 1000 * 1000;
    if (deadline.tv_nsec >= 1000 * 1000 * 1000) {
        deadline.tv_nsec -= 1000 * 1000 * 1000;
        ++deadline.tv_sec;
    }
    pthread_cond_timedwait(condition, mutex, &deadline);
    return 0;
}
