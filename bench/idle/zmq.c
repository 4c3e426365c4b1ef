#include "idle.h"

#include <stdio.h>
#include <unistd.h>
#include <zmq.h>

// Whoever binds also starts the thread that receives.
bool become_reachable(void)
{
    char address[64];
    snprintf(address, sizeof(address), "ipc:///tmp/zmq.%ld", (long)getpid());
    void *context = zmq_ctx_new();
    void *socket = zmq_socket(context, ZMQ_DEALER);
    return socket != NULL && zmq_bind(socket, address) == 0;
}
