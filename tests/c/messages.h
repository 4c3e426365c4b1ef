/* Messages of the calling process, as modules make them. */
#ifndef MESSAGES_H
#define MESSAGES_H

#include "lc_ipc_msg.h"
#include "lc_mem.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* Asynchronous, with a session of its own and a body of zeros. */
static inline ipc_msg_hdr *new_message(uint32_t msg_id, uint32_t length)
{
    ipc_msg_hdr *const msg = ipc_memory_assign(length, IPC_MSG_TYPE_ASYNC);
    if (msg == NULL) {
        perror("message");
        abort();
    }
    memset(msg, 0, sizeof(*msg) + length);
    msg->msg_id = msg_id;
    msg->length = length;
    ipc_gen_seesion_id(msg);
    return msg;
}

static inline void free_message(ipc_msg_hdr *msg) { mem_free_ex(0, __LINE__, MEM_OWNER_IPC, msg); }

#endif
