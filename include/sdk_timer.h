/** @file
 * One-shot and repeating timers on one thread that ticks every 50 ms.
 *
 * Ticks are counted, not measured: slow callbacks and a busy machine lengthen every timer, and a signal
 * that the timer thread handles shortens them by up to a tick. Of timers shorter than a tick only one
 * expires at each tick, and timers after them in the list wait.
 *
 * @par Threads
 * Any. Callbacks run on the timer thread with the service's mutex held. A callback must not call
 * init_timer(), start_timer(), stop_timer(), exist_timer() or query_timer(): it would deadlock. It must
 * not block on anything else either (a request, a send to another process, whose socket may be full, a
 * lock that is held around a call of this family), since every timer and every caller of this family
 * waits with it. It may count, post a semaphore (sem_post) or queue a message (ipc_mq_send() with
 * time-out 0), and leave the work to a thread that may wait. The timer thread may take any signal to
 * the process that was not blocked for the caller of init_timer(), whose mask it inherits. A forked
 * child has no timer thread and must not use this family before exec.
 *
 * @par Example
 * A line every second, five times.
 * @code
 * #include <sdk_timer.h>
 * #include <stdio.h>
 * #include <unistd.h>
 *
 * static void on_second(uintptr_t arg) { puts((const char *)arg); }
 *
 * int main(void)
 * {
 *     timer clock = {"clock", 1000, 1, on_second, (uintptr_t)"tick"};
 *     timer_id id;
 *     if (init_timer() != 0 || start_timer(&clock, &id) != 0)
 *         return 1;
 *     usleep(5500000);
 *     return stop_timer(id.node, id.stamp);
 * }
 * @endcode */
#ifndef SDK_TIMER_H
#define SDK_TIMER_H

#include "lc_api.h"

#include <stdint.h>

LC_BEGIN_DECLS

#define TIMER_TICK_MS 50u  /**< milliseconds from tick to tick */
#define TIMER_NAME_MAX 20u /**< characters of a timer's name */

/** @name Result codes
 * @{ */
#define TIMER_SUCCESS 0         /**< done */
#define TIMER_ERR_NOT_INIT 1    /**< not initialised; init_timer(): already, or out of memory */
#define TIMER_ERR_PARAM 2       /**< bad argument */
#define TIMER_ERR_NO_TIMER 3    /**< the timer expired or was stopped */
#define TIMER_ERR_THREAD 4      /**< the thread cannot be started */
#define TIMER_ERR_INTERNAL (-1) /**< out of memory, or a list failure */
/** @} */

/** Called on the timer thread when a timer expires, with the @p arg of its descriptor. */
typedef void (*timer_callback_fn)(uintptr_t arg);

/** Describes a timer. */
typedef struct timer {
    char name[TIMER_NAME_MAX + 4]; /**< at most TIMER_NAME_MAX characters and a terminator */
    uint32_t interval;             /**< milliseconds; rounded down to whole ticks */
    uint32_t repeat;               /**< 1 repeating, 0 one-shot */
    timer_callback_fn callback;    /**< may be NULL: the timer only expires */
    uintptr_t arg;                 /**< for the callback */
} timer;

/** Names one start of a timer. Safe to use when the timer is gone and when its memory is used again. */
typedef struct timer_id {
    uintptr_t node; /**< where the timer is kept; 0 for no timer */
    uint32_t stamp; /**< tells it from others that are kept there */
} timer_id;

/** Starts the service, once in a process; it cannot be stopped. After a failure it can be called again.
 * @retval 0  started
 * @retval 1  started already, or out of memory
 * @retval -1 out of memory
 * @retval 4  the thread cannot be started */
LC_API int32_t init_timer(void);

/** Starts a timer, which first expires after its interval, at the next tick if that is below one.
 * @param[in,out] descriptor copied; its interval is rounded down to whole ticks first, here too
 * @param[out]    id         names the timer; zero unless it runs
 * @retval 0  started
 * @retval 1  not initialised
 * @retval 2  bad name or repeat
 * @retval -1 out of memory */
LC_API int32_t start_timer(timer *descriptor, timer_id *id);

/** Stops the running timer whose id is @p node and @p stamp. After 0 and after 3 its callback neither
 * runs nor will be called: what it uses may be freed.
 * @return 0 when it is stopped; what exist_timer() returns when that is not 0; or -1 */
LC_API int32_t stop_timer(uintptr_t node, uint32_t stamp);

/** Tells whether a timer runs, whose id is @p node and @p stamp and must come from start_timer().
 * @retval 0 it runs
 * @retval 1 not initialised
 * @retval 2 a word is zero
 * @retval 3 it expired or was stopped */
LC_API int32_t exist_timer(uintptr_t node, uint32_t stamp);

/** Counts running timers.
 * @param[out] counts [0]: repeating; [1]: one-shot
 * @retval 0 done
 * @retval 1 not initialised */
LC_API int32_t query_timer(uint32_t counts[2]);

/** Does nothing: a hook for a debugger.
 * @retval 0 always */
LC_API int32_t printf_list(void);

/** Does nothing: a hook for a debugger, called after every change. */
LC_API void printf_timerlist(void);

LC_END_DECLS

#endif
