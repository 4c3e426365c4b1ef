// The POSIX thread calls under the library's names, unchanged.

#include "lc_pthread.h"

int lc_pthread_create(pthread_t *thread, const pthread_attr_t *attr, void *(*start)(void *),
                      void *argument)
{
    return pthread_create(thread, attr, start, argument);
}

void lc_pthread_exit(void *result) { pthread_exit(result); }

int lc_pthread_join(pthread_t thread, void **result) { return pthread_join(thread, result); }

int lc_pthread_cancle(pthread_t thread) { return pthread_cancel(thread); }

int lc_pthread_attr_init(pthread_attr_t *attr) { return pthread_attr_init(attr); }

int lc_pthread_attr_destroy(pthread_attr_t *attr) { return pthread_attr_destroy(attr); }

int lc_pthread_attr_getscope(const pthread_attr_t *attr, int *scope)
{
    return pthread_attr_getscope(attr, scope);
}

int lc_pthread_attr_setscope(pthread_attr_t *attr, int scope)
{
    return pthread_attr_setscope(attr, scope);
}

int lc_pthread_attr_getdetachstate(const pthread_attr_t *attr, int *state)
{
    return pthread_attr_getdetachstate(attr, state);
}

int lc_pthread_attr_setdetachstate(pthread_attr_t *attr, int state)
{
    return pthread_attr_setdetachstate(attr, state);
}

int lc_pthread_attr_getstacksize(const pthread_attr_t *attr, size_t *size)
{
    return pthread_attr_getstacksize(attr, size);
}

int lc_pthread_attr_setstacksize(pthread_attr_t *attr, size_t size)
{
    return pthread_attr_setstacksize(attr, size);
}

int lc_pthread_mutex_init(pthread_mutex_t *mutex, const pthread_mutexattr_t *attr)
{
    return pthread_mutex_init(mutex, attr);
}

int lc_pthread_mutex_destroy(pthread_mutex_t *mutex) { return pthread_mutex_destroy(mutex); }

int lc_pthread_mutex_lock(pthread_mutex_t *mutex) { return pthread_mutex_lock(mutex); }

int lc_pthread_mutex_trylock(pthread_mutex_t *mutex) { return pthread_mutex_trylock(mutex); }

int lc_pthread_mutex_unlock(pthread_mutex_t *mutex) { return pthread_mutex_unlock(mutex); }

int lc_pthread_cond_init(pthread_cond_t *cond, const pthread_condattr_t *attr)
{
    return pthread_cond_init(cond, attr);
}

int lc_pthread_cond_destroy(pthread_cond_t *cond) { return pthread_cond_destroy(cond); }

int lc_pthread_cond_broadcast(pthread_cond_t *cond) { return pthread_cond_broadcast(cond); }

int lc_pthread_cond_signal(pthread_cond_t *cond) { return pthread_cond_signal(cond); }

int lc_pthread_cond_wait(pthread_cond_t *cond, pthread_mutex_t *mutex)
{
    return pthread_cond_wait(cond, mutex);
}

int lc_pthread_cond_timedwait(pthread_cond_t *cond, pthread_mutex_t *mutex,
                              const struct timespec *deadline)
{
    return pthread_cond_timedwait(cond, mutex, deadline);
}
