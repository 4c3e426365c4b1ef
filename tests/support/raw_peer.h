// A peer that does not use the library: a datagram socket with a chosen address. Its system calls
// bypass those that a test program interposes.
#pragma once

#include "support/messages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

namespace testing_support {

// The abstract name, padded with zeros over the whole path.
inline sockaddr_un abstract_address(const std::string &name)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path + 1, name.data(), std::min(name.size(), sizeof(address.sun_path) - 1));
    return address;
}

inline ipc_addr address_record(const std::string &name)
{
    ipc_addr record = {};
    record.sock = abstract_address(name);
    return record;
}

class RawPeer {
public:
    // Without a name.
    RawPeer() : fd_(static_cast<int>(syscall(SYS_socket, AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))) {}
    explicit RawPeer(const std::string &name) : RawPeer(abstract_address(name), sizeof(sockaddr_un)) {}
    RawPeer(const sockaddr_un &address, size_t size) : RawPeer()
    {
        if (bind(fd_, reinterpret_cast<const sockaddr *>(&address), static_cast<socklen_t>(size)) !=
            0) {
            ADD_FAILURE() << "cannot bind: " << strerror(errno);
        }
    }
    ~RawPeer() { close(fd_); }
    RawPeer(const RawPeer &) = delete;
    RawPeer &operator=(const RawPeer &) = delete;

    bool send(sockaddr_un to, Bytes bytes) const
    {
        iovec part = {bytes.data(), bytes.size()};
        const msghdr header = whole(&to, &part);
        return sendmsg(fd_, &header, 0) == static_cast<ssize_t>(bytes.size());
    }
    bool send(const std::string &to, const Bytes &bytes) const
    {
        return send(abstract_address(to), bytes);
    }

    // The next datagram; empty when none comes in time.
    Bytes receive(int timeout_ms = 20000)
    {
        pollfd poller = {fd_, POLLIN, 0};
        if (poll(&poller, 1, timeout_ms) != 1) {
            return {};
        }
        Bytes bytes(4096);
        iovec part = {bytes.data(), bytes.size()};
        msghdr header = whole(&sender_, &part);
        const ssize_t size = recvmsg(fd_, &header, 0);
        sender_size_ = header.msg_namelen;
        bytes.resize(size > 0 ? static_cast<size_t>(size) : 0);
        return bytes;
    }

    // Local datagrams are there when the sending call has returned.
    bool has_nothing()
    {
        pollfd poller = {fd_, POLLIN, 0};
        return poll(&poller, 1, 0) == 0;
    }

    // Answers what was received last.
    bool reply(const Bytes &bytes) const { return send(sender_, bytes); }

    const sockaddr_un &sender() const { return sender_; }
    socklen_t sender_size() const { return sender_size_; }

private:
    static msghdr whole(sockaddr_un *address, iovec *part)
    {
        msghdr header = {};
        header.msg_name = address;
        header.msg_namelen = sizeof(*address);
        header.msg_iov = part;
        header.msg_iovlen = 1;
        return header;
    }

    int fd_;
    sockaddr_un sender_ = {};
    socklen_t sender_size_ = 0;
};

// So many datagrams the kernel puts into a socket that nobody reads.
inline size_t room_of_a_socket()
{
    size_t length = 0;
    std::ifstream("/proc/sys/net/unix/max_dgram_qlen") >> length;
    return length + 1;
}

inline bool same_address(const sockaddr_un &a, const sockaddr_un &b)
{
    return memcmp(&a, &b, sizeof(a)) == 0;
}

} // namespace testing_support
