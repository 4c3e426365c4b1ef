/* A sanitizer adds a thread of its own to the first that a program starts: whoever counts threads
 * starts one before. For C and C++. */
#ifndef FIRST_THREAD_H
#define FIRST_THREAD_H

#include <pthread.h>
#include <stddef.h>

static inline void *end_at_once(void *argument) { return argument; }

/* Returns 0, or what went wrong. */
static inline int start_first_thread(void)
{
    pthread_t thread;
    const int result = pthread_create(&thread, NULL, end_at_once, NULL);
    return result != 0 ? result : pthread_join(thread, NULL);
}

#endif
