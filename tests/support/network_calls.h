// Interposes the system calls of the network helpers: records their arguments and makes them fail. For
// programs that are linked with the shared library.
#pragma once

#include "support/interpose.h"

#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <fcntl.h>
#include <net/if.h>
#include <net/route.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <vector>

namespace testing_support {

struct NetworkCalls {
    // Each fails the next call with this error number, once; 0 fails none.
    struct Failures {
        int socket;
        int setsockopt;
        int sendto;
        int select;
        int recv;
        int ioctl;
        int system;
    } fail = {};

    bool interfaces_are_hidden = false; // from if_nametoindex

    int socket_domain = 0;
    int socket_type = 0;
    int socket_protocol = 0;
    bool closed_on_exec = false; // the socket that was last used
    int option_level = 0;
    int option = 0;
    int option_value = 0;
    std::vector<std::vector<uint8_t>> sent;
    std::vector<uint8_t> address; // that the last was sent to
    timeval patience = {};
    size_t receive_size = 0;
    unsigned long request = 0;
    int ioctls = 0;
    rtentry route = {};
    ifreq interface = {}; // as the last of the other requests had it
    std::string command;  // of the last system
};

inline NetworkCalls &g_network_calls = kept<NetworkCalls>();

inline void note_use(int fd)
{
    g_network_calls.closed_on_exec = (fcntl(fd, F_GETFD) & FD_CLOEXEC) != 0;
}

inline bool takes_place(int &failure)
{
    if (failure == 0) {
        return true;
    }
    errno = failure;
    failure = 0;
    return false;
}

} // namespace testing_support

extern "C" {

TAKES_OVER int socket(int domain, int type, int protocol) noexcept
{
    using namespace testing_support;
    g_network_calls.socket_domain = domain;
    g_network_calls.socket_type = type;
    g_network_calls.socket_protocol = protocol;
    return takes_place(g_network_calls.fail.socket)
               ? next_definition<int(int, int, int)>("socket")(domain, type, protocol)
               : -1;
}

TAKES_OVER int setsockopt(int fd, int level, int option, const void *value, socklen_t size) noexcept
{
    using namespace testing_support;
    note_use(fd);
    g_network_calls.option_level = level;
    g_network_calls.option = option;
    g_network_calls.option_value = size == sizeof(int) ? *static_cast<const int *>(value) : -1;
    return takes_place(g_network_calls.fail.setsockopt)
               ? next_definition<int(int, int, int, const void *, socklen_t)>("setsockopt")(
                     fd, level, option, value, size)
               : -1;
}

TAKES_OVER ssize_t sendto(int fd, const void *buffer, size_t size, int flags, const sockaddr *address,
                          socklen_t address_size)
{
    using namespace testing_support;
    const auto *bytes = static_cast<const uint8_t *>(buffer);
    const auto *address_bytes = reinterpret_cast<const uint8_t *>(address);
    g_network_calls.sent.emplace_back(bytes, bytes + size);
    g_network_calls.address.assign(address_bytes, address_bytes + address_size);
    return takes_place(g_network_calls.fail.sendto)
               ? next_definition<ssize_t(int, const void *, size_t, int, const sockaddr *, socklen_t)>(
                     "sendto")(fd, buffer, size, flags, address, address_size)
               : -1;
}

TAKES_OVER int select(int count, fd_set *readable, fd_set *writable, fd_set *exceptional,
                      timeval *timeout)
{
    using namespace testing_support;
    g_network_calls.patience = *timeout;
    return takes_place(g_network_calls.fail.select)
               ? next_definition<int(int, fd_set *, fd_set *, fd_set *, timeval *)>("select")(
                     count, readable, writable, exceptional, timeout)
               : -1;
}

TAKES_OVER ssize_t recv(int fd, void *buffer, size_t size, int flags)
{
    using namespace testing_support;
    g_network_calls.receive_size = size;
    return takes_place(g_network_calls.fail.recv)
               ? next_definition<ssize_t(int, void *, size_t, int)>("recv")(fd, buffer, size, flags)
               : -1;
}

TAKES_OVER int ioctl(int fd, unsigned long request, ...) noexcept
{
    using namespace testing_support;
    va_list arguments;
    va_start(arguments, request);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    note_use(fd);
    ++g_network_calls.ioctls;
    g_network_calls.request = request;
    if (request == SIOCADDRT || request == SIOCDELRT) {
        g_network_calls.route = *static_cast<const rtentry *>(argument);
    } else {
        g_network_calls.interface = *static_cast<const ifreq *>(argument);
    }
    return takes_place(g_network_calls.fail.ioctl)
               ? next_definition<int(int, unsigned long, ...)>("ioctl")(fd, request, argument)
               : -1;
}

TAKES_OVER unsigned if_nametoindex(const char *name) noexcept
{
    using namespace testing_support;
    return g_network_calls.interfaces_are_hidden
               ? 0
               : next_definition<unsigned(const char *)>("if_nametoindex")(name);
}

TAKES_OVER int system(const char *command)
{
    using namespace testing_support;
    g_network_calls.command = command;
    return takes_place(g_network_calls.fail.system)
               ? next_definition<int(const char *)>("system")(command)
               : -1;
}

} // extern "C"
