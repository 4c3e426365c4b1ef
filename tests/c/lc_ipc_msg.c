/* The client's endpoint of this process against two others: a forked process with an endpoint of its
 * own, as the WAN manager (module 1), and a plain socket of this process, as module 0. */
#include "lc_ipc_msg.h"

#include "check.h"
#include "child.h"
#include "messages.h"
#include "milliseconds.h"
#include "plain_socket.h"

#include <signal.h>

#define ASK_ECHO 0x50000001u     /* the answer is the body */
#define ASK_NOTHING 0x50000002u  /* is not answered */
#define TELL_PUBLISH 0x50000003u /* publish the body as NEWS */
#define TELL_STOP 0x50000004u
#define TEXT 0x50000005u
#define UNWANTED 0x50000006u
#define NEWS 0x60000001u
#define REFUSED 0x60000002u

#define LONG 10000 /* milliseconds; for what must come */
#define SHORT 1    /* the deadline has passed: it loses the fraction of its second */
#define LIMIT 200
#define UNREAD 1000 /* more than any socket takes */

#define MANAGER "lc_socket_mm_common"
#define PLAIN "lc_socket_wm_common"

static ipc_addr manager;
static ipc_addr plain;
static ipc_addr self;
static mq_cb queue;
static int plain_fd;

static ipc_msg_hdr *text_message(uint32_t type, uint32_t msg_id, const char *text)
{
    ipc_msg_hdr *const msg = new_message(msg_id, (uint32_t)strlen(text));
    msg->type = type;
    memcpy(ipc_msg_body(msg), text, msg->length);
    return msg;
}

static int has_text(ipc_msg_hdr *msg, const char *text)
{
    return msg->length == strlen(text) && memcmp(ipc_msg_body(msg), text, msg->length) == 0;
}

/* ---- The other process ---- */

static uint32_t accepts(uint32_t notify_id) { return notify_id == NEWS; }

/* Turns a received message into what is sent for it, in its own buffer. */
static uint32_t serve(ipc_msg_hdr *msg)
{
    const ipc_addr sender = *ipc_msg_sender(msg);
    switch (msg->msg_id) {
    case ASK_ECHO:
        msg->type = IPC_MSG_TYPE_RESPONSE;
        return ipc_msg_send_asy(&sender, msg, msg->length);
    case TELL_PUBLISH:
        msg->msg_id = NEWS;
        return ipc_msg_notify(msg, msg->length);
    default:
        return IPC_SUCCESS;
    }
}

static int be_the_manager(int ready)
{
    ipc_msg_hdr *msg = NULL;
    uint32_t failures = 0;
    int stopping = 0;
    ipc_mq_init();
    if (ipc_mq_create(16, &queue) != IPC_SUCCESS ||
        ipc_msg_init(IPC_MODULE_MM, queue, NULL, accepts, 0) != IPC_SUCCESS || !tell_ready(ready)) {
        return 1;
    }
    while (!stopping && ipc_mq_recv(queue, &msg, -1) == IPC_SUCCESS) {
        failures += serve(msg) != IPC_SUCCESS;
        stopping = msg->msg_id == TELL_STOP;
        free_message(msg);
    }
    ipc_msg_fin();
    ipc_mq_destroy();
    return failures == 0 ? 0 : 2;
}

/* ---- Messages and addresses ---- */

static void message_has_room_for_header_and_body(void)
{
    ipc_msg_hdr *msg = ipc_memory_assign(100, IPC_MSG_TYPE_REQUEST);
    REQUIRE(msg != NULL);
    CHECK_INT(msg->type, IPC_MSG_TYPE_REQUEST);
    CHECK((uint8_t *)ipc_msg_body(msg) == (uint8_t *)msg + 16);
    CHECK(ipc_msg_get_body(msg) == ipc_msg_body(msg));
    memset(ipc_msg_body(msg), 'x', 100);
    free_message(msg);

    msg = ipc_memory_assign(4, IPC_MSG_TYPE_SHORT);
    REQUIRE(msg != NULL);
    CHECK((uint8_t *)ipc_msg_body(msg) == (uint8_t *)msg + 8);
    CHECK(ipc_msg_get_body(msg) == ipc_msg_body(msg));
    CHECK(ipc_msg_get_body(NULL) == NULL);
    CHECK(ipc_msg_get_sender(NULL) == NULL);
    free_message(msg);
    CHECK(ipc_memory_assign(UINT32_MAX, IPC_MSG_TYPE_ASYNC) == NULL);
}

static void session_ids_count_up_from_1(void)
{
    ipc_msg_hdr msg = {0, 10, 20, 0};
    ipc_gen_seesion_id(&msg);
    CHECK_INT(msg.session_id, 1);
    ipc_gen_seesion_id(&msg);
    CHECK_INT(msg.session_id, 2);
    CHECK(msg.type == 0 && msg.msg_id == 10 && msg.length == 20);
}

static void module_has_an_address(void)
{
    static const char *const names[] = {"wm", "mm", "cgi", "cli1", "cli1", "", "sms_pb", "uptest"};
    char name[64];
    struct sockaddr_un expected;
    ipc_addr addr;
    uint32_t i;
    CHECK_INT(sizeof(ipc_addr), 116);
    for (i = 0; i < IPC_MODULE_COUNT; ++i) {
        snprintf(name, sizeof(name), "lc_socket_%s_common", names[i]);
        expected = plain_address(name);
        memset(&addr, 0xFF, sizeof(addr));
        CHECK_INT(ipc_get_addr_by_id(i, IPC_PRIORITY_COMMON, &addr), IPC_SUCCESS);
        CHECK(same_address(&addr.sock, &expected));
        CHECK_INT(addr.priority, 0);
    }
    memset(&addr, 'x', sizeof(addr));
    CHECK_INT(ipc_get_addr_by_id(IPC_MODULE_COUNT, IPC_PRIORITY_COMMON, &addr), IPC_ERR_PARAM);
    CHECK_INT(ipc_get_addr_by_id(0, 1, &addr), IPC_ERR_PARAM);
    CHECK_INT(ipc_get_addr_by_id(0, IPC_PRIORITY_COMMON, NULL), IPC_ERR_PARAM);
    CHECK_INT(addr.sock.sun_path[0], 'x');
}

static void records_are_matched_by_their_first_word(void)
{
    const uint32_t records[] = {7, 8};
    const uint32_t other = 9;
    ipc_msg_hdr msg = {0, 0, 0, 7};
    CHECK_INT(msg_id_match(records, &msg), 0);
    CHECK_INT(msg_id_match(records + 1, &msg), 8);
    CHECK_INT(notify_id_match(records, records), 0);
    CHECK_INT(notify_id_match(records, &other), 8);
    CHECK_INT(reg_notify_node_destroy(NULL), 0);
}

/* ---- Start and end ---- */

static void nothing_is_sent_before_the_start(void)
{
    ipc_msg_hdr msg = {0, TEXT, 0, 1};
    char out[32];
    uint32_t room = 16;
    ipc_msg_fin();
    CHECK_INT(ipc_msg_send_asy(&manager, &msg, 0), IPC_ERR_NOT_INIT);
    CHECK_INT(ipc_msg_send_syn(&manager, &msg, 0, LONG, out, &room), IPC_ERR_NOT_INIT);
    CHECK_INT(ipc_register_notify(&manager, NEWS, LONG), IPC_ERR_NOT_INIT);
    CHECK_INT(ipc_deregister_notify(&manager, NEWS), IPC_ERR_NOT_INIT);
    CHECK_INT(ipc_msg_notify(&msg, 0), IPC_ERR_NOT_INIT);
    CHECK_INT(ipc_diag_msg_receive(out, &room, &self), IPC_ERR_NOT_INIT);
}

/* On the receive thread. Leaves the length that it is told in the message, for who takes it out of the
 * queue. */
static uint32_t wants(ipc_msg_hdr *msg, uint32_t len)
{
    const uint32_t wanted = msg->msg_id == TEXT || msg->msg_id == NEWS;
    if (wanted) {
        msg->session_id = len;
    }
    return wanted;
}

static void endpoint_starts_once(void)
{
    char name[64];
    CHECK_INT(ipc_msg_init(IPC_MODULE_COUNT, queue, wants, NULL, 0), IPC_ERR_PARAM);
    CHECK_INT(ipc_msg_init(IPC_MODULE_MM, queue, wants, NULL, 0), IPC_ERR_RESOURCE); /* is taken */
    REQUIRE(ipc_msg_init(IPC_MODULE_CLI1, queue, wants, NULL, 0) == IPC_SUCCESS);
    CHECK_INT(ipc_msg_init(IPC_MODULE_MM, NULL, NULL, NULL, 0), IPC_SUCCESS); /* changes nothing */
    snprintf(name, sizeof(name), "lc_socket_cli1_%lu_common", (unsigned long)getpid());
    memset(&self, 0, sizeof(self));
    self.sock = plain_address(name);
    CHECK_INT(open_socket(self.sock), -1);
}

static void name_is_free_after_the_end(void)
{
    ipc_msg_hdr msg = {0, TEXT, 0, 1};
    int fd;
    ipc_msg_fin();
    CHECK_INT(ipc_msg_send_asy(&manager, &msg, 0), IPC_ERR_NOT_INIT);
    fd = open_socket(self.sock);
    CHECK(fd >= 0);
    close(fd);
    CHECK_INT(ipc_msg_init(IPC_MODULE_CLI1, NULL, NULL, NULL, 0), IPC_SUCCESS);
    ipc_msg_fin();
}

/* ---- Asynchronous messages ---- */

static void check_arrives(uint32_t type, uint32_t arriving_type)
{
    ipc_msg_hdr *msg = text_message(type, TEXT, "some text");
    plain_message received;
    REQUIRE(msg != NULL);
    CHECK_INT(ipc_msg_send_asy(&plain, msg, msg->length), IPC_SUCCESS);
    REQUIRE(plain_receive(plain_fd, &received, LONG));
    CHECK_INT(received.header.type, arriving_type);
    CHECK_INT(received.header.msg_id, TEXT);
    CHECK_INT(received.header.session_id, msg->session_id);
    CHECK(has_text(&received.header, "some text"));
    CHECK(same_address(&received.sender, &self.sock));
    free_message(msg);
}

static void message_arrives_as_it_was_sent(void)
{
    check_arrives(IPC_MSG_TYPE_ASYNC, IPC_MSG_TYPE_ASYNC);
    check_arrives(IPC_MSG_TYPE_REQUEST, IPC_MSG_TYPE_ASYNC);
    check_arrives(IPC_MSG_TYPE_RESPONSE, IPC_MSG_TYPE_RESPONSE);
}

static void message_that_cannot_be_sent_is_refused(void)
{
    ipc_msg_hdr *msg = text_message(IPC_MSG_TYPE_ASYNC, TEXT, "text");
    ipc_addr nobody;
    REQUIRE(msg != NULL && ipc_get_addr_by_id(IPC_MODULE_UPTEST, 0, &nobody) == IPC_SUCCESS);
    CHECK_INT(ipc_msg_send_asy(NULL, msg, 4), IPC_ERR_PARAM);
    CHECK_INT(ipc_msg_send_asy(&plain, NULL, 4), IPC_ERR_PARAM);
    CHECK_INT(ipc_msg_send_asy(&plain, msg, 3), IPC_ERR_LENGTH);
    CHECK_INT(ipc_msg_send_asy(&nobody, msg, 4), IPC_ERR_SOCKET);
    CHECK(!is_readable(plain_fd, 0));
    free_message(msg);
}

static void plain_tells(uint32_t msg_id, const char *text)
{
    const ipc_msg_hdr header = {IPC_MSG_TYPE_ASYNC, msg_id, 0, 0};
    CHECK(plain_send_body(plain_fd, &self.sock, header, text, (uint32_t)strlen(text)));
}

static void check_queued(uint32_t msg_id, const char *text, const char *sender)
{
    const struct sockaddr_un expected = plain_address(sender);
    ipc_msg_hdr *msg = NULL;
    CHECK_INT(ipc_mq_recv(queue, &msg, LONG), IPC_SUCCESS);
    REQUIRE(msg != NULL);
    CHECK_INT(msg->msg_id, msg_id);
    CHECK(has_text(msg, text));
    CHECK_INT(msg->session_id, (strlen(text) + 3) / 4 * 4); /* see wants: up to the sender */
    CHECK(same_address(&ipc_msg_sender(msg)->sock, &expected));
    CHECK(ipc_msg_get_sender(msg) == ipc_msg_sender(msg));
    free_message(msg);
}

static void check_nothing_queued(void)
{
    ipc_msg_hdr *msg = NULL;
    CHECK_INT(ipc_mq_recv(queue, &msg, 0), IPC_ERR_EMPTY);
}

static void received_message_is_handled_and_queued_when_it_is_wanted(void)
{
    plain_tells(TEXT, "hello");
    check_queued(TEXT, "hello", PLAIN);
    plain_tells(UNWANTED, "not this");
    plain_tells(TEXT, "but this");
    check_queued(TEXT, "but this", PLAIN);
    check_nothing_queued();
}

static void plain_sends(const void *bytes, size_t size)
{
    const struct sockaddr *to = (const struct sockaddr *)&self.sock;
    CHECK_INT(sendto(plain_fd, bytes, size, 0, to, sizeof(self.sock)), size);
}

static void malformed_datagram_is_dropped(void)
{
    const ipc_msg_hdr wrong_length = {IPC_MSG_TYPE_ASYNC, TEXT, 5, 0};
    const ipc_msg_hdr foreign_stop = {IPC_MSG_TYPE_ASYNC, IPC_MSG_ID_STOP, 0, 0};
    plain_sends("short", 5);
    plain_sends(&wrong_length, 16);
    plain_sends(&foreign_stop, 16);
    plain_tells(TEXT, "well-formed");
    check_queued(TEXT, "well-formed", PLAIN);
    check_nothing_queued();
}

/* ---- Synchronous requests ---- */

typedef struct answer {
    ipc_msg_hdr header;
    char body[64];
    uint32_t length;
} answer;

static uint32_t ask(const ipc_addr *to, uint32_t msg_id, uint32_t timeout, uint32_t room, answer *out)
{
    ipc_msg_hdr *msg = text_message(IPC_MSG_TYPE_ASYNC, msg_id, "what is this?");
    uint32_t result;
    REQUIRE(msg != NULL);
    memset(out, 0, sizeof(*out));
    out->length = room;
    result = ipc_msg_send_syn(to, msg, msg->length, timeout, out, &out->length);
    if (result == IPC_SUCCESS) {
        CHECK_INT(out->header.session_id, msg->session_id);
    }
    free_message(msg);
    return result;
}

static void request_is_answered_by_another_process(void)
{
    answer out;
    CHECK_INT(ask(&manager, ASK_ECHO, LONG, sizeof(out.body), &out), IPC_SUCCESS);
    CHECK_INT(out.header.type, IPC_MSG_TYPE_RESPONSE);
    CHECK_INT(out.header.msg_id, ASK_ECHO);
    CHECK_INT(out.header.length, 13);
    CHECK_INT(out.length, 13);
    CHECK_TEXT(out.body, "what is this?");
}

static void answer_too_long_is_cut(void)
{
    answer out;
    CHECK_INT(ask(&manager, ASK_ECHO, LONG, 4, &out), IPC_ERR_TOO_SMALL);
    CHECK_INT(out.length, 4);
    CHECK_TEXT(out.body, "what");
}

static void request_without_an_answer_fails(void)
{
    answer out;
    ipc_addr nobody;
    CHECK_INT(ask(&manager, ASK_NOTHING, SHORT, 8, &out), IPC_ERR_TIMEOUT);
    CHECK_INT(out.length, 8);
    ipc_get_addr_by_id(IPC_MODULE_UPTEST, 0, &nobody);
    CHECK_INT(ask(&nobody, ASK_ECHO, LONG, 8, &out), IPC_ERR_SOCKET);
}

static void request_with_bad_arguments_is_refused(void)
{
    ipc_msg_hdr msg = {0, ASK_ECHO, 0, 1};
    answer out;
    uint32_t room = 8;
    CHECK_INT(ipc_msg_send_syn(NULL, &msg, 0, LONG, &out, &room), IPC_ERR_PARAM);
    CHECK_INT(ipc_msg_send_syn(&manager, NULL, 0, LONG, &out, &room), IPC_ERR_PARAM);
    CHECK_INT(ipc_msg_send_syn(&manager, &msg, 0, 0, &out, &room), IPC_ERR_PARAM);
    CHECK_INT(ipc_msg_send_syn(&manager, &msg, 0, LONG, NULL, &room), IPC_ERR_PARAM);
    CHECK_INT(ipc_msg_send_syn(&manager, &msg, 0, LONG, &out, NULL), IPC_ERR_PARAM);
    CHECK_INT(ipc_msg_send_syn(&manager, &msg, 1, LONG, &out, &room), IPC_ERR_LENGTH);
}

/* ---- A module that does not read ---- */

static void stopped_module_holds_up_nobody_longer_than_the_limit(pid_t module)
{
    ipc_msg_hdr *msg = text_message(IPC_MSG_TYPE_ASYNC, TEXT, "unread");
    uint32_t result = IPC_SUCCESS;
    int status;
    int sent;
    long start;
    answer out;
    ipc_msg_set_send_limit(LIMIT);
    REQUIRE(kill(module, SIGSTOP) == 0 && waitpid(module, &status, WUNTRACED) == module);
    for (sent = 0; sent < UNREAD && result == IPC_SUCCESS; ++sent) {
        start = milliseconds();
        result = ipc_msg_send_asy(&manager, msg, msg->length);
    }
    CHECK(milliseconds() - start >= LIMIT);
    CHECK_INT(result, IPC_ERR_SOCKET);
    CHECK(sent > 1);
    CHECK_INT(ask(&manager, ASK_ECHO, LONG, 8, &out), IPC_ERR_SOCKET);
    CHECK_INT(ask(&manager, ASK_ECHO, SHORT, 8, &out), IPC_ERR_TIMEOUT);
    CHECK_INT(ipc_register_notify(&manager, NEWS, LONG), IPC_ERR_SOCKET);
    CHECK_INT(ipc_deregister_notify(&manager, NEWS), IPC_ERR_SOCKET);

    ipc_msg_set_send_limit(LONG);
    REQUIRE(kill(module, SIGCONT) == 0);
    CHECK_INT(ask(&manager, ASK_ECHO, LONG, sizeof(out.body), &out), IPC_SUCCESS);
    CHECK_INT(out.length, 13);
    ipc_msg_set_send_limit(0);
    free_message(msg);
}

/* ---- Notifications ---- */

static void tell_manager(uint32_t msg_id, const char *text)
{
    ipc_msg_hdr *msg = text_message(IPC_MSG_TYPE_ASYNC, msg_id, text);
    CHECK_INT(ipc_msg_send_asy(&manager, msg, msg->length), IPC_SUCCESS);
    free_message(msg);
}

static void subscriber_is_notified_until_it_leaves(void)
{
    answer out;
    CHECK_INT(ipc_register_notify(&manager, NEWS, LONG), IPC_SUCCESS);
    CHECK_INT(ipc_register_notify(&manager, NEWS, LONG), IPC_SUCCESS);
    tell_manager(TELL_PUBLISH, "first");
    check_queued(NEWS, "first", MANAGER);
    CHECK_INT(ipc_deregister_notify(&manager, NEWS), IPC_SUCCESS);
    tell_manager(TELL_PUBLISH, "second");
    /* Once this is answered, what was published before it has arrived. */
    CHECK_INT(ask(&manager, ASK_ECHO, LONG, sizeof(out.body), &out), IPC_SUCCESS);
    check_nothing_queued();
}

static void subscription_fails(void)
{
    plain_message request;
    CHECK_INT(ipc_register_notify(&manager, REFUSED, LONG), IPC_ERR_REFUSED);
    CHECK_INT(ipc_register_notify(NULL, NEWS, LONG), IPC_ERR_PARAM);
    CHECK_INT(ipc_deregister_notify(NULL, NEWS), IPC_ERR_PARAM);
    CHECK_INT(ipc_register_notify(&plain, NEWS, SHORT), IPC_ERR_TIMEOUT);
    REQUIRE(plain_receive(plain_fd, &request, LONG));
    CHECK_INT(request.header.type, IPC_MSG_TYPE_REQUEST);
    CHECK_INT(request.header.msg_id, IPC_MSG_ID_REGISTER);
    CHECK_INT(request.header.length, 4);
    CHECK_INT(word_at(request.body, 0), NEWS);
}

static void publish(const char *text, uint32_t length)
{
    ipc_msg_hdr *msg = text_message(IPC_MSG_TYPE_ASYNC, NEWS, text);
    CHECK_INT(ipc_msg_notify(msg, length), IPC_SUCCESS);
    free_message(msg);
}

static void subscribers_of_this_process_are_notified(void)
{
    const ipc_msg_hdr registration = {IPC_MSG_TYPE_REQUEST, IPC_MSG_ID_REGISTER, 4, 77};
    const ipc_msg_hdr deregistration = {IPC_MSG_TYPE_ASYNC, IPC_MSG_ID_DEREGISTER, 4, 0};
    plain_message received;
    publish("to nobody", 9);
    CHECK(plain_send_word(plain_fd, &self.sock, registration, NEWS));
    REQUIRE(plain_receive(plain_fd, &received, LONG));
    CHECK_INT(received.header.type, IPC_MSG_TYPE_RESPONSE);
    CHECK_INT(received.header.msg_id, IPC_MSG_ID_REGISTER);
    CHECK_INT(received.header.length, 4);
    CHECK_INT(received.header.session_id, 77);
    CHECK_INT(word_at(received.body, 0), IPC_SUCCESS);

    publish("to you", 6);
    REQUIRE(plain_receive(plain_fd, &received, LONG));
    CHECK_INT(received.header.type, IPC_MSG_TYPE_ASYNC);
    CHECK_INT(received.header.msg_id, NEWS);
    CHECK(has_text(&received.header, "to you"));

    publish("of another length", 3); /* the single sends fail, which is not told */
    CHECK(plain_send_word(plain_fd, &self.sock, deregistration, NEWS));
    plain_tells(TEXT, "behind it");
    check_queued(TEXT, "behind it", PLAIN);
    publish("to nobody", 9);
    CHECK(!is_readable(plain_fd, 0));
    CHECK_INT(ipc_msg_notify(NULL, 0), IPC_ERR_PARAM);
}

/* ---- Diagnosis ---- */

static int held[2];
static int released[2];

/* On the receive thread, which does nothing else until it is released. */
static uint32_t hold(ipc_msg_hdr *msg, uint32_t len)
{
    char byte = 'x';
    (void)msg;
    (void)len;
    return write(held[1], &byte, 1) != 1 || read(released[0], &byte, 1) != 1;
}

static void datagram_is_read_past_the_receive_thread(void)
{
    const ipc_msg_hdr wrong_length = {IPC_MSG_TYPE_ASYNC, TEXT, 5, 0};
    answer out;
    ipc_addr sender;
    char byte = 'x';
    REQUIRE(pipe(held) == 0 && pipe(released) == 0);
    REQUIRE(ipc_msg_init(IPC_MODULE_CLI1, NULL, hold, NULL, 0) == IPC_SUCCESS);
    plain_tells(UNWANTED, "");
    REQUIRE(read(held[0], &byte, 1) == 1);

    plain_tells(TEXT, "hello");
    memset(&out, 0, sizeof(out));
    memset(&sender, 0xFF, sizeof(sender));
    out.length = sizeof(out.body);
    CHECK_INT(ipc_diag_msg_receive(&out, &out.length, &sender), IPC_SUCCESS);
    CHECK_INT(out.length, 5);
    CHECK_INT(out.header.msg_id, TEXT);
    CHECK_TEXT(out.body, "hello");
    CHECK_INT(sender.priority, 0);
    CHECK(same_address(&sender.sock, &plain.sock));

    plain_tells(TEXT, "0123456789");
    memset(&out, 0, sizeof(out));
    out.length = 4;
    CHECK_INT(ipc_diag_msg_receive(&out, &out.length, &sender), IPC_ERR_TOO_SMALL);
    CHECK_INT(out.length, 4);
    CHECK_TEXT(out.body, "0123");

    plain_sends(&wrong_length, 16);
    CHECK_INT(ipc_diag_msg_receive(&out, &out.length, &sender), IPC_ERR_LENGTH);
    CHECK_INT(out.length, 4);
    CHECK_TEXT(out.body, "0123");
    CHECK_INT(ipc_diag_msg_receive(NULL, &out.length, &sender), IPC_ERR_PARAM);
    CHECK_INT(ipc_diag_msg_receive(&out, NULL, &sender), IPC_ERR_PARAM);
    CHECK_INT(ipc_diag_msg_receive(&out, &out.length, NULL), IPC_ERR_PARAM);

    CHECK_INT(write(released[1], &byte, 1), 1);
    ipc_msg_fin();
    close(held[0]);
    close(held[1]);
    close(released[0]);
    close(released[1]);
}

int main(void)
{
    pid_t child;
    message_has_room_for_header_and_body();
    session_ids_count_up_from_1();
    module_has_an_address();
    records_are_matched_by_their_first_word();

    child = start_child(be_the_manager);
    plain_fd = open_socket(plain_address(PLAIN));
    REQUIRE(child > 0 && plain_fd >= 0);
    REQUIRE(ipc_get_addr_by_id(IPC_MODULE_MM, IPC_PRIORITY_COMMON, &manager) == IPC_SUCCESS);
    REQUIRE(ipc_get_addr_by_id(IPC_MODULE_WM, IPC_PRIORITY_COMMON, &plain) == IPC_SUCCESS);
    nothing_is_sent_before_the_start();
    ipc_mq_init();
    REQUIRE(ipc_mq_create(16, &queue) == IPC_SUCCESS);
    endpoint_starts_once();
    message_arrives_as_it_was_sent();
    message_that_cannot_be_sent_is_refused();
    received_message_is_handled_and_queued_when_it_is_wanted();
    malformed_datagram_is_dropped();
    request_is_answered_by_another_process();
    answer_too_long_is_cut();
    request_without_an_answer_fails();
    request_with_bad_arguments_is_refused();
    stopped_module_holds_up_nobody_longer_than_the_limit(child);
    subscriber_is_notified_until_it_leaves();
    subscription_fails();
    subscribers_of_this_process_are_notified();
    tell_manager(TELL_STOP, "");
    CHECK_INT(exit_status(child), 0);
    name_is_free_after_the_end();
    datagram_is_read_past_the_receive_thread();
    ipc_mq_destroy();
    close(plain_fd);
    return check_end();
}
