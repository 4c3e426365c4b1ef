// Sockets that programs started from here do not inherit.
#pragma once

#include <fcntl.h>
#include <sys/socket.h>

namespace lterouter {

// As socket. Close-on-exec is set afterwards, since kernels before 2.6.27 take no flag in the type. A
// socket for which that fails is used all the same.
inline int open_socket(int domain, int type, int protocol)
{
    const int fd = socket(domain, type, protocol);
    if (fd >= 0) {
        fcntl(fd, F_SETFD, FD_CLOEXEC);
    }
    return fd;
}

} // namespace lterouter
