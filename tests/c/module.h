/* A module of the router in a process of its own, with a plain socket at its address: it gives a chosen
 * answer to every request, and stores the last message. A test controls it over a plain socket too, so
 * that nothing depends on the code under test. */
#ifndef MODULE_H
#define MODULE_H

#include "check.h"
#include "child.h"
#include "lte_sdk.h"
#include "plain_socket.h"

#define TELL_ANSWER 0x50000001u      /* the body of every answer from now on; at first one word, 0 */
#define ASK_LAST_MESSAGE 0x50000002u /* identifier, type and body of the last other message */
#define TELL_STOP 0x50000003u
#define NEWS 0x60000001u /* a message that means nothing */

#define LONG 10000 /* milliseconds; for what must come */

#define WAN_MANAGER "lc_socket_mm_common"
#define SMS_STORE "lc_socket_sms_pb_common"

/* ---- The module ---- */

static struct {
    int fd;
    uint8_t answer[IPC_MSG_MAX_BODY];
    uint32_t answer_size;
    uint8_t last[IPC_MSG_MAX_BODY];
    uint32_t last_size;
} module = {-1, {0}, 4, {0}, 0};

static inline void respond(const plain_message *to, const void *body, uint32_t length)
{
    ipc_msg_hdr header = to->header;
    header.type = IPC_MSG_TYPE_RESPONSE;
    plain_send_body(module.fd, &to->sender, header, body, length);
}

static inline void note_message(const plain_message *msg)
{
    const uint32_t words[] = {msg->header.msg_id, msg->header.type};
    const uint32_t room = sizeof(module.last) - sizeof(words);
    const uint32_t length = msg->header.length < room ? msg->header.length : room;
    memcpy(module.last, words, sizeof(words));
    memcpy(module.last + sizeof(words), msg->body, length);
    module.last_size = (uint32_t)sizeof(words) + length;
}

static inline void serve(const plain_message *msg)
{
    switch (msg->header.msg_id) {
    case TELL_ANSWER:
        memcpy(module.answer, msg->body, msg->header.length);
        module.answer_size = msg->header.length;
        break;
    case ASK_LAST_MESSAGE:
        respond(msg, module.last, module.last_size);
        break;
    default:
        note_message(msg);
        if (msg->header.type == IPC_MSG_TYPE_REQUEST) {
            respond(msg, module.answer, module.answer_size);
        }
        break;
    }
}

/* For start_child. serve_own: deals with what this module does otherwise, and tells whether it has; or
 * NULL. */
static inline int be_module(const char *name, int ready, int (*serve_own)(const plain_message *msg))
{
    plain_message msg;
    module.fd = open_socket(plain_address(name));
    if (module.fd < 0 || !tell_ready(ready)) {
        return 1;
    }
    while (plain_receive(module.fd, &msg, 2 * LONG)) {
        if (msg.header.msg_id == TELL_STOP) {
            return 0;
        }
        if (serve_own == NULL || !serve_own(&msg)) {
            serve(&msg);
        }
    }
    return 2;
}

/* ---- Those who tell and ask it ---- */

static inline int control_socket(void)
{
    static int fd = -1;
    if (fd < 0) {
        fd = open_socket(plain_address("lc_socket_cgi_common"));
        REQUIRE(fd >= 0);
    }
    return fd;
}

static inline void tell(const char *name, uint32_t msg_id, const void *body, uint32_t length)
{
    const struct sockaddr_un address = plain_address(name);
    const ipc_msg_hdr header = {IPC_MSG_TYPE_ASYNC, msg_id, 0, 0};
    CHECK(plain_send_body(control_socket(), &address, header, body, length));
}

static inline void check_last_message(const char *name, uint32_t msg_id, uint32_t type,
                                      const void *body, uint32_t length)
{
    const uint32_t words[] = {msg_id, type};
    plain_message msg;
    tell(name, ASK_LAST_MESSAGE, NULL, 0);
    REQUIRE(plain_receive(control_socket(), &msg, LONG));
    CHECK_INT(msg.header.length, sizeof(words) + length);
    CHECK_INT(word_at(msg.body, 0), msg_id);
    CHECK_INT(word_at(msg.body, 1), type);
    CHECK(memcmp(msg.body + sizeof(words), body, length) == 0);
}

static inline void stop_module(const char *name, pid_t pid)
{
    tell(name, TELL_STOP, NULL, 0);
    CHECK_INT(exit_status(pid), 0);
}

#endif
