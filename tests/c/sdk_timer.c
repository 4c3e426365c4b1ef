#include "sdk_timer.h"

#include "check.h"

#include <pthread.h>

static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t expired = PTHREAD_COND_INITIALIZER;
static uintptr_t expiries[2]; /* of each timer, by its argument */

static void note_expiry(uintptr_t arg)
{
    pthread_mutex_lock(&mutex);
    ++expiries[arg];
    pthread_cond_signal(&expired);
    pthread_mutex_unlock(&mutex);
}

static void wait_for_expiries(uintptr_t arg, uintptr_t count)
{
    pthread_mutex_lock(&mutex);
    while (expiries[arg] < count) {
        pthread_cond_wait(&expired, &mutex);
    }
    pthread_mutex_unlock(&mutex);
}

static timer_id started(uint32_t interval, uint32_t repeat)
{
    timer descriptor = {"timer", interval, repeat, note_expiry, repeat};
    timer_id id = {1, 1};
    REQUIRE(start_timer(&descriptor, &id) == TIMER_SUCCESS);
    CHECK_INT(descriptor.interval % TIMER_TICK_MS, 0);
    return id;
}

static void check_counts(uint32_t repeating, uint32_t one_shot)
{
    uint32_t counts[2];
    CHECK_INT(query_timer(counts), TIMER_SUCCESS);
    CHECK_INT(counts[0], repeating);
    CHECK_INT(counts[1], one_shot);
}

static void service_starts_once(void)
{
    uint32_t counts[2];
    timer descriptor = {"timer", 100, 0, NULL, 0};
    timer_id id;
    CHECK_INT(query_timer(counts), TIMER_ERR_NOT_INIT);
    CHECK_INT(start_timer(&descriptor, &id), TIMER_ERR_NOT_INIT);
    REQUIRE(init_timer() == TIMER_SUCCESS);
    CHECK_INT(init_timer(), TIMER_ERR_NOT_INIT);
    descriptor.repeat = 2;
    CHECK_INT(start_timer(&descriptor, &id), TIMER_ERR_PARAM);
}

static void timers_expire_until_they_are_stopped(void)
{
    const timer_id once = started(120, 0);
    const timer_id repeating = started(60, 1);
    check_counts(1, 1);
    wait_for_expiries(0, 1);
    wait_for_expiries(1, 3);
    CHECK_INT(exist_timer(repeating.node, repeating.stamp), TIMER_SUCCESS);
    CHECK_INT(stop_timer(repeating.node, repeating.stamp), TIMER_SUCCESS);
    CHECK_INT(stop_timer(once.node, once.stamp), TIMER_ERR_NO_TIMER);
    CHECK_INT(exist_timer(once.node, 0), TIMER_ERR_PARAM);
    check_counts(0, 0);
    CHECK_INT(expiries[0], 1);
}

static void stopped_timer_gives_its_node_to_the_next(void)
{
    const timer_id stopped = started(60000, 0);
    timer_id id;
    CHECK_INT(stop_timer(stopped.node, stopped.stamp), TIMER_SUCCESS);
    id = started(60000, 0);
    CHECK(id.node == stopped.node);
    CHECK_INT(exist_timer(stopped.node, stopped.stamp), TIMER_ERR_NO_TIMER);
    CHECK_INT(stop_timer(id.node, id.stamp), TIMER_SUCCESS);
}

int main(void)
{
    service_starts_once();
    timers_expire_until_they_are_stopped();
    stopped_timer_gives_its_node_to_the_next();
    CHECK_INT(printf_list(), 0);
    printf_timerlist();
    return check_end();
}
