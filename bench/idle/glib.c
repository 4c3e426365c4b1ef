#include "idle.h"

#include <glib-unix.h>
#include <stdio.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

static gboolean on_datagram(gint socket, GIOCondition condition, gpointer data)
{
    (void)socket;
    (void)condition;
    (void)data;
    return G_SOURCE_CONTINUE;
}

// GLib itself has no sockets: it is its main loop that waits for them.
bool become_reachable(void)
{
    struct sockaddr_un address = {.sun_family = AF_UNIX};
    snprintf(address.sun_path, sizeof(address.sun_path), "/tmp/glib.%ld", (long)getpid());
    const int endpoint = socket(AF_UNIX, SOCK_DGRAM, 0);
    return bind(endpoint, (const struct sockaddr *)&address, sizeof(address)) == 0 &&
           g_unix_fd_add(endpoint, G_IO_IN, on_datagram, NULL) != 0 &&
           !g_main_context_iteration(NULL, FALSE);
}
