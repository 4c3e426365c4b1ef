// What the library asked the system for, about sockets and interfaces: the arguments of the last call
// of each kind.
#pragma once

#include "support/bytes.h"
#include "support/calls.h"
#include "support/eventually.h"
#include "support/pattern.h"
#include "support/text_file.h"

#include <fcntl.h>
#include <mutex>
#include <net/if.h>
#include <net/route.h>
#include <string>
#include <sys/ioctl.h>
#include <utility>
#include <vector>

namespace testing_support {

struct SentDatagram {
    int fd;
    Bytes bytes;
    int flags;
    Bytes address;
};

struct CallNotes {
    int socket_domain = -1;
    int socket_type = -1;
    int socket_protocol = -1;
    int last_socket = -1; // what the library was given
    socklen_t bind_size = 0;
    bool closed_on_exec =
        false; // the socket whose options were set or that an interface was asked about by
    int option_level = 0;
    int option = 0;
    int option_value = 0;
    std::vector<SentDatagram> sent; // or not, when it failed
    timeval patience = {-1, -1};    // of select
    size_t receive_size = 0;
    socklen_t receive_address_size = 0; // 0 for a call that takes none
    int ioctls = 0;
    unsigned long request = 0;
    rtentry route = {};
    ifreq interface = {}; // as the last of the other requests had it
    std::string command;
};

class NotedCalls {
public:
    NotedCalls()
    {
        calls::socket.add([this](auto &next, int domain, int type, int protocol) {
            const int fd = next(domain, type, protocol);
            return note(fd, [=](CallNotes &notes) {
                notes.socket_domain = domain;
                notes.socket_type = type;
                notes.socket_protocol = protocol;
                notes.last_socket = fd;
            });
        });
        calls::bind.add([this](auto &next, int fd, const sockaddr *address, socklen_t size) {
            note(0, [=](CallNotes &notes) { notes.bind_size = size; });
            return next(fd, address, size);
        });
        calls::setsockopt.add(
            [this](auto &next, int fd, int level, int option, const void *value, socklen_t size) {
                note(0, [=](CallNotes &notes) {
                    notes.closed_on_exec = is_closed_on_exec(fd);
                    notes.option_level = level;
                    notes.option = option;
                    notes.option_value = size == sizeof(int) ? *static_cast<const int *>(value) : -1;
                });
                return next(fd, level, option, value, size);
            });
        calls::sendto.add([this](auto &next, int fd, const void *bytes, size_t size, int flags,
                                 const sockaddr *address, socklen_t address_size) {
            note(0, [=](CallNotes &notes) {
                const auto *begin = static_cast<const uint8_t *>(bytes);
                const auto *to = reinterpret_cast<const uint8_t *>(address);
                notes.sent.push_back(
                    {fd, Bytes(begin, begin + size), flags, Bytes(to, to + address_size)});
            });
            return next(fd, bytes, size, flags, address, address_size);
        });
        calls::recvfrom.add([this](auto &next, int fd, void *bytes, size_t size, int flags,
                                   sockaddr *address, socklen_t *address_size) {
            const socklen_t room = *address_size;
            note(0, [=](CallNotes &notes) {
                notes.receive_size = size;
                notes.receive_address_size = room;
            });
            const ssize_t result = next(fd, bytes, size, flags, address, address_size);
            if (result < 0) {
                // The datagram is consumed, so that the failure is one.
                const int error = errno;
                calls::recvfrom.real(fd, bytes, size, flags | MSG_DONTWAIT, address, address_size);
                *address_size = room;
                errno = error;
            }
            return result;
        });
        calls::recv.add([this](auto &next, int fd, void *bytes, size_t size, int flags) {
            note(0, [=](CallNotes &notes) { notes.receive_size = size; });
            return next(fd, bytes, size, flags);
        });
        calls::select.add([this](auto &next, int count, fd_set *readable, fd_set *writable,
                                 fd_set *exceptional, timeval *timeout) {
            note(0, [=](CallNotes &notes) { notes.patience = *timeout; });
            return next(count, readable, writable, exceptional, timeout);
        });
        calls::ioctl.add([this](auto &next, int fd, unsigned long request, void *argument) {
            note(0, [=](CallNotes &notes) {
                notes.closed_on_exec = is_closed_on_exec(fd);
                ++notes.ioctls;
                notes.request = request;
                if (request == SIOCADDRT || request == SIOCDELRT) {
                    notes.route = *static_cast<const rtentry *>(argument);
                } else {
                    notes.interface = *static_cast<const ifreq *>(argument);
                }
            });
            return next(fd, request, argument);
        });
        calls::system.add([this](auto &next, const char *command) {
            note(0, [=](CallNotes &notes) { notes.command = command; });
            return next(command);
        });
    }

    CallNotes look()
    {
        const std::lock_guard guard(mutex_);
        return notes_;
    }
    void forget()
    {
        const std::lock_guard guard(mutex_);
        notes_ = {};
    }
    // What was sent since the last call.
    std::vector<SentDatagram> take_sent()
    {
        const std::lock_guard guard(mutex_);
        return std::exchange(notes_.sent, {});
    }

private:
    static bool is_closed_on_exec(int fd) { return (::fcntl(fd, F_GETFD) & FD_CLOEXEC) != 0; }

    // Gives the result, and leaves errno as it is.
    template <typename Note> int note(int result, Note note)
    {
        const int error = errno;
        {
            const std::lock_guard guard(mutex_);
            note(notes_);
        }
        errno = error;
        return result;
    }

    std::mutex mutex_;
    CallNotes notes_;
};

inline NotedCalls &g_noted_calls = kept<NotedCalls>();

inline CallNotes notes() { return g_noted_calls.look(); }
inline std::vector<SentDatagram> take_sent() { return g_noted_calls.take_sent(); }

// Calls are noted anew; what is opened while it lives must be closed again.
class NothingLeftOpen {
public:
    NothingLeftOpen() { g_noted_calls.forget(); }
    ~NothingLeftOpen() { EXPECT_EQ(count_descriptors(), before_) << "left open"; }
    NothingLeftOpen(const NothingLeftOpen &) = delete;
    NothingLeftOpen &operator=(const NothingLeftOpen &) = delete;

private:
    const int before_ = count_descriptors();
};

// The receive thread begins one round of waiting per datagram, and sleeps in the last.
inline bool until_rounds(int count)
{
    return eventually([count] { return calls::select.made >= count; });
}

} // namespace testing_support
