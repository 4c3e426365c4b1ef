/* A project that knows nothing of this one but its installed copy. */
#include <lc_ipc_mq.h>
#include <lc_mem.h>
#include <stdio.h>

int main(void)
{
    mq_cb queue;
    ipc_msg_hdr *message = mem_malloc_ex(0, __LINE__, MEM_OWNER_IPC, sizeof *message);
    if (!message)
        return 1;
    *message = (ipc_msg_hdr){.msg_id = 42};

    ipc_mq_init();
    if (ipc_mq_create(1, &queue) != IPC_SUCCESS || ipc_mq_send(queue, message, 0, 0) != IPC_SUCCESS ||
        ipc_mq_recv(queue, &message, 0) != IPC_SUCCESS)
        return 1;
    printf("message %u of an outside project\n", (unsigned)message->msg_id);

    mem_free_ex(0, __LINE__, MEM_OWNER_IPC, message);
    ipc_mq_destroy();
    return 0;
}
