/* The operations of a router in months, in one run: a publisher and its subscribers, each a process of
 * its own, exchange messages, requests and notifications, start and stop timers, read and write
 * parameters.
 *
 * usage: mixed_operations [OPERATIONS]
 *   OPERATIONS  of all processes together; 20000 when it is not given
 *
 * Prints what the processes held together after the first tenth of the operations and after the last.
 * Ends with 1 when that grew beyond a small slack, when a process holds other blocks of the library in
 * the end, with nothing queued, timed or registered any more, than before its first operation, or when
 * an operation went wrong. Only the library's own blocks are counted: what libc allocates for it (FILE,
 * DIR) shows in what is resident, when it is much, and to LeakSanitizer, which looks as each process
 * ends. The persistent parameters live in /2ndfile, which must be empty. On a terminal it shows how far
 * it is. */
#include "c/check.h"
#include "c/messages.h"
#include "c/random.h"
#include "support/figures.h"

#include "lc_ipc_mq.h"
#include "lc_nv.h"
#include "sdk_timer.h"

#include <limits.h>
#include <signal.h>
#include <stdbool.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

enum {
    PROCESSES = 4, /* the first is the publisher */
    CAPACITY = 64,
    TIMERS = 16,
    PARAMETERS = 32,
    LONGEST_VALUE = 300,
    BODY = 64,
    TIMEOUT_MS = 60000,
    LOOKS = 50
};

/* Of each process. One moment finds more under way than another; what is resident also depends on the
 * allocator, and under an emulator on what it translated last. */
#define HEAP_SLACK 16384L
#ifdef __SANITIZE_THREAD__
#define RESIDENT_SLACK_KB 32768L /* its shadow grows with every place that is touched */
#else
#define RESIDENT_SLACK_KB 4096L
#endif

#define ASK 50u
#define TELL 51u
#define FIRST_IDENTIFIER 60u
#define IDENTIFIERS 4u

static const uint32_t modules[PROCESSES] = {IPC_MODULE_WM, IPC_MODULE_MM, IPC_MODULE_CGI,
                                            IPC_MODULE_SMS_PB};

/* What the processes share. */
typedef struct worker {
    unsigned long done; /* operations */
    unsigned long wrong;
    unsigned long fired; /* timers */
    unsigned long taken; /* messages */
    figures first, last;
    long idle_before, idle_after; /* bytes in blocks of the library */
    int ready;
} worker;

static worker *workers;
static worker *self;
static uint32_t randomness;
static mq_cb queue;
static timer_id timers[TIMERS];

static uint32_t below(uint32_t limit) { return next_random(&randomness) % limit; }

static bool is_publisher(void) { return self == workers; }

/* ---- Messages ---- */

/* With a body as whoever receives it expects it. */
static ipc_msg_hdr *filled_message(uint32_t msg_id, uint32_t length)
{
    ipc_msg_hdr *const msg = new_message(msg_id, length);
    memset(ipc_msg_body(msg), (int)msg_id, length);
    return msg;
}

static ipc_addr address_of(uint32_t process)
{
    ipc_addr to;
    ipc_get_addr_by_id(modules[process], IPC_PRIORITY_COMMON, &to);
    return to;
}

/* On the receive thread: answers requests; the rest goes to the queue. */
static uint32_t handle(ipc_msg_hdr *msg, uint32_t size)
{
    (void)size;
    if (msg->type == IPC_MSG_TYPE_REQUEST && msg->msg_id == ASK) {
        ipc_msg_hdr *const answer = filled_message(ASK, BODY);
        answer->type = IPC_MSG_TYPE_RESPONSE;
        answer->session_id = msg->session_id;
        ipc_msg_send_asy(ipc_msg_sender(msg), answer, BODY);
        free_message(answer);
        return 0;
    }
    return 1;
}

static bool ask_publisher(void)
{
    const ipc_addr to = address_of(0);
    ipc_msg_hdr *const request = new_message(ASK, below(BODY));
    uint8_t answer[sizeof(ipc_msg_hdr) + BODY];
    uint32_t length = BODY;
    const uint32_t result =
        ipc_msg_send_syn(&to, request, request->length, TIMEOUT_MS, answer, &length);
    free_message(request);
    return result == IPC_SUCCESS && length == BODY && answer[sizeof(ipc_msg_hdr)] == ASK;
}

/* Never itself: what a module sends to itself is not held back when its socket is full, and once that
 * has used up its room to send, a publisher waits for itself (docs/security.md). */
static bool tell_another(void)
{
    const uint32_t own = (uint32_t)(self - workers);
    const ipc_addr to = address_of((own + 1 + below(PROCESSES - 1)) % PROCESSES);
    ipc_msg_hdr *const msg = filled_message(TELL, below(IPC_MSG_MAX_BODY + 1));
    const uint32_t result = ipc_msg_send_asy(&to, msg, msg->length);
    free_message(msg);
    return result == IPC_SUCCESS;
}

static bool publish(void)
{
    ipc_msg_hdr *const news = filled_message(FIRST_IDENTIFIER + below(IDENTIFIERS), below(BODY));
    const uint32_t result = ipc_msg_notify(news, news->length);
    free_message(news);
    return result == IPC_SUCCESS;
}

static bool change_subscription(void)
{
    const ipc_addr to = address_of(0);
    const uint32_t identifier = FIRST_IDENTIFIER + below(IDENTIFIERS);
    if (below(4) == 0) {
        return ipc_deregister_notify(&to, identifier) == IPC_SUCCESS;
    }
    return ipc_register_notify(&to, identifier, TIMEOUT_MS) == IPC_SUCCESS;
}

static bool take_messages(void)
{
    ipc_msg_hdr *msg;
    while (ipc_mq_recv(queue, &msg, 0) == IPC_SUCCESS) {
        const uint8_t *const body = ipc_msg_body(msg);
        const bool whole = msg->length == 0 || body[msg->length - 1] == (uint8_t)msg->msg_id;
        free_message(msg);
        ++self->taken;
        if (!whole) {
            return false;
        }
    }
    return true;
}

static bool talk(void)
{
    switch (below(8)) {
    case 0:
        return is_publisher() ? publish() : change_subscription();
    case 1:
    case 2:
        return is_publisher() ? publish() : ask_publisher();
    case 3:
    case 4:
        return take_messages();
    default:
        return tell_another();
    }
}

/* ---- Timers ---- */

static void note_fired(uintptr_t arg)
{
    (void)arg;
    ++self->fired;
}

static bool start_timer_at(uint32_t place)
{
    timer descriptor = {"endurance", 0, 0, note_fired, 0};
    descriptor.interval = below(10) * TIMER_TICK_MS;
    descriptor.repeat = place % 2;
    return start_timer(&descriptor, &timers[place]) == TIMER_SUCCESS;
}

static bool stop_timer_at(uint32_t place)
{
    const timer_id *const id = &timers[place];
    int32_t result = exist_timer(id->node, id->stamp);
    if (result == TIMER_SUCCESS) {
        result = stop_timer(id->node, id->stamp);
    }
    /* It may expire at any moment. */
    return result == TIMER_SUCCESS || result == TIMER_ERR_NO_TIMER;
}

static bool change_timer(void)
{
    const uint32_t place = below(TIMERS);
    return stop_timer_at(place) && start_timer_at(place);
}

/* ---- Parameters ---- */

/* A value is one letter again and again: none that was written in one piece has two. */
static void make_value(char *value)
{
    const size_t length = 1 + below(LONGEST_VALUE);
    memset(value, 'a' + (int)below(26), length);
    value[length] = '\0';
}

static bool is_whole(const char *value)
{
    return strspn(value, (char[]){value[0], '\0'}) == strlen(value);
}

typedef struct store {
    uint32_t (*read)(const char *name, char *buf, uint32_t size);
    uint32_t (*write)(const char *name, const char *value, uint32_t size);
    uint32_t (*match)(const char *name, const char *value);
} store;

static const store ram = {nvmram_readnv, nvmram_writenv, nvram_match};
static const store persistent = {nvm_readnv, nvm_writenv, nvm_match};

static bool use_parameter(const store *in)
{
    char name[16], value[LONGEST_VALUE + 2];
    uint32_t result;
    snprintf(name, sizeof(name), "p%u", (unsigned)below(PARAMETERS));
    switch (below(4)) {
    case 0:
        make_value(value);
        return in->write(name, value, sizeof(value)) == NV_SUCCESS;
    case 1:
        make_value(value);
        result = in->match(name, value);
        return result == NV_SUCCESS || result == NV_ERR_DIFFER;
    default:
        return in->read(name, value, sizeof(value)) == NV_SUCCESS && is_whole(value);
    }
}

static bool write_defaults(void)
{
    FILE *file;
    unsigned i;
    mkdir("/2ndfile/nv", 0755);
    file = fopen(NVM_DEFAULTS_FILE, "w");
    for (i = 0; file != NULL && i < PARAMETERS; ++i) {
        fprintf(file, "p%u=1=d\n", i);
    }
    return file != NULL && fclose(file) == 0;
}

/* The volatile store has no defaults. */
static bool fill_ram(void)
{
    char name[16];
    unsigned i;
    for (i = 0; i < PARAMETERS; ++i) {
        snprintf(name, sizeof(name), "p%u", i);
        if (nvmram_writenv(name, "d", 2) != NV_SUCCESS) {
            return false;
        }
    }
    return true;
}

static bool make_stores(void)
{
    return nvmram_init() == NV_SUCCESS && fill_ram() && write_defaults() && nvm_init() == NV_SUCCESS;
}

/* ---- The processes ---- */

static bool operate(void)
{
    switch (below(8)) {
    case 0:
        return change_timer();
    case 1:
    case 2:
        return use_parameter(&ram);
    case 3:
        return use_parameter(&persistent);
    default:
        return talk();
    }
}

/* Once used, a place for a timer and the name of a notification are kept. */
static bool use_all(void)
{
    const ipc_addr to = address_of(0);
    uint32_t i;
    bool good = true;
    for (i = 0; i < TIMERS; ++i) {
        good = start_timer_at(i) && good;
    }
    for (i = 0; i < IDENTIFIERS && !is_publisher(); ++i) {
        good = ipc_register_notify(&to, FIRST_IDENTIFIER + i, TIMEOUT_MS) == IPC_SUCCESS && good;
    }
    return good;
}

static bool give_back_all(void)
{
    const ipc_addr to = address_of(0);
    uint32_t i;
    bool good = true;
    for (i = 0; i < TIMERS; ++i) {
        good = stop_timer_at(i) && good;
    }
    for (i = 0; i < IDENTIFIERS && !is_publisher(); ++i) {
        good = ipc_deregister_notify(&to, FIRST_IDENTIFIER + i) == IPC_SUCCESS && good;
    }
    return good;
}

/* With an empty queue. */
static figures figures_at_rest(void)
{
    take_messages();
    return take_figures();
}

/* While nobody sends anything any more. The receive thread still reads what has come, and soon gives
 * back what it has in hand: the least that is seen is what stays. */
static long idle_bytes(void)
{
    long least = LONG_MAX;
    int looks;
    for (looks = 0; looks < LOOKS; ++looks) {
        long now;
        usleep(10000);
        take_messages();
        now = __atomic_load_n(&heap_bytes, __ATOMIC_RELAXED);
        least = now < least ? now : least;
    }
    return least;
}

static void wait_for_all(int stage)
{
    int i;
    __atomic_store_n(&self->ready, stage, __ATOMIC_RELEASE);
    for (i = 0; i < PROCESSES; ++i) {
        while (__atomic_load_n(&workers[i].ready, __ATOMIC_ACQUIRE) < stage) {
            usleep(1000);
            take_messages();
        }
    }
}

static void work_off(unsigned long operations)
{
    unsigned long i;
    for (i = 1; i <= operations; ++i) {
        if (!operate()) {
            ++self->wrong;
        }
        __atomic_store_n(&self->done, i, __ATOMIC_RELAXED);
        if (i == operations / 10) {
            self->first = figures_at_rest();
        }
    }
    self->last = figures_at_rest();
}

static int work(unsigned number, unsigned long operations)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    self = &workers[number];
    randomness = 0x9E3779B9u * (number + 1);
    ipc_mq_init();
    if (ipc_mq_create(CAPACITY, &queue) != IPC_SUCCESS || init_timer() != TIMER_SUCCESS ||
        ipc_msg_init(modules[number], queue, handle, NULL, 0) != IPC_SUCCESS) {
        return 2;
    }
    wait_for_all(1);
    self->wrong += !use_all() || !give_back_all();
    wait_for_all(2);
    self->idle_before = idle_bytes();
    wait_for_all(3);
    work_off(operations);
    /* Whoever is still at work may be waiting for this one. */
    wait_for_all(4);
    self->wrong += !give_back_all();
    wait_for_all(5);
    self->idle_after = idle_bytes();
    wait_for_all(6);
    ipc_msg_fin();
    ipc_mq_destroy();
    return 0;
}

static unsigned long all_done(void)
{
    unsigned long done = 0;
    int i;
    for (i = 0; i < PROCESSES; ++i) {
        done += __atomic_load_n(&workers[i].done, __ATOMIC_RELAXED);
    }
    return done;
}

/* Waits for one process to end, and meanwhile shows how far all of them are. */
static int result_of(pid_t process, unsigned long operations)
{
    int status;
    while (waitpid(process, &status, WNOHANG) == 0) {
        if (isatty(STDERR_FILENO)) {
            fprintf(stderr, "\r%lu of %lu operations", all_done(), operations);
        }
        usleep(100000);
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

static figures sum_of(bool last)
{
    figures sum = {0, 0, 0, 0};
    int i;
    for (i = 0; i < PROCESSES; ++i) {
        const figures *const held = last ? &workers[i].last : &workers[i].first;
        sum.rss_kb += held->rss_kb;
        sum.heap_bytes += held->heap_bytes;
        sum.descriptors += held->descriptors;
        sum.threads += held->threads;
    }
    return sum;
}

static void check_no_growth(unsigned long operations)
{
    const figures first = sum_of(false), last = sum_of(true);
    char when[64];
    int i;
    snprintf(when, sizeof(when), "after the first %lu operations", operations / 10);
    print_figures(when, &first);
    snprintf(when, sizeof(when), "after the last %lu operations", operations / 10);
    print_figures(when, &last);
    printf("the publisher when idle: %ld bytes in blocks of the library before, %ld after\n",
           workers[0].idle_before, workers[0].idle_after);
    for (i = 0; i < PROCESSES; ++i) {
        const worker *const of = &workers[i];
        CHECK(of->last.heap_bytes - of->first.heap_bytes <= HEAP_SLACK);
        CHECK(of->last.rss_kb - of->first.rss_kb <= RESIDENT_SLACK_KB);
        CHECK_INT(of->last.descriptors, of->first.descriptors);
        CHECK_INT(of->last.threads, of->first.threads);
        CHECK_INT(of->idle_after, of->idle_before);
        CHECK_INT(of->wrong, 0);
        CHECK(of->taken > 0);
        CHECK(of->fired > 0);
    }
}

int main(int argc, char **argv)
{
    const unsigned long operations = argc > 1 ? strtoul(argv[1], NULL, 10) : 20000;
    const unsigned long each = operations / PROCESSES;
    pid_t processes[PROCESSES];
    unsigned i;

    workers = mmap(NULL, PROCESSES * sizeof(worker), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS,
                   -1, 0);
    REQUIRE(workers != MAP_FAILED && each >= 10 && make_stores());
    for (i = 0; i < PROCESSES; ++i) {
        processes[i] = fork();
        REQUIRE(processes[i] >= 0);
        if (processes[i] == 0) {
            exit(work(i, each));
        }
    }
    for (i = 0; i < PROCESSES; ++i) {
        CHECK_INT(result_of(processes[i], operations), 0);
    }
    printf("%lu operations of %d processes\n", all_done(), PROCESSES);
    check_no_growth(operations);
    return check_end();
}
