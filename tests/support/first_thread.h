/* A sanitizer adds a thread of its own to the first that a program starts: whoever counts threads
 * starts one before. For C and C++. */
#ifndef FIRST_THREAD_H
#define FIRST_THREAD_H

#include <pthread.h>
#include <stdio.h>
#include <sys/syscall.h>
#include <unistd.h>

static inline void *keep_own_id(void *id)
{
    *(long *)id = syscall(SYS_gettid);
    return NULL;
}

/* Returns 0, or what went wrong; only when the kernel, which lists a joined thread for a moment, does
 * so no more. */
static inline int start_first_thread(void)
{
    pthread_t thread;
    long id;
    char listed[40];
    int result = pthread_create(&thread, NULL, keep_own_id, &id);
    if (result != 0 || (result = pthread_join(thread, NULL)) != 0) {
        return result;
    }
    snprintf(listed, sizeof(listed), "/proc/self/task/%ld", id);
    while (access(listed, F_OK) == 0) {
        usleep(1000);
    }
    return 0;
}

#endif
