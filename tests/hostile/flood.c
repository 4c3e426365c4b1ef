/* A module of the router under attack: sixteen processes flood its endpoint with datagrams of every
 * kind, while four of its threads make requests to an honest peer.
 *
 * usage: flood [DATAGRAMS]
 *   DATAGRAMS  of all flooders together; 20000 when it is not given
 *
 * Prints what became of the requests and what the process held before and after. Ends with 1 when a
 * request ended otherwise than it may, when memory grew beyond what the registrations are worth, or
 * when something was left over. */
#include "c/check.h"
#include "c/child.h"
#include "c/messages.h"
#include "c/milliseconds.h"
#include "c/plain_socket.h"
#include "c/random.h"
#include "support/figures.h"
#include "support/first_thread.h"

#include "lc_ipc_mq.h"

#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <stdint.h>

enum {
    FLOODERS = 16,
    THREADS = 4,
    NAMES_EACH = 256,
    IDENTIFIERS = 8,
    CAPACITY = 64,
    IN_VAIN_EVERY = 200,
    BODY = 8,
    DEADLINE_CUT_MS = 1000, /* a deadline loses the fraction of its second */
    TIMEOUT_MS = 20000,
    VAIN_TIMEOUT_MS = 1200
};

#define ENDPOINT "lc_socket_mm_common"
#define HONEST_PEER "lc_socket_wm_common"
#define ASK 50u
#define ASK_IN_VAIN 51u
#define QUIT 52u
#define FIRST_IDENTIFIER 20u

/* What this may cost: a block for the address and one for its node, with what surrounds them in any
 * allocator, and the messages that fit into the queue. */
#define REGISTRATIONS_WORTH (FLOODERS * NAMES_EACH * 512L)
#define QUEUE_WORTH (CAPACITY * 2048L)
#define RESIDENT_SLACK_KB (16 * 1024L) /* what allocators, sanitizers and an emulator hoard */

static const uint8_t honest_answer[BODY] = "honest!";
static const uint8_t forged_answer[BODY] = "forged!";

static int endpoint_is_there[2]; /* a pipe: a byte for each flooder, to begin */

/* ---- The honest peer ---- */

static int be_honest(int ready)
{
    plain_message msg;
    const int fd = open_socket(plain_address(HONEST_PEER));
    if (fd < 0 || !tell_ready(ready)) {
        return 1;
    }
    for (;;) {
        if (!plain_receive(fd, &msg, -1)) {
            return 2;
        }
        if (msg.header.msg_id == QUIT) {
            return 0;
        }
        if (msg.header.msg_id == ASK) {
            msg.header.type = IPC_MSG_TYPE_RESPONSE;
            memcpy(msg.body, honest_answer, BODY);
            plain_send(fd, &msg.sender, &msg);
        }
    }
}

/* ---- The flooders ---- */

typedef struct flooder {
    int fd;
    uint32_t number;
    uint32_t random;
    uint32_t sessions; /* the highest that is guessed */
    struct sockaddr_un endpoint;
    plain_message msg;
} flooder;

/* So many bytes from where the message begins, whatever its header says. */
static int throw_bytes(const flooder *self, int fd, size_t size)
{
    static uint8_t room[2 * IPC_MSG_MAX_SIZE];
    memcpy(room, &self->msg, sizeof(self->msg.header) + BODY);
    return sendto(fd, room, size, 0, (const struct sockaddr *)&self->endpoint,
                  sizeof(self->endpoint)) == (ssize_t)size;
}

static void set_header(flooder *self, uint32_t type, uint32_t msg_id, uint32_t length)
{
    self->msg.header.type = type;
    self->msg.header.msg_id = msg_id;
    self->msg.header.length = length;
    self->msg.header.session_id = 1 + next_random(&self->random) % self->sessions;
}

static int throw_valid(flooder *self)
{
    const uint32_t length = next_random(&self->random) % (IPC_MSG_MAX_BODY + 1);
    set_header(self, length % 2, 100, length);
    return throw_bytes(self, self->fd, sizeof(self->msg.header) + length);
}

static int throw_short(flooder *self)
{
    set_header(self, IPC_MSG_TYPE_ASYNC, 100, 0);
    return throw_bytes(self, self->fd, next_random(&self->random) % sizeof(self->msg.header));
}

static int throw_long(flooder *self)
{
    const uint32_t size = IPC_MSG_MAX_SIZE + 1 + next_random(&self->random) % IPC_MSG_MAX_BODY;
    set_header(self, IPC_MSG_TYPE_ASYNC, 100, size - (uint32_t)sizeof(self->msg.header));
    return throw_bytes(self, self->fd, size);
}

static int throw_disagreeing(flooder *self)
{
    set_header(self, IPC_MSG_TYPE_ASYNC, next_random(&self->random) % 5, next_random(&self->random));
    return throw_bytes(self, self->fd, sizeof(self->msg.header) + BODY);
}

static int throw_forged_response(flooder *self)
{
    set_header(self, IPC_MSG_TYPE_RESPONSE, ASK, BODY);
    memcpy(self->msg.body, forged_answer, BODY);
    return throw_bytes(self, self->fd, sizeof(self->msg.header) + BODY);
}

static int throw_stop(flooder *self)
{
    const uint32_t length = next_random(&self->random) % 2 * 4;
    set_header(self, next_random(&self->random) % 3, IPC_MSG_ID_STOP, length);
    return throw_bytes(self, self->fd, sizeof(self->msg.header) + length);
}

static void set_identifier(flooder *self, uint32_t chosen)
{
    const uint32_t identifier = FIRST_IDENTIFIER + chosen % IDENTIFIERS;
    memcpy(self->msg.body, &identifier, sizeof(identifier));
}

/* Under one of many names, each bound for this one datagram and always for the same identifier: a name
 * costs the endpoint one entry. */
static int throw_registration(flooder *self)
{
    char name[64];
    const uint32_t chosen = next_random(&self->random) % NAMES_EACH;
    int fd, thrown;
    snprintf(name, sizeof(name), "neighbour_%u_%u", (unsigned)self->number, (unsigned)chosen);
    fd = open_socket(plain_address(name));
    set_header(self, chosen % 2, IPC_MSG_ID_REGISTER, 4);
    set_identifier(self, chosen);
    thrown = fd >= 0 && throw_bytes(self, fd, sizeof(self->msg.header) + 4);
    close(fd);
    return thrown;
}

static int throw_deregistration(flooder *self)
{
    set_header(self, IPC_MSG_TYPE_ASYNC, IPC_MSG_ID_DEREGISTER, 4);
    set_identifier(self, next_random(&self->random));
    return throw_bytes(self, self->fd, sizeof(self->msg.header) + 4);
}

static int (*const kinds[])(flooder *) = {
    throw_valid,           throw_short, throw_long,         throw_disagreeing,
    throw_forged_response, throw_stop,  throw_registration, throw_deregistration,
};

/* Returns the exit status: 0 when all were thrown. */
static int flood(uint32_t number, uint32_t datagrams)
{
    char name[32], byte;
    flooder self;
    uint32_t i;
    memset(&self, 0, sizeof(self));
    snprintf(name, sizeof(name), "flooder_%u", (unsigned)number);
    self.fd = open_socket(plain_address(name));
    self.number = number;
    self.random = number;
    self.sessions = datagrams;
    self.endpoint = plain_address(ENDPOINT);
    if (self.fd < 0 || read(endpoint_is_there[0], &byte, 1) != 1) {
        return 1;
    }
    for (i = 0; i < datagrams; ++i) {
        if (!kinds[next_random(&self.random) % (sizeof(kinds) / sizeof(kinds[0]))](&self)) {
            perror("flooder");
            return 2;
        }
    }
    return 0;
}

/* ---- The module ---- */

typedef struct tally {
    unsigned answered;
    unsigned forged;    /* answered by a flooder that guessed the session */
    unsigned in_vain;   /* timed out, no earlier than they may, as they were to */
    unsigned timed_out; /* likewise, though the peer answers such */
    unsigned wrong;
    long longest; /* milliseconds until an honest answer */
} tally;

static int flood_is_over;

static int is_over(void) { return __atomic_load_n(&flood_is_over, __ATOMIC_ACQUIRE); }

static void ask(uint32_t msg_id, uint32_t timeout, tally *of)
{
    ipc_msg_hdr *const request = new_message(msg_id, BODY);
    uint8_t response[sizeof(ipc_msg_hdr) + BODY];
    uint32_t length = BODY, result;
    ipc_addr to;
    long began = milliseconds(), took;
    ipc_get_addr_by_id(IPC_MODULE_WM, IPC_PRIORITY_COMMON, &to);
    result = ipc_msg_send_syn(&to, request, BODY, timeout, response, &length);
    took = milliseconds() - began;
    free_message(request);
    if (result == IPC_ERR_TIMEOUT && took >= (long)timeout - DEADLINE_CUT_MS) {
        ++*(msg_id == ASK ? &of->timed_out : &of->in_vain);
    } else if (result != IPC_SUCCESS || length != BODY) {
        ++of->wrong;
        fprintf(stderr, "result %u after %ld ms\n", (unsigned)result, took);
    } else if (memcmp(response + sizeof(ipc_msg_hdr), forged_answer, BODY) == 0) {
        ++of->forged;
    } else if (msg_id == ASK && memcmp(response + sizeof(ipc_msg_hdr), honest_answer, BODY) == 0) {
        ++of->answered;
        of->longest = took > of->longest ? took : of->longest;
    } else {
        ++of->wrong;
    }
}

static void *ask_on(void *of)
{
    unsigned asked = 0;
    do {
        const int in_vain = ++asked % IN_VAIN_EVERY == 0;
        ask(in_vain ? ASK_IN_VAIN : ASK, in_vain ? VAIN_TIMEOUT_MS : TIMEOUT_MS, of);
    } while (!is_over());
    return NULL;
}

static tally ask_while_flooded(const pid_t *flooders)
{
    tally each[THREADS], all;
    pthread_t threads[THREADS];
    int i;
    memset(each, 0, sizeof(each));
    memset(&all, 0, sizeof(all));
    for (i = 0; i < THREADS; ++i) {
        REQUIRE(pthread_create(&threads[i], NULL, ask_on, &each[i]) == 0);
    }
    for (i = 0; i < FLOODERS; ++i) {
        CHECK_INT(exit_status(flooders[i]), 0);
    }
    __atomic_store_n(&flood_is_over, 1, __ATOMIC_RELEASE);
    for (i = 0; i < THREADS; ++i) {
        pthread_join(threads[i], NULL);
        all.answered += each[i].answered;
        all.forged += each[i].forged;
        all.in_vain += each[i].in_vain;
        all.timed_out += each[i].timed_out;
        all.wrong += each[i].wrong;
        all.longest = each[i].longest > all.longest ? each[i].longest : all.longest;
    }
    return all;
}

static void check_requests(const tally *all)
{
    printf("requests: %u answered by the peer they went to, %u by a flooder that guessed the session, "
           "%u timed out that were asked in vain, %u others, %u ended otherwise; "
           "the slowest honest answer took %ld ms\n",
           all->answered, all->forged, all->in_vain, all->timed_out, all->wrong, all->longest);
    CHECK_INT(all->wrong, 0);
    CHECK(all->answered > 0);
    /* Nothing that was sent is lost, and the slowest answers take a small part of the time-out. */
    CHECK_INT(all->timed_out, 0);
}

/* A thread that has been joined may still be listed for a moment. */
static figures figures_without_threads_beyond(long threads)
{
    figures now = take_figures();
    int tries;
    for (tries = 0; now.threads > threads && tries < 1000; ++tries) {
        usleep(2000);
        now = take_figures();
    }
    return now;
}

static void check_memory(const figures *before, const figures *after)
{
    CHECK(after->heap_bytes - before->heap_bytes <= REGISTRATIONS_WORTH + QUEUE_WORTH);
    CHECK(after->rss_kb - before->rss_kb <= RESIDENT_SLACK_KB);
    CHECK_INT(after->descriptors, before->descriptors);
    CHECK_INT(after->threads, before->threads);
}

static uint32_t start(mq_cb *queue)
{
    ipc_mq_init();
    REQUIRE(ipc_mq_create(CAPACITY, queue) == IPC_SUCCESS);
    return ipc_msg_init(IPC_MODULE_MM, *queue, NULL, NULL, 0);
}

static void stop(void)
{
    ipc_msg_fin();
    ipc_mq_destroy();
}

/* Notifications go to every name that registered, and nobody is there any more. */
static void check_notifications_pass(void)
{
    ipc_msg_hdr news;
    memset(&news, 0, sizeof(news));
    for (news.msg_id = 0; news.msg_id < FIRST_IDENTIFIER + IDENTIFIERS; ++news.msg_id) {
        CHECK_INT(ipc_msg_notify(&news, 0), IPC_SUCCESS);
    }
}

static void check_serves(void)
{
    tally after;
    memset(&after, 0, sizeof(after));
    ask(ASK, TIMEOUT_MS, &after);
    CHECK_INT(after.answered, 1);
    ask(ASK_IN_VAIN, VAIN_TIMEOUT_MS, &after);
    CHECK_INT(after.in_vain, 1);
}

static void dismiss_honest_peer(pid_t honest)
{
    ipc_msg_hdr quit;
    ipc_addr to;
    memset(&quit, 0, sizeof(quit));
    quit.msg_id = QUIT;
    ipc_get_addr_by_id(IPC_MODULE_WM, IPC_PRIORITY_COMMON, &to);
    CHECK_INT(ipc_msg_send_asy(&to, &quit, 0), IPC_SUCCESS);
    CHECK_INT(exit_status(honest), 0);
}

int main(int argc, char **argv)
{
    const unsigned long datagrams = argc > 1 ? strtoul(argv[1], NULL, 10) : 20000;
    figures stopped, before, after;
    pid_t flooders[FLOODERS], honest;
    mq_cb queue;
    tally all;
    long began;
    uint32_t i;

    REQUIRE(datagrams >= FLOODERS && pipe(endpoint_is_there) == 0);
    honest = start_child(be_honest);
    REQUIRE(honest > 0);
    for (i = 0; i < FLOODERS; ++i) {
        flooders[i] = fork();
        REQUIRE(flooders[i] >= 0);
        if (flooders[i] == 0) {
            _exit(flood(i, (uint32_t)(datagrams / FLOODERS)));
        }
    }
    REQUIRE(start_first_thread() == 0);
    stopped = take_figures();

    REQUIRE(start(&queue) == IPC_SUCCESS);
    check_serves();
    before = take_figures();
    print_figures("before", &before);
    began = milliseconds();
    REQUIRE(write(endpoint_is_there[1], "0123456789abcdef", FLOODERS) == FLOODERS);
    all = ask_while_flooded(flooders);
    printf("%lu datagrams of %d flooders in %ld ms\n", datagrams / FLOODERS * FLOODERS, FLOODERS,
           milliseconds() - began);
    check_requests(&all);
    check_serves();
    after = figures_without_threads_beyond(before.threads);
    print_figures("after", &after);
    check_memory(&before, &after);
    check_notifications_pass();
    dismiss_honest_peer(honest);

    stop();
    after = figures_without_threads_beyond(stopped.threads);
    print_figures("stopped", &after);
    CHECK_INT(after.heap_bytes, stopped.heap_bytes);
    check_memory(&stopped, &after);
    CHECK_INT(start(&queue), IPC_SUCCESS); /* the name is free again */
    stop();
    return check_end();
}
