/* The behaviour of waits when the wall clock jumps. Sets the clock of the machine, so it runs only on a
 * virtual machine of its own: tests/clock/own_machine.
 *
 * In each case three threads wait with a time-out at once: for the response to a request, for a message
 * in an empty queue, and for room in a full one; a fourth waits for a message without a limit. Then the
 * clock is set. The deadline of such a wait is
 * a moment of the wall clock: where libc has the kernel wait for it, a jump forward ends the wait, and
 * a jump back leaves it waiting long after its time, until what it waits for comes. Time is measured by
 * the monotonic clock. */
#define _GNU_SOURCE /* syscall */
#include "c/check.h"
#include "c/messages.h"
#include "c/milliseconds.h"
#include "c/plain_socket.h"

#include "lc_ipc_mq.h"
#include "sdk_timer.h"

#include <pthread.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdlib.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>

enum {
    WAITS = 3,
    CAPACITY = 8,
    SETTLE_MS = 300,
    TIMEOUT_MS = 2000,
    LONG_MS = 600000,
    PROMPT_MS = 1500, /* what ends at once on a slow, emulated machine */
    BEHIND_MS = 1000  /* so long after its time a wait is looked at again */
};

#define HONEST_PEER "lc_socket_wm_common"
#define ENDPOINT "lc_socket_mm_common"
#define REQUEST 50u
#define NEWS 51u

/* Seconds of the wall clock; always of 64 bits, whatever time_t is. */
#define HOUR INT64_C(3600)
#define YEAR (INT64_C(365) * 24 * HOUR)
#define IN_2001 INT64_C(1000000000)
#define IN_2026 INT64_C(1790000000)
#define BEFORE_2038 (INT64_C(0x7FFFFFFF) - 3600)
#define AFTER_2038 (INT64_C(0x80000000) + 3600)
#define IN_2100 INT64_C(4102444800)

static bool has_narrow_time(void) { return sizeof(time_t) == 4; }

/* The GNU libc lets the kernel wait for the moment; others work out first how long that is. */
#ifdef __GLIBC__
static const bool jumps_reach_waits = true;
#else
static const bool jumps_reach_waits = false;
#endif

static void pause_ms(long duration)
{
    const struct timespec time = {duration / 1000, duration % 1000 * 1000000};
    nanosleep(&time, NULL);
}

/* The kernel's command line names the script that started it. */
static bool is_own_machine(void)
{
    char line[1024] = "";
    FILE *const file = fopen("/proc/cmdline", "r");
    if (file != NULL) {
        if (fgets(line, sizeof(line), file) == NULL) {
            line[0] = '\0';
        }
        fclose(file);
    }
    return strstr(line, "own_machine") != NULL;
}

static void set_wall_clock(int64_t seconds)
{
#ifdef SYS_clock_settime64
    const int64_t time[2] = {seconds, 0};
    REQUIRE(syscall(SYS_clock_settime64, CLOCK_REALTIME, time) == 0);
#else
    const struct timespec time = {seconds, 0};
    REQUIRE(clock_settime(CLOCK_REALTIME, &time) == 0);
#endif
}

/* ---- The waits ---- */

typedef struct waiting {
    uint32_t (*wait)(uint32_t timeout);
    const char *what;
    pthread_t thread;
    uint32_t timeout;
    uint32_t result;
    long took;
    int over;
} waiting;

static mq_cb module_queue, quiet_queue, empty_queue, full_queue;
static int honest_peer;

static uint32_t wait_for_response(uint32_t timeout)
{
    ipc_msg_hdr *const request = new_message(REQUEST, 0);
    ipc_msg_hdr response;
    uint32_t length = 0, result;
    ipc_addr to;
    ipc_get_addr_by_id(IPC_MODULE_WM, IPC_PRIORITY_COMMON, &to);
    result = ipc_msg_send_syn(&to, request, 0, timeout, &response, &length);
    if (result == IPC_SUCCESS && response.session_id != request->session_id) {
        result = IPC_ERR_LENGTH; /* what no caller expects */
    }
    free_message(request);
    return result;
}

static uint32_t take_message(mq_cb queue, int32_t timeout)
{
    ipc_msg_hdr *msg;
    const uint32_t result = ipc_mq_recv(queue, &msg, timeout);
    if (result == IPC_SUCCESS) {
        free_message(msg);
    }
    return result;
}

static uint32_t wait_for_message(uint32_t timeout)
{
    return take_message(empty_queue, (int32_t)timeout);
}

static uint32_t wait_without_limit(uint32_t timeout)
{
    (void)timeout;
    return take_message(quiet_queue, -1);
}

static uint32_t wait_for_room(uint32_t timeout)
{
    ipc_msg_hdr *const msg = new_message(NEWS, 0);
    const uint32_t result = ipc_mq_send(full_queue, msg, 0, (int32_t)timeout);
    if (result != IPC_SUCCESS) {
        free_message(msg);
    }
    return result;
}

static void *run_wait(void *argument)
{
    waiting *const self = argument;
    const long began = milliseconds();
    self->result = self->wait(self->timeout);
    self->took = milliseconds() - began;
    __atomic_store_n(&self->over, 1, __ATOMIC_RELEASE);
    return NULL;
}

static waiting waits[WAITS] = {{wait_for_response, "response", 0, 0, 0, 0, 0},
                               {wait_for_message, "message", 0, 0, 0, 0, 0},
                               {wait_for_room, "room", 0, 0, 0, 0, 0}};
static waiting unlimited = {wait_without_limit, "no limit", 0, 0, 0, 0, 0};
static plain_message request; /* that the first of them waits for the response to */

static void begin_wait(waiting *wait, uint32_t timeout)
{
    wait->timeout = timeout;
    wait->over = 0;
    REQUIRE(pthread_create(&wait->thread, NULL, run_wait, wait) == 0);
}

static int is_over(const waiting *wait) { return __atomic_load_n(&wait->over, __ATOMIC_ACQUIRE); }

/* How long it took, beyond what had passed before. */
static void end_wait(waiting *wait, uint32_t result, long from, long to)
{
    pthread_join(wait->thread, NULL);
    printf("    %-8s result %u after %ld ms\n", wait->what, (unsigned)wait->result, wait->took);
    CHECK_INT(wait->result, result);
    CHECK(wait->took >= from && wait->took <= to);
}

static void begin_waits(uint32_t timeout)
{
    int i;
    begin_wait(&unlimited, 0);
    for (i = 0; i < WAITS; ++i) {
        begin_wait(&waits[i], timeout);
    }
    REQUIRE(plain_receive(honest_peer, &request, PROMPT_MS));
    pause_ms(SETTLE_MS);
}

static int waits_that_are_over(void)
{
    int i, over = 0;
    for (i = 0; i < WAITS; ++i) {
        over += is_over(&waits[i]);
    }
    return over;
}

static void send_news(mq_cb queue)
{
    CHECK_INT(ipc_mq_send(queue, new_message(NEWS, 0), 0, 0), IPC_SUCCESS);
}

static void end_waits(uint32_t result, long from, long to)
{
    int i;
    for (i = 0; i < WAITS; ++i) {
        end_wait(&waits[i], result, from, to);
    }
    CHECK(!is_over(&unlimited));
    send_news(quiet_queue);
    end_wait(&unlimited, IPC_SUCCESS, from, to + SETTLE_MS + PROMPT_MS);
}

static void respond(plain_message *to)
{
    to->header.type = IPC_MSG_TYPE_RESPONSE;
    CHECK(plain_send(honest_peer, &to->sender, to));
}

/* What each waits for. */
static void satisfy_waits(void)
{
    respond(&request);
    send_news(empty_queue);
    CHECK_INT(take_message(full_queue, 0), IPC_SUCCESS);
}

/* The module gets what comes behind it, and nothing else. */
static void late_response_is_dropped(void)
{
    plain_message behind = {{IPC_MSG_TYPE_ASYNC, NEWS, 0, 0}, {0}, plain_address(ENDPOINT)};
    ipc_msg_hdr *msg = NULL;
    respond(&request);
    CHECK(plain_send(honest_peer, &behind.sender, &behind));
    REQUIRE(ipc_mq_recv(module_queue, &msg, -1) == IPC_SUCCESS);
    CHECK_INT(msg->msg_id, NEWS);
    free_message(msg);
    CHECK_INT(take_message(module_queue, 0), IPC_ERR_EMPTY);
}

static void waits_time_out(long from, long to)
{
    end_waits(IPC_ERR_TIMEOUT, from, to);
    late_response_is_dropped();
}

/* ---- What goes on meanwhile ---- */

static void other_request_is_answered(void)
{
    waiting other = {wait_for_response, "other", 0, 0, 0, 0, 0};
    plain_message received;
    begin_wait(&other, TIMEOUT_MS);
    if (CHECK(plain_receive(honest_peer, &received, PROMPT_MS))) {
        respond(&received);
    }
    end_wait(&other, IPC_SUCCESS, 0, PROMPT_MS);
}

static void subscriber_is_notified(void)
{
    const struct sockaddr_un endpoint = plain_address(ENDPOINT);
    const ipc_msg_hdr registration = {IPC_MSG_TYPE_REQUEST, IPC_MSG_ID_REGISTER, 4, 77};
    ipc_msg_hdr *const news = new_message(NEWS, 0);
    plain_message received;
    CHECK(plain_send_word(honest_peer, &endpoint, registration, NEWS));
    CHECK(plain_receive(honest_peer, &received, PROMPT_MS) && received.header.session_id == 77 &&
          word_at(received.body, 0) == IPC_SUCCESS);
    CHECK_INT(ipc_msg_notify(news, 0), IPC_SUCCESS);
    CHECK(plain_receive(honest_peer, &received, PROMPT_MS) && received.header.msg_id == NEWS);
    free_message(news);
}

static void others_are_not_affected(void)
{
    other_request_is_answered();
    subscriber_is_notified();
    CHECK(!is_over(&unlimited));
}

/* ---- The cases ---- */

/* A deadline drops the fraction of its second. */
static void waits_end_in_time(const char *name, int64_t now)
{
    printf("%s\n", name);
    set_wall_clock(now);
    begin_waits(TIMEOUT_MS);
    waits_time_out(TIMEOUT_MS - 1100, TIMEOUT_MS + PROMPT_MS);
}

static void waits_end_at_once(const char *name, int64_t now)
{
    printf("%s\n", name);
    set_wall_clock(now);
    begin_waits(TIMEOUT_MS);
    waits_time_out(0, PROMPT_MS);
}

static void jump_ends_waits(int64_t from, int64_t to)
{
    set_wall_clock(from);
    begin_waits(LONG_MS);
    CHECK_INT(waits_that_are_over(), 0);
    set_wall_clock(to);
    waits_time_out(SETTLE_MS - 100, SETTLE_MS + PROMPT_MS);
}

static void begin_and_set_back(int64_t from, int64_t to)
{
    set_wall_clock(from);
    begin_waits(TIMEOUT_MS);
    set_wall_clock(to);
    pause_ms(TIMEOUT_MS + BEHIND_MS);
    CHECK_INT(waits_that_are_over(), 0);
}

static void jump_prolongs_waits(int64_t from, int64_t to)
{
    begin_and_set_back(from, to);
    others_are_not_affected();
    CHECK_INT(waits_that_are_over(), 0);
    satisfy_waits();
    end_waits(IPC_SUCCESS, TIMEOUT_MS + BEHIND_MS, TIMEOUT_MS + BEHIND_MS + SETTLE_MS + 2 * PROMPT_MS);
}

static void jump_is_not_noticed(int64_t from, int64_t to)
{
    set_wall_clock(from);
    begin_waits(TIMEOUT_MS);
    set_wall_clock(to);
    others_are_not_affected();
    waits_time_out(TIMEOUT_MS - 1100, TIMEOUT_MS + PROMPT_MS);
}

static void jump(const char *name, int64_t from, int64_t to)
{
    puts(name);
    if (!jumps_reach_waits) {
        jump_is_not_noticed(from, to);
    } else if (to > from) {
        jump_ends_waits(from, to);
    } else {
        jump_prolongs_waits(from, to);
    }
}

static void jump_forth_ends_what_a_jump_back_prolonged(int64_t from, int64_t to)
{
    puts("back by a year and forth again");
    begin_and_set_back(from, to);
    set_wall_clock(from + TIMEOUT_MS / 1000 + 1);
    waits_time_out(TIMEOUT_MS + BEHIND_MS, TIMEOUT_MS + BEHIND_MS + SETTLE_MS + PROMPT_MS);
}

static long fired_at;

static void note_fired(uintptr_t arg)
{
    (void)arg;
    __atomic_store_n(&fired_at, milliseconds(), __ATOMIC_RELEASE);
}

/* Ticks are slept, not looked up. */
static void timers_keep_their_pace(int64_t from, int64_t to)
{
    timer descriptor = {"clock", 1000, 0, note_fired, 0};
    timer_id id;
    const long began = milliseconds();
    puts("timers do not look at the wall clock");
    set_wall_clock(from);
    CHECK_INT(start_timer(&descriptor, &id), TIMER_SUCCESS);
    __atomic_store_n(&fired_at, 0, __ATOMIC_RELEASE);
    set_wall_clock(to);
    CHECK_INT(exist_timer(id.node, id.stamp), TIMER_SUCCESS);
    while (__atomic_load_n(&fired_at, __ATOMIC_ACQUIRE) == 0 && milliseconds() - began < 20000) {
        pause_ms(10);
    }
    CHECK(fired_at - began >= 900 && fired_at - began <= 1000 + 2 * PROMPT_MS);
    CHECK_INT(exist_timer(id.node, id.stamp), TIMER_ERR_NO_TIMER);
}

static void start_endpoint(void)
{
    REQUIRE(ipc_msg_init(IPC_MODULE_MM, module_queue, NULL, NULL, 0) == IPC_SUCCESS);
}

static void endpoint_stops_promptly(int64_t now)
{
    long began;
    set_wall_clock(now);
    began = milliseconds();
    ipc_msg_fin();
    CHECK(milliseconds() - began <= PROMPT_MS);
}

static void start(void)
{
    ipc_mq_init();
    REQUIRE(ipc_mq_create(CAPACITY, &module_queue) == IPC_SUCCESS &&
            ipc_mq_create(1, &quiet_queue) == IPC_SUCCESS &&
            ipc_mq_create(1, &empty_queue) == IPC_SUCCESS &&
            ipc_mq_create(1, &full_queue) == IPC_SUCCESS);
    send_news(full_queue);
    honest_peer = open_socket(plain_address(HONEST_PEER));
    REQUIRE(honest_peer >= 0 && init_timer() == TIMER_SUCCESS);
    start_endpoint();
}

int main(void)
{
    REQUIRE(is_own_machine());
    printf("time_t has %u bits\n", (unsigned)sizeof(time_t) * 8);
    start();
    waits_end_in_time("no jump", IN_2026);
    jump("forward by an hour", IN_2026, IN_2026 + HOUR);
    jump("forward by ten years", IN_2026, IN_2026 + 10 * YEAR);
    jump("forward past 2038", BEFORE_2038, AFTER_2038);
    jump("back by an hour", IN_2026, IN_2026 - HOUR);
    jump("back by 25 years", IN_2026, IN_2001);
    if (jumps_reach_waits) {
        jump_forth_ends_what_a_jump_back_prolonged(IN_2026, IN_2026 - YEAR);
    }
    timers_keep_their_pace(IN_2026, IN_2001);
    if (has_narrow_time()) {
        waits_end_at_once("past 2038, with a time_t that does not reach so far", AFTER_2038);
        waits_end_at_once("in 2100, with a time_t that does not reach so far", IN_2100);
    } else {
        waits_end_in_time("past 2038", AFTER_2038);
        waits_end_in_time("in 2100", IN_2100);
        jump("back from 2100", IN_2100, IN_2026);
    }
    timers_keep_their_pace(IN_2100, IN_2026);
    puts("the endpoint stops in 2100, and when the clock has gone back since it started");
    endpoint_stops_promptly(IN_2100);
    start_endpoint();
    endpoint_stops_promptly(IN_2026);
    start_endpoint();
    waits_end_in_time("no jump", IN_2026);
    endpoint_stops_promptly(IN_2026);
    ipc_mq_destroy();
    return check_end();
}
