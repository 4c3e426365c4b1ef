/* The client against a WAN manager: a forked process with a plain socket at its address, which answers
 * and publishes in the machine's own byte order. */
#include "lte_sdk.h"

#include "check.h"
#include "child.h"
#include "plain_socket.h"

/* What this manager can be asked beyond a real one. */
#define ASK_LAST_MESSAGE 0x50000001u  /* identifier, type and body of the last other message */
#define ASK_REGISTRATIONS 0x50000002u /* the identifiers registered for since the last time */
#define ASK_SUBSCRIBE 0x50000003u     /* registers with the client: what the client answers */
#define TELL_IFACE 0x50000004u        /* publish an interface status with this readiness */
#define TELL_ANSWER 0x50000005u       /* answer with this result, in a body of so many bytes */
#define TELL_STOP 0x50000006u
#define NEWS 0x60000001u

#define LONG 10000 /* milliseconds; for what must come */
#define TRACE_FILE "/tmp/ltelog.1"

/* ---- The WAN manager ---- */

static struct {
    int fd;
    uint32_t roaming;
    uint32_t result;
    uint32_t answer_size;
    uint32_t registrations[16];
    uint32_t registration_count;
    uint32_t last[2 + 16]; /* identifier, type, body */
    uint32_t last_size;
} wan;

static void respond(const plain_message *to, const void *body, uint32_t length)
{
    plain_message msg;
    msg.header = to->header;
    msg.header.type = IPC_MSG_TYPE_RESPONSE;
    msg.header.length = length;
    memcpy(msg.body, body, length);
    plain_send(wan.fd, &to->sender, &msg);
}

static void respond_with_result(const plain_message *to, uint32_t value)
{
    const uint32_t words[] = {wan.result, value};
    respond(to, words, wan.answer_size);
}

static void publish(const struct sockaddr_un *to, uint32_t msg_id, const void *body, uint32_t length)
{
    plain_message msg;
    memset(&msg.header, 0, sizeof(msg.header));
    msg.header.msg_id = msg_id;
    msg.header.length = length;
    memcpy(msg.body, body, length);
    plain_send(wan.fd, to, &msg);
}

static void publish_link(const struct sockaddr_un *to, uint32_t link_status)
{
    lct_link_status link;
    memset(&link, 0, sizeof(link));
    link.iface_type = LCT_IFACE_TYPE_WCDMA;
    link.link_status = link_status;
    link.ip_status = link_status == LCT_LINK_CONNECTED;
    strcpy(link.interface_name, "wwan0");
    strcpy(link.ip, "10.64.3.7");
    strcpy(link.gateway, "10.64.3.1");
    strcpy(link.dns1, "10.0.0.53");
    strcpy(link.dns2, "10.0.1.53");
    strcpy(link.mask, "255.255.255.0");
    publish(to, WM_MSG_LINK_STATUS_NOTIFY, &link, sizeof(link));
}

static void publish_iface(const struct sockaddr_un *to, uint32_t readiness)
{
    lct_iface_status iface;
    memset(&iface, 0, sizeof(iface));
    iface.readiness = readiness;
    publish(to, WM_MSG_IFACE_STATUS_NOTIFY, &iface, sizeof(iface));
}

/* 0xFFFFFFFF when the client does not answer. */
static uint32_t subscribe_at(const struct sockaddr_un *client)
{
    const ipc_msg_hdr registration = {IPC_MSG_TYPE_REQUEST, IPC_MSG_ID_REGISTER, 4, 99};
    plain_message msg;
    if (!plain_send_word(wan.fd, client, registration, NEWS) || !plain_receive(wan.fd, &msg, LONG) ||
        msg.header.type != IPC_MSG_TYPE_RESPONSE || msg.header.session_id != 99) {
        return UINT32_MAX;
    }
    return word_at(msg.body, 0);
}

static void note_registration(const plain_message *msg)
{
    const uint32_t accepted = 0;
    if (wan.registration_count < sizeof(wan.registrations) / sizeof(wan.registrations[0])) {
        wan.registrations[wan.registration_count++] = word_at(msg->body, 0);
    }
    respond(msg, &accepted, sizeof(accepted));
}

static void note_message(const plain_message *msg)
{
    uint32_t length = msg->header.length;
    if (length > sizeof(wan.last) - 8) {
        length = sizeof(wan.last) - 8;
    }
    wan.last[0] = msg->header.msg_id;
    wan.last[1] = msg->header.type;
    memcpy(wan.last + 2, msg->body, length);
    wan.last_size = 8 + length;
}

static void serve(const plain_message *msg)
{
    uint32_t word;
    switch (msg->header.msg_id) {
    case IPC_MSG_ID_REGISTER:
        note_registration(msg);
        break;
    case WM_MSG_ROAM_SWITCH_GET_REQ:
        respond_with_result(msg, wan.roaming);
        break;
    case WM_MSG_ROAM_SWITCH_SET_REQ:
        wan.roaming = word_at(msg->body, 0);
        respond(msg, &wan.result, sizeof(wan.result));
        break;
    case WM_MSG_CONNECT_REQ:
        note_message(msg);
        publish_link(&msg->sender, LCT_LINK_CONNECTED);
        break;
    case WM_MSG_DISCONNECT_REQ:
        note_message(msg);
        publish_link(&msg->sender, LCT_LINK_DISCONNECTED);
        break;
    case ASK_LAST_MESSAGE:
        respond(msg, wan.last, wan.last_size);
        break;
    case ASK_REGISTRATIONS:
        respond(msg, wan.registrations, wan.registration_count * 4);
        wan.registration_count = 0;
        break;
    case ASK_SUBSCRIBE:
        word = subscribe_at(&msg->sender);
        respond(msg, &word, sizeof(word));
        break;
    case TELL_IFACE:
        publish_iface(&msg->sender, word_at(msg->body, 0));
        break;
    case TELL_ANSWER:
        wan.result = word_at(msg->body, 0);
        wan.answer_size = word_at(msg->body, 1);
        break;
    default:
        note_message(msg);
        break;
    }
}

static int be_the_manager(int ready)
{
    plain_message msg;
    wan.answer_size = 8;
    wan.fd = open_socket(plain_address("lc_socket_mm_common"));
    if (wan.fd < 0 || !tell_ready(ready)) {
        return 1;
    }
    while (plain_receive(wan.fd, &msg, 2 * LONG)) {
        if (msg.header.msg_id == TELL_STOP) {
            return 0;
        }
        serve(&msg);
    }
    return 2;
}

/* ---- The host ---- */

/* The callback runs on the messaging receive thread, and passes what it is given on through a pipe. */
typedef struct passed_event {
    lct_event event;
    union {
        lct_link_status link;
        lct_iface_status iface;
    } body;
} passed_event;

static int events[2];

static uint32_t pass_on(const lct_event *event)
{
    passed_event passed;
    memset(&passed, 0, sizeof(passed));
    passed.event = *event;
    if (event->len <= sizeof(passed.body)) {
        memcpy(&passed.body, event->data, event->len);
    }
    return write(events[1], &passed, sizeof(passed)) == sizeof(passed) ? 0 : 1;
}

static const lct_config config = {{0}, pass_on};

static const passed_event *next_event(void)
{
    static passed_event passed;
    REQUIRE(is_readable(events[0], LONG));
    REQUIRE(read(events[0], &passed, sizeof(passed)) == sizeof(passed));
    return &passed;
}

static void check_link_event(uint32_t link_status, uint32_t ip_status)
{
    const passed_event *passed = next_event();
    CHECK_INT(passed->event.event, LCT_EVENT_LINK_STATUS);
    CHECK_INT(passed->event.len, LCT_LINK_BODY_SIZE);
    CHECK_INT(passed->event.reserved, 0);
    CHECK_INT(passed->body.link.iface_type, LCT_IFACE_TYPE_WCDMA);
    CHECK_INT(passed->body.link.link_status, link_status);
    CHECK_INT(passed->body.link.ip_status, ip_status);
    CHECK_TEXT(passed->body.link.interface_name, "wwan0");
    CHECK_TEXT(passed->body.link.ip, "10.64.3.7");
    CHECK_TEXT(passed->body.link.gateway, "10.64.3.1");
    CHECK_TEXT(passed->body.link.dns1, "10.0.0.53");
    CHECK_TEXT(passed->body.link.dns2, "10.0.1.53");
    CHECK_TEXT(passed->body.link.mask, "255.255.255.0");
}

static uint32_t ask(uint32_t msg_id, void *rsp, uint32_t *room)
{
    return send_request_syn(IPC_MODULE_MM, msg_id, NULL, 0, LONG, rsp, room);
}

static void check_last_message(uint32_t msg_id, const void *body, uint32_t length)
{
    uint32_t words[32] = {0};
    uint32_t size = sizeof(words);
    CHECK_INT(ask(ASK_LAST_MESSAGE, words, &size), 1);
    CHECK_INT(size, 8 + length);
    CHECK_INT(words[0], msg_id);
    CHECK_INT(words[1], IPC_MSG_TYPE_ASYNC);
    CHECK(memcmp(words + 2, body, length) == 0);
}

static void check_registrations(void)
{
    uint32_t ids[16] = {0};
    uint32_t size = sizeof(ids);
    CHECK_INT(ask(ASK_REGISTRATIONS, ids, &size), 1);
    CHECK_INT(size, 3 * 4);
    CHECK_INT(ids[0], WM_MSG_IFACE_STATUS_NOTIFY);
    CHECK_INT(ids[1], WM_MSG_LINK_STATUS_NOTIFY);
    CHECK_INT(ids[2], WM_MSG_MODEM_NOTIFY);
}

static void tell_answer(uint32_t result, uint32_t size)
{
    const uint32_t words[] = {result, size};
    CHECK_INT(send_request(IPC_MODULE_MM, TELL_ANSWER, words, sizeof(words)), 1);
}

/* ---- Without a WAN manager ---- */

static void check_nothing_is_delivered(void)
{
    uint32_t value = 1;
    uint32_t rsp = 42;
    uint32_t size = sizeof(rsp);
    lct_value_rsp out = {0, 0};
    CHECK_INT(send_request(IPC_MODULE_MM, NEWS, &value, sizeof(value)), 0);
    CHECK_INT(ask(ASK_LAST_MESSAGE, &rsp, &size), 0);
    CHECK(rsp == 42 && size == sizeof(rsp));
    CHECK_INT(lct_get_roam_switch(&out), -1);
    CHECK_INT(lct_set_roam_switch(&value), -1);
    CHECK_INT(lct_connect(), 0);
    CHECK_INT(lct_disconnect(), 0);
}

static void nothing_is_delivered_before_the_start(void)
{
    CHECK_INT(lct_module_init(NULL), -1);
    check_nothing_is_delivered();
    CHECK_INT(send_notify(NEWS, NULL, 0), 0);
    CHECK_INT(lct_module_fin(), 0);
}

static void client_starts_without_a_manager(void)
{
    CHECK_INT(lct_module_init(&config), 0);
    check_nothing_is_delivered();
    regnotify();
    CHECK_INT(lct_module_fin(), 0);
}

/* ---- With it ---- */

static void client_subscribes_at_its_start_and_again_on_demand(void)
{
    REQUIRE(lct_module_init(&config) == 0);
    check_registrations();
    regnotify();
    check_registrations();
}

static void connection_is_asked_for_and_its_outcome_told(void)
{
    CHECK_INT(lct_connect(), 0);
    check_link_event(LCT_LINK_CONNECTED, 1);
    check_last_message(WM_MSG_CONNECT_REQ, "", 0);
    CHECK_INT(lct_disconnect(), 0);
    check_link_event(LCT_LINK_DISCONNECTED, 0);
    check_last_message(WM_MSG_DISCONNECT_REQ, "", 0);
}

static void interface_status_is_told(void)
{
    const uint32_t ready = 1;
    const passed_event *passed;
    CHECK_INT(send_request(IPC_MODULE_MM, TELL_IFACE, &ready, sizeof(ready)), 1);
    passed = next_event();
    CHECK_INT(passed->event.event, LCT_EVENT_IFACE_STATUS);
    CHECK_INT(passed->event.len, LCT_IFACE_BODY_SIZE);
    CHECK_INT(passed->body.iface.readiness, ready);
}

static void message_is_sent_with_its_body(void)
{
    const uint32_t words[] = {0x01020304u, 5};
    CHECK_INT(send_request(IPC_MODULE_MM, NEWS, words, sizeof(words)), 1);
    check_last_message(NEWS, words, sizeof(words));
    CHECK_INT(send_request(IPC_MODULE_UPTEST, NEWS, words, sizeof(words)), 0); /* nobody there */
    CHECK_INT(send_request(IPC_MODULE_COUNT, NEWS, words, sizeof(words)), 0);
}

static void response_is_cut_to_the_room_for_it(void)
{
    const uint32_t words[] = {0x01020304u, 5};
    uint32_t rsp[2] = {0, 42};
    uint32_t size = 4;
    CHECK_INT(send_request(IPC_MODULE_MM, NEWS, words, sizeof(words)), 1);
    CHECK_INT(ask(ASK_LAST_MESSAGE, rsp, &size), 0);
    CHECK_INT(rsp[0], NEWS);
    CHECK_INT(rsp[1], 42);
    CHECK_INT(send_request_syn(IPC_MODULE_COUNT, NEWS, NULL, 0, LONG, rsp, &size), 0);
}

static void notification_reaches_its_subscriber(void)
{
    static const char text[] = "modem is warm";
    uint32_t result = UINT32_MAX;
    uint32_t size = sizeof(result);
    CHECK_INT(ask(ASK_SUBSCRIBE, &result, &size), 1);
    CHECK_INT(result, IPC_SUCCESS);
    CHECK_INT(send_notify(NEWS, text, sizeof(text)), 1);
    check_last_message(NEWS, text, sizeof(text));
    CHECK_INT(send_notify(NEWS + 1, text, sizeof(text)), 1); /* published, to nobody */
    check_last_message(NEWS, text, sizeof(text));
}

static void check_roaming(uint32_t value)
{
    lct_value_rsp out = {-1, UINT32_MAX};
    CHECK_INT(lct_set_roam_switch(&value), 0);
    CHECK_INT(lct_get_roam_switch(&out), 0);
    CHECK_INT(out.result, 0);
    CHECK_INT(out.value, value);
}

static void roaming_is_switched(void)
{
    check_roaming(1);
    check_roaming(0);
}

static void answer_that_is_no_success_fails_the_request(void)
{
    const uint32_t value = 1;
    lct_value_rsp out;
    char trace[4096];
    FILE *file;
    tell_answer(7, 8);
    CHECK_INT(lct_get_roam_switch(&out), -1);
    CHECK_INT(lct_set_roam_switch(&value), -1);
    tell_answer(0, 4); /* a value is missing */
    CHECK_INT(lct_get_roam_switch(&out), -1);
    tell_answer(0, 8);
    CHECK_INT(lct_get_roam_switch(&out), 0);

    file = fopen(TRACE_FILE, "r");
    REQUIRE(file != NULL);
    trace[fread(trace, 1, sizeof(trace) - 1, file)] = '\0';
    fclose(file);
    CHECK(strstr(trace, "]result error.\n") != NULL);
}

static void nothing_is_left_after_the_end(void)
{
    ipc_mq_usg usage;
    uint32_t queues = 1;
    CHECK_INT(lct_module_fin(), 0);
    CHECK_INT(ipc_mq_usg_state(&usage, &queues), IPC_SUCCESS);
    CHECK_INT(queues, 0);
    check_nothing_is_delivered();
    CHECK(!is_readable(events[0], 0));
}

int main(void)
{
    pid_t manager;
    REQUIRE(pipe(events) == 0);
    nothing_is_delivered_before_the_start();
    client_starts_without_a_manager();

    manager = start_child(be_the_manager);
    REQUIRE(manager > 0);
    client_subscribes_at_its_start_and_again_on_demand();
    connection_is_asked_for_and_its_outcome_told();
    interface_status_is_told();
    message_is_sent_with_its_body();
    response_is_cut_to_the_room_for_it();
    notification_reaches_its_subscriber();
    roaming_is_switched();
    answer_that_is_no_success_fails_the_request();
    CHECK_INT(send_request(IPC_MODULE_MM, TELL_STOP, NULL, 0), 1);
    CHECK_INT(exit_status(manager), 0);
    nothing_is_left_after_the_end();
    return check_end();
}
