/* A clock that cannot be set. */
#ifndef MILLISECONDS_H
#define MILLISECONDS_H

#include <time.h>

static inline long milliseconds(void)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (long)now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

#endif
