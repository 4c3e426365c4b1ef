/* lc_pthread: process helpers, and the POSIX thread calls under the library's names.
 *
 * Threads: no state of their own; any thread may call them. A thread must not be cancelled, nor end
 * itself, inside a call of this library: what the call holds would stay held. */
#ifndef LC_PTHREAD_H
#define LC_PTHREAD_H

#include "lc_api.h"

#include <pthread.h>
#include <sys/types.h>
#include <time.h>

LC_BEGIN_DECLS

LC_API pid_t lc_fork(void);

/* Runs argv[0] (searched in PATH) with the NULL-terminated arguments argv, in a session of its own,
 * with default signal handlers, none blocked, and its three standard descriptors on /dev/null.
 * redirect: NULL, or where standard output goes (mode 0644): ">FILE" truncates, ">>FILE" appends,
 *   "FILE" overwrites from the start and keeps a longer file's tail; if it cannot be opened, output
 *   stays on /dev/null.
 * timeout: seconds after which the command gets SIGALRM; 0 for none.
 * ppid: NULL to wait for the command: the result is its raw wait status (its exit status is errno if
 *   it could not be executed). Otherwise *ppid gets its process id and the result is 0 at once; the
 *   caller reaps it. Returns errno when fork or the wait fails (ECHILD when SIGCHLD is ignored), which
 *   cannot be told from a wait status. */
LC_API int _eval(char *const argv[], const char *redirect, int timeout, int *ppid);

/* One read of at most len bytes from the start of path. Bytes read, or -1 (also for a negative len). */
LC_API int f_read(const char *path, void *buf, int len);

/* The same of at most size - 1 bytes; buf is always terminated. -1 also when size is below 1. */
LC_API int f_read_string(const char *path, char *buf, int size);

/* Puts the command name of process pid, or an empty text, into buf of size bytes and returns buf;
 * NULL when size is below 1. A name that fills buf is not terminated: 16 bytes hold the name of every
 * ordinary process, kernel threads may have longer ones. */
LC_API char *psname(int pid, char *buf, int size);

/* A process whose command name is name (what follows its first slash), in the order of /proc.
 * Its process id, or -1 (none, or out of memory). */
LC_API int lc_pidof(const char *name);

/* Sends sig to every process of that name. 0, -1 when a kill failed (also when one ended meanwhile), -2
 * when there is no process, or out of memory. A child that nobody has reaped still counts. */
LC_API int lc_killall(const char *name, int sig);

/* SIGTERM to every process of that name, then up to 5 seconds of waiting, then SIGKILL up to six
 * times, 2 seconds apart. -2 when none is left (the good end), -1 when one could not be signalled,
 * 0 when they could still be signalled after the last SIGKILL. */
LC_API int lc_killall_tk(const char *name);

/* Arguments and results exactly as the pthread_ call of the same name
 * (lc_pthread_cancle is pthread_cancel). */
LC_API int lc_pthread_create(pthread_t *thread, const pthread_attr_t *attr, void *(*start)(void *),
                             void *argument);
LC_API void lc_pthread_exit(void *result) LC_NORETURN;
LC_API int lc_pthread_join(pthread_t thread, void **result);
LC_API int lc_pthread_cancle(pthread_t thread);
LC_API int lc_pthread_attr_init(pthread_attr_t *attr);
LC_API int lc_pthread_attr_destroy(pthread_attr_t *attr);
LC_API int lc_pthread_attr_getscope(const pthread_attr_t *attr, int *scope);
LC_API int lc_pthread_attr_setscope(pthread_attr_t *attr, int scope);
LC_API int lc_pthread_attr_getdetachstate(const pthread_attr_t *attr, int *state);
LC_API int lc_pthread_attr_setdetachstate(pthread_attr_t *attr, int state);
LC_API int lc_pthread_attr_getstacksize(const pthread_attr_t *attr, size_t *size);
LC_API int lc_pthread_attr_setstacksize(pthread_attr_t *attr, size_t size);
LC_API int lc_pthread_mutex_init(pthread_mutex_t *mutex, const pthread_mutexattr_t *attr);
LC_API int lc_pthread_mutex_destroy(pthread_mutex_t *mutex);
LC_API int lc_pthread_mutex_lock(pthread_mutex_t *mutex);
LC_API int lc_pthread_mutex_trylock(pthread_mutex_t *mutex);
LC_API int lc_pthread_mutex_unlock(pthread_mutex_t *mutex);
LC_API int lc_pthread_cond_init(pthread_cond_t *cond, const pthread_condattr_t *attr);
LC_API int lc_pthread_cond_destroy(pthread_cond_t *cond);
LC_API int lc_pthread_cond_broadcast(pthread_cond_t *cond);
LC_API int lc_pthread_cond_signal(pthread_cond_t *cond);
LC_API int lc_pthread_cond_wait(pthread_cond_t *cond, pthread_mutex_t *mutex);
/* deadline: absolute, on the clock of cond (the wall clock by default). */
LC_API int lc_pthread_cond_timedwait(pthread_cond_t *cond, pthread_mutex_t *mutex,
                                     const struct timespec *deadline);

LC_END_DECLS

#endif
