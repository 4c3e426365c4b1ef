/* Module 1 for the tests with strangers: a plain C program on the exported interface.
 * It answers what it is asked, publishes what it is told to, and can say how many bytes it holds. */
#include "lc_ipc_msg.h"
#include "lc_log.h"
#include "lc_mem.h"

#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>
#ifdef __GLIBC__
#include <malloc.h>
#endif

#define ASK_ECHO 0x50000001u     /* synchronous: the answer is the body */
#define TELL_PUBLISH 0x50000002u /* asynchronous: publish the body as the notification NOTIFY_ID */
#define ASK_HEAP 0x50000003u /* synchronous: the answer is the number of allocated bytes, if known */
#define NOTIFY_ID 0x60000001u

static mq_cb queue;

static uint32_t wanted(ipc_msg_hdr *msg, uint32_t len)
{
    (void)len;
    return msg->msg_id == ASK_ECHO || msg->msg_id == TELL_PUBLISH || msg->msg_id == ASK_HEAP;
}

static uint32_t accepts(uint32_t notify_id) { return notify_id == NOTIFY_ID; }

static void send_copy(const ipc_addr *to, const ipc_msg_hdr *header, const void *body)
{
    ipc_msg_hdr *msg = ipc_memory_assign(header->length, IPC_MSG_TYPE_ASYNC);
    if (msg == NULL) {
        return;
    }
    *msg = *header;
    memcpy(msg + 1, body, header->length);
    if (to != NULL) {
        ipc_msg_send_asy(to, msg, msg->length);
    } else {
        ipc_msg_notify(msg, msg->length);
    }
    mem_free_ex(0, __LINE__, MEM_OWNER_IPC, msg);
}

static void answer(ipc_msg_hdr *request, const void *body, uint32_t length)
{
    const ipc_msg_hdr header = {IPC_MSG_TYPE_RESPONSE, request->msg_id, length, request->session_id};
    send_copy(ipc_msg_sender(request), &header, body);
}

static void answer_heap(ipc_msg_hdr *request)
{
#ifdef __GLIBC__
    const uint64_t bytes = (uint64_t)mallinfo2().uordblks;
    answer(request, &bytes, (uint32_t)sizeof(bytes));
#else
    answer(request, "", 0); /* small C libraries keep no account */
#endif
}

static void serve(ipc_msg_hdr *msg)
{
    if (msg->msg_id == ASK_ECHO) {
        answer(msg, msg + 1, msg->length);
    } else if (msg->msg_id == TELL_PUBLISH) {
        const ipc_msg_hdr header = {IPC_MSG_TYPE_ASYNC, NOTIFY_ID, msg->length, 0};
        send_copy(NULL, &header, msg + 1);
    } else {
        answer_heap(msg);
    }
}

static volatile sig_atomic_t stopping;

static void stop(int sig)
{
    (void)sig;
    stopping = 1;
}

int main(void)
{
    ipc_msg_hdr *msg;
    log_init(3);
    signal(SIGTERM, stop);
    ipc_mq_init();
    if (ipc_mq_create(0, &queue) != IPC_SUCCESS ||
        ipc_msg_init(IPC_MODULE_MM, queue, wanted, accepts, 0) != IPC_SUCCESS) {
        return 1;
    }
    puts("ready");
    fflush(stdout);
    while (!stopping) {
        if (ipc_mq_recv(queue, &msg, 2000) == IPC_SUCCESS) {
            serve(msg);
            mem_free_ex(0, __LINE__, MEM_OWNER_IPC, msg);
        }
    }
    ipc_msg_fin();
    ipc_mq_destroy();
    puts("stopped");
    return 0;
}
