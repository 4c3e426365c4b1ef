/** @file
 * Process helpers, and the POSIX thread calls under the library's names.
 *
 * @see pthreads(7), fork(2), exec(3)
 *
 * @par Threads
 * Any. A thread must not be cancelled, nor end itself, inside a call of this library: what the call
 * holds would stay held. The volatile store of lc_nv.h is an exception, and says what it allows.
 *
 * @par Example
 * The routing table into a file, within five seconds.
 * @code
 * #include <lc_pthread.h>
 * #include <signal.h>
 * #include <stdio.h>
 * #include <sys/wait.h>
 *
 * int main(void)
 * {
 *     char ip[] = "ip", route[] = "route";
 *     char *const command[] = {ip, route, NULL};
 *     const int status = _eval(command, ">/tmp/routes", 5, NULL);
 *     if (WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM)
 *         puts("took too long");
 *     return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
 * }
 * @endcode */
#ifndef LC_PTHREAD_H
#define LC_PTHREAD_H

#include "lc_api.h"

#include <pthread.h>
#include <sys/types.h>
#include <time.h>

LC_BEGIN_DECLS

/** @name Processes
 * @{ */

/** Forks, as fork.
 * @return 0 in the child, the child's process id in the parent; -1 on failure, errno tells which */
LC_API pid_t lc_fork(void);

/** Runs a command, in a session of its own, with default signal handlers, no signal blocked, and its
 * three standard descriptors on /dev/null.
 * @param[in]  argv     NULL-terminated; argv[0] is searched in PATH
 * @param[in]  redirect NULL, or where standard output goes (mode 0644): ">FILE" truncates, ">>FILE"
 *                      appends, "FILE" overwrites from the start and keeps a longer file's tail; if it
 *                      cannot be opened, output stays on /dev/null
 * @param[in]  timeout  seconds after which the command gets SIGALRM; 0 for none
 * @param[out] ppid     NULL to wait for the command; else it gets the process id, and the caller reaps
 * @return having waited, the command's raw wait status (its exit status is errno if it could not be
 *         executed), else 0 at once; errno when fork or the wait fails (ECHILD when SIGCHLD is
 *         ignored), which cannot be told from a wait status */
LC_API int _eval(char *const argv[], const char *redirect, int timeout, int *ppid);

/** Reads at most @p len bytes from the start of the file @p path into @p buf, with one read.
 * @return bytes read; -1 on failure, also for a negative len */
LC_API int f_read(const char *path, void *buf, int len);

/** Reads at most @p size - 1 bytes from the start of the file @p path into @p buf, with one read, and
 * always terminates them, unless size is below 1.
 * @return bytes read; -1 on failure, also for a size below 1 */
LC_API int f_read_string(const char *path, char *buf, int size);

/** Stores the command name of the process @p pid in the @p size bytes of @p buf; an empty text when it
 * cannot be told. A name that fills buf is not terminated: 16 bytes hold the name of every ordinary
 * process, kernel threads may have longer ones.
 * @return buf; NULL when size is below 1 */
LC_API char *psname(int pid, char *buf, int size);

/** Finds the first process with the command name @p name, in the order of /proc. Of a name with a slash
 * only the part after the first slash counts.
 * @return its process id; -1 when there is none, or out of memory */
LC_API int lc_pidof(const char *name);

/** Sends the signal @p sig to every process with @p name, as for lc_pidof(). A zombie still counts.
 * @retval 0  sent
 * @retval -1 a kill failed, also when a process ended meanwhile; the others are tried nevertheless
 * @retval -2 there is no process, or out of memory */
LC_API int lc_killall(const char *name, int sig);

/** Ends every process with @p name, as for lc_pidof(): SIGTERM, then up to 5 seconds of waiting, then
 * SIGKILL up to six times, 2 seconds apart.
 * @retval -2 none is left (the good end), or out of memory
 * @retval -1 one could not be signalled
 * @retval 0  the last SIGKILL still found them */
LC_API int lc_killall_tk(const char *name);

/** @}
 * @name Threads, their attributes, mutexes and conditions
 * Arguments and results are those of the call that is named: 0 or an error number, where there is one.
 * @{ */

/** Starts a thread, as pthread_create. */
LC_API int lc_pthread_create(pthread_t *thread, const pthread_attr_t *attr, void *(*start)(void *),
                             void *argument);
/** Ends the calling thread, as pthread_exit. */
LC_API void lc_pthread_exit(void *result) LC_NORETURN;
/** Waits for a thread's end, as pthread_join. */
LC_API int lc_pthread_join(pthread_t thread, void **result);
/** Asks a thread to end, as pthread_cancel. */
LC_API int lc_pthread_cancle(pthread_t thread);

/** Makes default attributes, as pthread_attr_init. */
LC_API int lc_pthread_attr_init(pthread_attr_t *attr);
/** Gives attributes back, as pthread_attr_destroy. */
LC_API int lc_pthread_attr_destroy(pthread_attr_t *attr);
/** Tells the contention scope, as pthread_attr_getscope. */
LC_API int lc_pthread_attr_getscope(const pthread_attr_t *attr, int *scope);
/** Sets the contention scope, as pthread_attr_setscope. */
LC_API int lc_pthread_attr_setscope(pthread_attr_t *attr, int scope);
/** Tells whether a thread is to be joined, as pthread_attr_getdetachstate. */
LC_API int lc_pthread_attr_getdetachstate(const pthread_attr_t *attr, int *state);
/** Sets whether a thread is to be joined, as pthread_attr_setdetachstate. */
LC_API int lc_pthread_attr_setdetachstate(pthread_attr_t *attr, int state);
/** Tells the size of a thread's stack in bytes, as pthread_attr_getstacksize. */
LC_API int lc_pthread_attr_getstacksize(const pthread_attr_t *attr, size_t *size);
/** Sets the size of a thread's stack in bytes, as pthread_attr_setstacksize. */
LC_API int lc_pthread_attr_setstacksize(pthread_attr_t *attr, size_t size);

/** Makes a mutex, as pthread_mutex_init. */
LC_API int lc_pthread_mutex_init(pthread_mutex_t *mutex, const pthread_mutexattr_t *attr);
/** Destroys a mutex, as pthread_mutex_destroy. */
LC_API int lc_pthread_mutex_destroy(pthread_mutex_t *mutex);
/** Locks a mutex, waiting for it, as pthread_mutex_lock. */
LC_API int lc_pthread_mutex_lock(pthread_mutex_t *mutex);
/** Locks a mutex or fails at once, as pthread_mutex_trylock. */
LC_API int lc_pthread_mutex_trylock(pthread_mutex_t *mutex);
/** Unlocks a mutex, as pthread_mutex_unlock. */
LC_API int lc_pthread_mutex_unlock(pthread_mutex_t *mutex);
/** Makes a condition, as pthread_cond_init. */
LC_API int lc_pthread_cond_init(pthread_cond_t *cond, const pthread_condattr_t *attr);
/** Destroys a condition, as pthread_cond_destroy. */
LC_API int lc_pthread_cond_destroy(pthread_cond_t *cond);
/** Wakes all waiters, as pthread_cond_broadcast. */
LC_API int lc_pthread_cond_broadcast(pthread_cond_t *cond);
/** Wakes one waiter, as pthread_cond_signal. */
LC_API int lc_pthread_cond_signal(pthread_cond_t *cond);
/** Waits for a wake-up, as pthread_cond_wait. */
LC_API int lc_pthread_cond_wait(pthread_cond_t *cond, pthread_mutex_t *mutex);
/** Waits for a wake-up until a deadline, as pthread_cond_timedwait. */
LC_API int lc_pthread_cond_timedwait(pthread_cond_t *cond, pthread_mutex_t *mutex,
                                     const struct timespec *deadline);

/** @} */

LC_END_DECLS

#endif
