// Interposes the socket calls of an endpoint: records their arguments and makes them fail. For programs
// that are linked with the shared library.
#pragma once

#include "support/eventually.h"
#include "support/interpose.h"
#include "support/raw_peer.h"

#include <atomic>
#include <cerrno>
#include <functional>
#include <mutex>
#include <sys/select.h>
#include <sys/socket.h>
#include <vector>

namespace testing_support {

// Fails the n-th call from now on, once, with an error number of its own.
class CallFault {
public:
    void fail_nth(int n, int error)
    {
        error_ = error;
        fail_in_ = n;
    }
    bool fails()
    {
        if (fail_in_ <= 0 || --fail_in_ != 0) {
            return false;
        }
        errno = error_;
        return true;
    }

private:
    std::atomic<int> fail_in_{0};
    std::atomic<int> error_{0};
};

struct SentDatagram {
    int fd;
    Bytes bytes;
    int flags;
    Bytes address;
};

struct SocketCalls {
    CallFault socket;
    CallFault bind;
    CallFault sendto;
    CallFault recvfrom;
    CallFault select;
    std::atomic<int> select_timeouts{0}; // so many rounds of waiting end at once, with nothing to read

    std::atomic<int> last_socket{-1}; // the endpoint's
    std::atomic<int> socket_domain{-1};
    std::atomic<int> socket_type{-1};
    std::atomic<int> socket_protocol{-1};
    std::atomic<socklen_t> bind_size{0};
    std::atomic<size_t> receive_size{0};
    std::atomic<socklen_t> receive_address_size{0};
    std::atomic<long> select_seconds{-1};
    std::atomic<long> select_microseconds{-1};
    std::atomic<int> select_calls{0};

    // The receive thread begins one round per datagram, and sleeps in the last.
    bool until_rounds(int count)
    {
        return eventually([this, count] { return select_calls >= count; });
    }

    std::function<int(int)> replace_socket; // what a call of socket gives instead; set while alone
    std::function<void()> after_send;       // set while no other thread sends

    void note_sent(SentDatagram sent)
    {
        const std::lock_guard guard(mutex_);
        sent_.push_back(std::move(sent));
    }
    // What was sent, successfully or not, since the last call.
    std::vector<SentDatagram> take_sent()
    {
        const std::lock_guard guard(mutex_);
        std::vector<SentDatagram> result;
        result.swap(sent_);
        return result;
    }

private:
    std::mutex mutex_;
    std::vector<SentDatagram> sent_;
};

inline SocketCalls &g_socket_calls = kept<SocketCalls>();

// Sends to an endpoint that has nothing to do, and returns when it has nothing to do again: normally
// after one round.
inline void deliver(const RawPeer &peer, const std::string &to, const Bytes &bytes, int rounds = 1)
{
    ASSERT_TRUE(g_socket_calls.until_rounds(1));
    const int before = g_socket_calls.select_calls;
    ASSERT_TRUE(peer.send(to, bytes));
    ASSERT_TRUE(g_socket_calls.until_rounds(before + rounds));
}

} // namespace testing_support

extern "C" {

TAKES_OVER int socket(int domain, int type, int protocol) noexcept
{
    using namespace testing_support;
    g_socket_calls.socket_domain = domain;
    g_socket_calls.socket_type = type;
    g_socket_calls.socket_protocol = protocol;
    if (g_socket_calls.socket.fails()) {
        return -1;
    }
    int fd = next_definition<int(int, int, int)>("socket")(domain, type, protocol);
    if (g_socket_calls.replace_socket) {
        fd = g_socket_calls.replace_socket(fd);
    }
    g_socket_calls.last_socket = fd;
    return fd;
}

TAKES_OVER int bind(int fd, const sockaddr *address, socklen_t size) noexcept
{
    using namespace testing_support;
    g_socket_calls.bind_size = size;
    if (g_socket_calls.bind.fails()) {
        return -1;
    }
    return next_definition<int(int, const sockaddr *, socklen_t)>("bind")(fd, address, size);
}

TAKES_OVER ssize_t sendto(int fd, const void *buffer, size_t size, int flags, const sockaddr *address,
                          socklen_t address_size)
{
    using namespace testing_support;
    const auto *bytes = static_cast<const uint8_t *>(buffer);
    const auto *address_bytes = reinterpret_cast<const uint8_t *>(address);
    g_socket_calls.note_sent(
        {fd, Bytes(bytes, bytes + size), flags, Bytes(address_bytes, address_bytes + address_size)});
    if (g_socket_calls.sendto.fails()) {
        return -1;
    }
    static auto *const real =
        next_definition<ssize_t(int, const void *, size_t, int, const sockaddr *, socklen_t)>("sendto");
    const ssize_t result = real(fd, buffer, size, flags, address, address_size);
    const int error = errno;
    if (g_socket_calls.after_send) {
        g_socket_calls.after_send();
    }
    errno = error;
    return result;
}

TAKES_OVER ssize_t recvfrom(int fd, void *buffer, size_t size, int flags, sockaddr *address,
                            socklen_t *address_size)
{
    using namespace testing_support;
    static auto *const real =
        next_definition<ssize_t(int, void *, size_t, int, sockaddr *, socklen_t *)>("recvfrom");
    if (fd == g_socket_calls.last_socket) {
        g_socket_calls.receive_size = size;
        g_socket_calls.receive_address_size = *address_size;
        if (g_socket_calls.recvfrom.fails()) {
            // The datagram is consumed, so that the failure is one.
            const int error = errno;
            real(fd, buffer, size, flags, address, address_size);
            errno = error;
            return -1;
        }
    }
    return real(fd, buffer, size, flags, address, address_size);
}

TAKES_OVER int select(int count, fd_set *readable, fd_set *writable, fd_set *exceptional,
                      timeval *timeout)
{
    using namespace testing_support;
    g_socket_calls.select_seconds = timeout->tv_sec;
    g_socket_calls.select_microseconds = timeout->tv_usec;
    ++g_socket_calls.select_calls;
    if (g_socket_calls.select.fails()) {
        return -1;
    }
    if (g_socket_calls.select_timeouts > 0) {
        --g_socket_calls.select_timeouts;
        *timeout = {0, 0};
        return 0;
    }
    static auto *const real =
        next_definition<int(int, fd_set *, fd_set *, fd_set *, timeval *)>("select");
    return real(count, readable, writable, exceptional, timeout);
}

} // extern "C"
