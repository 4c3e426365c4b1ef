/* Preloaded into a program, shows it a wall clock that is an hour ahead of the one by which the kernel
 * ends waits: what it waits for by that clock comes as late as if the clock were set back meanwhile. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <stddef.h>
#include <time.h>

int clock_gettime(clockid_t clock, struct timespec *now)
{
    static int (*next)(clockid_t, struct timespec *);
    if (next == NULL) {
        *(void **)&next = dlsym(RTLD_NEXT, "clock_gettime");
    }
    const int result = next(clock, now);
    if (result == 0 && clock == CLOCK_REALTIME) {
        now->tv_sec += 3600;
    }
    return result;
}
