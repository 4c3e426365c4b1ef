/* Module 3 for the tests with strangers: takes one command a line and prints one result a line.
 *
 *   ask TIMEOUT_MS ROOM TEXT   synchronous request 0x50000001:  "RESULT LENGTH TEXT"
 *   ask_many COUNT             that many of them, one after the other: "FAILURES"
 *   tell TEXT                  asynchronous message 0x50000004: "RESULT"
 *   register ID / deregister ID                                 "RESULT" */
#include "lc_ipc_msg.h"
#include "lc_log.h"
#include "lc_mem.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define ASK_ECHO 0x50000001u
#define TELL_TEXT 0x50000004u

static ipc_addr server;

static ipc_msg_hdr *make(uint32_t msg_id, const char *text)
{
    const uint32_t length = (uint32_t)strlen(text);
    ipc_msg_hdr *msg = ipc_memory_assign(length, IPC_MSG_TYPE_ASYNC);
    if (msg == NULL) {
        exit(1);
    }
    memset(msg, 0, sizeof(*msg));
    msg->msg_id = msg_id;
    msg->length = length;
    ipc_gen_seesion_id(msg);
    memcpy(msg + 1, text, length);
    return msg;
}

static void drop(ipc_msg_hdr *msg) { mem_free_ex(0, __LINE__, MEM_OWNER_IPC, msg); }

static uint32_t ask(uint32_t timeout, char *out, uint32_t *room, const char *text)
{
    ipc_msg_hdr *msg = make(ASK_ECHO, text);
    const uint32_t result = ipc_msg_send_syn(&server, msg, msg->length, timeout, out, room);
    drop(msg);
    return result;
}

static void print_answer(uint32_t timeout, uint32_t room, const char *text)
{
    static char out[IPC_MSG_MAX_SIZE + 1];
    uint32_t length = room < IPC_MSG_MAX_BODY ? room : IPC_MSG_MAX_BODY;
    uint32_t result;
    memset(out, 0, sizeof(out));
    result = ask(timeout, out, &length, text);
    printf("%u %u %s\n", (unsigned)result, (unsigned)length, out + sizeof(ipc_msg_hdr));
}

static void print_failures(unsigned long count)
{
    char out[64];
    unsigned failures = 0;
    while (count-- > 0) {
        uint32_t room = 8;
        if (ask(10000, out, &room, "12345678") != IPC_SUCCESS || room != 8) {
            ++failures;
        }
    }
    printf("%u\n", failures);
}

static void print_told(const char *text)
{
    ipc_msg_hdr *msg = make(TELL_TEXT, text);
    msg->type = IPC_MSG_TYPE_REQUEST; /* arrives as type 0 all the same */
    printf("%u\n", (unsigned)ipc_msg_send_asy(&server, msg, msg->length));
    drop(msg);
}

int main(void)
{
    char line[2048];
    log_init(3);
    if (ipc_get_addr_by_id(IPC_MODULE_MM, IPC_PRIORITY_COMMON, &server) != IPC_SUCCESS ||
        ipc_msg_init(IPC_MODULE_CLI1, NULL, NULL, NULL, 0) != IPC_SUCCESS) {
        return 1;
    }
    while (fgets(line, sizeof(line), stdin) != NULL) {
        char text[2048] = "";
        unsigned a = 0;
        unsigned b = 0;
        if (sscanf(line, "ask %u %u %2047s", &a, &b, text) >= 2) {
            print_answer(a, b, text);
        } else if (sscanf(line, "ask_many %u", &a) == 1) {
            print_failures(a);
        } else if (sscanf(line, "tell %2047s", text) == 1) {
            print_told(text);
        } else if (sscanf(line, "register %x", &a) == 1) {
            printf("%u\n", (unsigned)ipc_register_notify(&server, a, 2000));
        } else if (sscanf(line, "deregister %x", &a) == 1) {
            printf("%u\n", (unsigned)ipc_deregister_notify(&server, a));
        }
        fflush(stdout);
    }
    ipc_msg_fin();
    return 0;
}
