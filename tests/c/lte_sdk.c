/* The client against a WAN manager: a forked process with a plain socket at its address, which answers
 * and publishes in the machine's own byte order. */
#include "lte_sdk.h"

#include "module.h"

/* What this manager can be asked beyond others. The client itself does: it is whom the manager
 * publishes to and registers with. */
#define ASK_REGISTRATIONS 0x50000011u   /* the identifiers registered for since the last time */
#define ASK_SUBSCRIBE 0x50000012u       /* registers with the client: what the client answers */
#define TELL_IFACE 0x50000013u          /* publish an interface status with this readiness */
#define ASK_DEREGISTRATIONS 0x50000014u /* the same of those taken back */

/* ---- The WAN manager ---- */

typedef struct noted {
    uint32_t ids[16];
    uint32_t count;
} noted;

static noted registrations, deregistrations;

static void publish(const struct sockaddr_un *to, uint32_t msg_id, const void *body, uint32_t length)
{
    const ipc_msg_hdr header = {IPC_MSG_TYPE_ASYNC, msg_id, 0, 0};
    plain_send_body(module.fd, to, header, body, length);
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
    if (!plain_send_word(module.fd, client, registration, NEWS) ||
        !plain_receive(module.fd, &msg, LONG) || msg.header.type != IPC_MSG_TYPE_RESPONSE ||
        msg.header.session_id != 99) {
        return UINT32_MAX;
    }
    return word_at(msg.body, 0);
}

static void note(noted *list, const plain_message *msg)
{
    if (list->count < sizeof(list->ids) / sizeof(list->ids[0])) {
        list->ids[list->count++] = word_at(msg->body, 0);
    }
}

static void tell_noted(noted *list, const plain_message *msg)
{
    respond(msg, list->ids, list->count * 4);
    list->count = 0;
}

static int serve_own(const plain_message *msg)
{
    const uint32_t accepted = 0;
    uint32_t word;
    switch (msg->header.msg_id) {
    case IPC_MSG_ID_REGISTER:
        note(&registrations, msg);
        respond(msg, &accepted, sizeof(accepted));
        return 1;
    case IPC_MSG_ID_DEREGISTER:
        note(&deregistrations, msg);
        return 1;
    case WM_MSG_CONNECT_REQ:
        note_message(msg);
        publish_link(&msg->sender, LCT_LINK_CONNECTED);
        return 1;
    case WM_MSG_DISCONNECT_REQ:
        note_message(msg);
        publish_link(&msg->sender, LCT_LINK_DISCONNECTED);
        return 1;
    case ASK_REGISTRATIONS:
        tell_noted(&registrations, msg);
        return 1;
    case ASK_DEREGISTRATIONS:
        tell_noted(&deregistrations, msg);
        return 1;
    case ASK_SUBSCRIBE:
        word = subscribe_at(&msg->sender);
        respond(msg, &word, sizeof(word));
        return 1;
    case TELL_IFACE:
        publish_iface(&msg->sender, word_at(msg->body, 0));
        return 1;
    default:
        return 0;
    }
}

static int be_the_manager(int ready) { return be_module(WAN_MANAGER, ready, serve_own); }

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

static void check_told(uint32_t msg_id, const void *body, uint32_t length)
{
    check_last_message(WAN_MANAGER, msg_id, IPC_MSG_TYPE_ASYNC, body, length);
}

/* All three notifications, in order. */
static void check_noted(uint32_t question)
{
    uint32_t ids[16] = {0};
    uint32_t size = sizeof(ids);
    CHECK_INT(ask(question, ids, &size), 1);
    CHECK_INT(size, 3 * 4);
    CHECK_INT(ids[0], WM_MSG_IFACE_STATUS_NOTIFY);
    CHECK_INT(ids[1], WM_MSG_LINK_STATUS_NOTIFY);
    CHECK_INT(ids[2], WM_MSG_MODEM_NOTIFY);
}

/* ---- Without a WAN manager ---- */

static void check_nothing_is_delivered(void)
{
    uint32_t value = 1;
    uint32_t rsp = 42;
    uint32_t size = sizeof(rsp);
    CHECK_INT(send_request(IPC_MODULE_MM, NEWS, &value, sizeof(value)), 0);
    CHECK_INT(ask(ASK_LAST_MESSAGE, &rsp, &size), 0);
    CHECK(rsp == 42 && size == sizeof(rsp));
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
    lct_deregister();
    CHECK_INT(lct_module_fin(), 0);
}

/* ---- With it ---- */

static void client_subscribes_at_its_start_and_again_on_demand(void)
{
    REQUIRE(lct_module_init(&config) == 0);
    check_noted(ASK_REGISTRATIONS);
    regnotify();
    check_noted(ASK_REGISTRATIONS);
}

static void client_takes_its_subscriptions_back(void)
{
    lct_deregister();
    check_noted(ASK_DEREGISTRATIONS);
}

static void connection_is_asked_for_and_its_outcome_told(void)
{
    CHECK_INT(lct_connect(), 0);
    check_link_event(LCT_LINK_CONNECTED, 1);
    check_told(WM_MSG_CONNECT_REQ, "", 0);
    CHECK_INT(lct_disconnect(), 0);
    check_link_event(LCT_LINK_DISCONNECTED, 0);
    check_told(WM_MSG_DISCONNECT_REQ, "", 0);
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
    check_told(NEWS, words, sizeof(words));
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
    check_told(NEWS, text, sizeof(text));
    CHECK_INT(send_notify(NEWS + 1, text, sizeof(text)), 1); /* published, to nobody */
    check_told(NEWS, text, sizeof(text));
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
    client_takes_its_subscriptions_back();
    stop_module(WAN_MANAGER, manager);
    nothing_is_left_after_the_end();
    return check_end();
}
