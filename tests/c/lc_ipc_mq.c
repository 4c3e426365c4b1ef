#include "lc_ipc_mq.h"

#include "check.h"
#include "messages.h"
#include "plain_socket.h"

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/time.h>

#define NOW 1 /* milliseconds; the deadline has passed: it loses the fraction of its second */
#define FOR_EVER (-1)

static mq_cb new_queue(uint32_t capacity)
{
    mq_cb queue = NULL;
    REQUIRE(ipc_mq_create(capacity, &queue) == IPC_SUCCESS);
    return queue;
}

static void check_sent(mq_cb queue, uint32_t msg_id)
{
    CHECK_INT(ipc_mq_send(queue, new_message(msg_id, 0), 0, 0), IPC_SUCCESS);
}

static void check_received(mq_cb queue, int32_t timeout, uint32_t msg_id)
{
    ipc_msg_hdr *msg = NULL;
    CHECK_INT(ipc_mq_recv(queue, &msg, timeout), IPC_SUCCESS);
    REQUIRE(msg != NULL);
    CHECK_INT(msg->msg_id, msg_id);
    free_message(msg);
}

static void nothing_works_before_the_start(void)
{
    mq_cb queue = NULL;
    ipc_mq_usg usage;
    uint32_t count = 1;
    ipc_mq_destroy();
    CHECK_INT(ipc_mq_create(1, &queue), IPC_ERR_NOT_INIT);
    CHECK(queue == NULL);
    CHECK_INT(ipc_mq_usg_state(&usage, &count), IPC_ERR_NOT_INIT);
}

static void messages_come_out_in_the_order_they_went_in(void)
{
    mq_cb queue = new_queue(3);
    check_sent(queue, 10);
    check_sent(queue, 11);
    check_received(queue, 0, 10);
    check_sent(queue, 12);
    check_received(queue, NOW, 11);
    check_received(queue, FOR_EVER, 12);
    ipc_mq_destroy();
}

static void full_queue_takes_no_more(void)
{
    mq_cb queue = new_queue(1);
    ipc_msg_hdr *msg = new_message(11, 0);
    check_sent(queue, 10);
    CHECK_INT(ipc_mq_send(queue, msg, 0, 0), IPC_ERR_FULL);
    CHECK_INT(ipc_mq_send(queue, msg, 0, NOW), IPC_ERR_TIMEOUT);
    check_received(queue, 0, 10);
    CHECK_INT(ipc_mq_send(queue, msg, 0, NOW), IPC_SUCCESS);
    ipc_mq_destroy(); /* and what is queued with it */
}

static void empty_queue_has_none_to_give(void)
{
    mq_cb queue = new_queue(1);
    ipc_msg_hdr *msg = NULL;
    CHECK_INT(ipc_mq_recv(queue, &msg, 0), IPC_ERR_EMPTY);
    CHECK_INT(ipc_mq_recv(queue, &msg, NOW), IPC_ERR_TIMEOUT);
    CHECK(msg == NULL);
    ipc_mq_destroy();
}

static void bad_arguments_are_refused(void)
{
    mq_cb queue = new_queue(1);
    ipc_msg_hdr *msg = new_message(10, 0);
    ipc_msg_hdr *received = NULL;
    ipc_mq_usg usage;
    uint32_t count = 1;
    CHECK_INT(ipc_mq_create(1, NULL), IPC_ERR_PARAM);
    CHECK_INT(ipc_mq_send(NULL, msg, 0, 0), IPC_ERR_PARAM);
    CHECK_INT(ipc_mq_send(queue, NULL, 0, 0), IPC_ERR_PARAM);
    CHECK_INT(ipc_mq_send(queue, msg, 1, 0), IPC_ERR_PARAM);
    CHECK_INT(ipc_mq_send(queue, msg, 0, -2), IPC_ERR_PARAM);
    CHECK_INT(ipc_mq_recv(NULL, &received, 0), IPC_ERR_PARAM);
    CHECK_INT(ipc_mq_recv(queue, NULL, 0), IPC_ERR_PARAM);
    CHECK_INT(ipc_mq_recv(queue, &received, -2), IPC_ERR_PARAM);
    CHECK_INT(ipc_mq_remove(NULL, 10), IPC_ERR_PARAM);
    CHECK_INT(ipc_mq_usg_state(NULL, &count), IPC_ERR_PARAM);
    CHECK_INT(ipc_mq_usg_state(&usage, NULL), IPC_ERR_PARAM);
    CHECK_INT(ipc_mq_recv(queue, &received, 0), IPC_ERR_EMPTY); /* nothing was queued meanwhile */
    free_message(msg);
    ipc_mq_destroy();
}

static void messages_of_one_identifier_are_removed(void)
{
    mq_cb queue = new_queue(8);
    check_sent(queue, 10);
    check_sent(queue, 11);
    check_sent(queue, 10);
    CHECK_INT(ipc_mq_remove(queue, 10), IPC_SUCCESS);
    CHECK_INT(ipc_mq_remove(queue, 10), IPC_SUCCESS);
    check_received(queue, 0, 11);
    CHECK_INT(ipc_mq_remove(queue, 11), IPC_SUCCESS);
    ipc_mq_destroy();
}

static void usage_is_told_newest_queue_first(void)
{
    mq_cb older = new_queue(0);
    mq_cb newer = new_queue(5);
    ipc_mq_usg usage[3];
    uint32_t count = 3;
    check_sent(older, 10);
    check_sent(older, 11);
    check_sent(newer, 12);
    memset(usage, 0xFF, sizeof(usage));
    CHECK_INT(ipc_mq_usg_state(usage, &count), IPC_SUCCESS);
    CHECK_INT(count, 2);
    CHECK(usage[0].capacity == 5 && usage[0].high_count == 0 && usage[0].normal_count == 1);
    CHECK(usage[1].capacity == 256 && usage[1].high_count == 0 && usage[1].normal_count == 2);
    CHECK_INT(usage[2].capacity, UINT32_MAX);
    count = 1;
    CHECK_INT(ipc_mq_usg_state(usage, &count), IPC_ERR_TOO_SMALL);
    CHECK_INT(count, 1);
    ipc_mq_destroy();
    CHECK_INT(ipc_mq_usg_state(usage, &count), IPC_SUCCESS);
    CHECK_INT(count, 0);
}

static void process_has_64_queues_at_most(void)
{
    mq_cb queue = NULL;
    int i;
    for (i = 0; i < 64; ++i) {
        new_queue(1);
    }
    CHECK_INT(ipc_mq_create(1, &queue), IPC_ERR_RESOURCE);
    CHECK(queue == NULL);
    ipc_mq_destroy();
    CHECK_INT(ipc_mq_create(1, &queue), IPC_SUCCESS);
    ipc_mq_destroy();
}

/* The record goes with what is queued; the node stays, and then carries none. */
static void record_is_destroyed_apart_from_its_node(void)
{
    mq_cb queue = new_queue(2);
    check_sent(queue, 10);
    CHECK_INT(mq_mgt_node_destroy(queue->data), IPC_SUCCESS);
    queue->data = NULL;
    ipc_mq_destroy();
    CHECK_INT(mq_mgt_node_destroy(NULL), IPC_SUCCESS);
}

/* ---- Threads ---- */

enum { MESSAGES = 500 };

static void *send_many(void *argument)
{
    mq_cb queue = argument;
    uintptr_t failures = 0;
    uint32_t i;
    for (i = 0; i < MESSAGES; ++i) {
        failures += ipc_mq_send(queue, new_message(i, 0), 0, FOR_EVER) != IPC_SUCCESS;
    }
    return (void *)failures;
}

/* With room for two, each of them has to wait for the other again and again. */
static void sender_and_receiver_wait_for_each_other(void)
{
    mq_cb queue = new_queue(2);
    pthread_t sender;
    void *failures = NULL;
    uint32_t i;
    REQUIRE(pthread_create(&sender, NULL, send_many, queue) == 0);
    for (i = 0; i < MESSAGES; ++i) {
        check_received(queue, FOR_EVER, i);
    }
    CHECK_INT(pthread_join(sender, &failures), 0);
    CHECK(failures == NULL);
    ipc_mq_destroy();
}

/* ---- Event loops ---- */

static void descriptor_is_readable_while_there_is_a_message(void)
{
    mq_cb queue = new_queue(4);
    int fd;
    check_sent(queue, 1);
    fd = ipc_mq_get_fd(queue);
    REQUIRE(fd >= 0);
    CHECK_INT(ipc_mq_get_fd(queue), fd);
    CHECK(is_readable(fd, 0));
    check_received(queue, 0, 1);
    CHECK(!is_readable(fd, 0));
    check_sent(queue, 2);
    check_sent(queue, 2);
    CHECK(is_readable(fd, 0));
    CHECK_INT(ipc_mq_remove(queue, 2), IPC_SUCCESS);
    CHECK(!is_readable(fd, 0));
    ipc_mq_destroy();
    CHECK_INT(fcntl(fd, F_GETFD), -1);
    CHECK_INT(ipc_mq_get_fd(NULL), -1);
    CHECK_INT(errno, EINVAL);
}

/* ---- Deadlines ---- */

static void deadline_drops_the_fraction_of_the_current_second(void)
{
    struct timeval before;
    struct timeval after;
    struct timespec deadline;
    gettimeofday(&before, NULL);
    mkcondtimeout(&deadline, 12345);
    gettimeofday(&after, NULL);
    CHECK(deadline.tv_sec >= before.tv_sec + 12 && deadline.tv_sec <= after.tv_sec + 12);
    CHECK_INT(deadline.tv_nsec, 345000000);
    mkcondtimeout(&deadline, 0);
    CHECK_INT(deadline.tv_nsec, 0);
}

int main(void)
{
    nothing_works_before_the_start();
    ipc_mq_init();
    ipc_mq_init();
    messages_come_out_in_the_order_they_went_in();
    full_queue_takes_no_more();
    empty_queue_has_none_to_give();
    bad_arguments_are_refused();
    messages_of_one_identifier_are_removed();
    usage_is_told_newest_queue_first();
    process_has_64_queues_at_most();
    record_is_destroyed_apart_from_its_node();
    sender_and_receiver_wait_for_each_other();
    descriptor_is_readable_while_there_is_a_message();
    deadline_drops_the_fraction_of_the_current_second();
    return check_end();
}
