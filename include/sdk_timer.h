/* sdk_timer: one-shot and repeating timers on one thread that ticks every 50 ms.
 *
 * Ticks are counted, not measured: what callbacks and a busy machine cost lengthens every timer, and a
 * signal that the timer thread handles shortens them by a tick. Of timers shorter than a tick only one
 * expires at each, and what stands behind them waits.
 *
 * Threads: any. Callbacks run on the timer thread with the service's mutex held: a callback must not
 * call a function of this family, and a slow one delays every timer. A forked child has no timer
 * thread and must not use this family before exec. */
#ifndef SDK_TIMER_H
#define SDK_TIMER_H

#include "lc_api.h"

#include <stdint.h>

LC_BEGIN_DECLS

#define TIMER_TICK_MS 50u
#define TIMER_NAME_MAX 20u

/* Result codes. */
#define TIMER_SUCCESS 0
#define TIMER_ERR_NOT_INIT 1 /* init_timer: initialised already, or out of memory */
#define TIMER_ERR_PARAM 2
#define TIMER_ERR_NO_TIMER 3
#define TIMER_ERR_THREAD 4
#define TIMER_ERR_INTERNAL (-1)

typedef void (*timer_callback_fn)(uintptr_t arg);

typedef struct timer {
    char name[TIMER_NAME_MAX + 4]; /* at most TIMER_NAME_MAX characters and a terminator */
    uint32_t interval;             /* milliseconds; a rest below a tick is dropped */
    uint32_t repeat;               /* 1 repeating, 0 one-shot */
    timer_callback_fn callback;    /* may be NULL: the timer only expires */
    uintptr_t arg;                 /* for the callback */
} timer;

/* Names one start of a timer. Safe to use when the timer is gone, also when its memory is used again.
 */
typedef struct timer_id {
    uintptr_t node;
    uint32_t stamp;
} timer_id;

/* Starts the service, once in a process; there is no end to it. Returns 0, 1 started already or out of
 * memory, -1 out of memory, 4 the thread cannot be started. What fails can be tried again. */
LC_API int32_t init_timer(void);

/* Starts a timer, which first expires after its interval, at the next tick if that is below one. The
 * descriptor is copied; its interval is rounded down to ticks. *id is zero unless the timer runs.
 * Returns 0, 2 bad name or repeat, 1 not initialised, -1 out of memory. */
LC_API int32_t start_timer(timer *descriptor, timer_id *id);

/* Stops a running timer. Returns 0, what exist_timer returns when that is not 0, or -1. */
LC_API int32_t stop_timer(uintptr_t node, uint32_t stamp);

/* Returns 0 running, 3 expired or stopped, 2 a word is zero, 1 not initialised. node must come from
 * start_timer. */
LC_API int32_t exist_timer(uintptr_t node, uint32_t stamp);

/* Running timers: counts[0] repeating, counts[1] one-shot. Returns 0, or 1 not initialised. */
LC_API int32_t query_timer(uint32_t counts[2]);

/* Hooks for a debugger; they do nothing. printf_timerlist is called after every change. */
LC_API int32_t printf_list(void);
LC_API void printf_timerlist(void);

LC_END_DECLS

#endif
