// A module of the router that does without the library: a datagram socket with the address of its
// choice, so that what it sends and receives is the wire format itself. AnsweringPeer has a thread that
// answers. Every wait ends in time.
#pragma once

#include "support/messages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <functional>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace testing_support {

inline constexpr char kMmName[] = "lc_socket_mm_common";
inline constexpr char kWmName[] = "lc_socket_wm_common";
inline constexpr char kWanManagerSocket[] = "lc_socket_mm_common";
inline constexpr char kSmsStoreSocket[] = "lc_socket_sms_pb_common";

// The per-process name under which the client's endpoint is bound.
inline std::string client_socket_name(pid_t pid)
{
    return "lc_socket_cli1_" + std::to_string(pid) + "_common";
}

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

inline bool same_address(const sockaddr_un &a, const sockaddr_un &b)
{
    return memcmp(&a, &b, sizeof(a)) == 0;
}

// A datagram taken apart.
struct WireMessage {
    ipc_msg_hdr header = {};
    Bytes body;
    sockaddr_un sender = {};

    uint32_t word(size_t index = 0) const
    {
        EXPECT_GE(body.size(), (index + 1) * sizeof(uint32_t));
        return word_at(body, index * sizeof(uint32_t));
    }
    std::string sender_name() const { return sender.sun_path + 1; }
};

class Peer {
public:
    // Without a name.
    Peer() : fd_(static_cast<int>(syscall(SYS_socket, AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))) {}
    explicit Peer(const std::string &name) : Peer(abstract_address(name), sizeof(sockaddr_un)) {}
    Peer(const sockaddr_un &address, size_t size) : Peer()
    {
        if (bind(fd_, reinterpret_cast<const sockaddr *>(&address), static_cast<socklen_t>(size)) !=
            0) {
            ADD_FAILURE() << "cannot bind " << address.sun_path + 1 << ": " << strerror(errno);
        }
    }
    ~Peer() { close(fd_); }
    Peer(const Peer &) = delete;
    Peer &operator=(const Peer &) = delete;

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
    // A message with the length of its body.
    void send(const sockaddr_un &to, ipc_msg_hdr header, const Bytes &body) const
    {
        header.length = static_cast<uint32_t>(body.size());
        send(to, datagram(header, body));
    }

    // The next datagram; empty when none comes in time.
    Bytes receive(int timeout_ms = 20000)
    {
        if (!comes(timeout_ms)) {
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
    // The same taken apart. False when nothing came in time or what came is no message.
    bool receive(WireMessage *message, int timeout_ms = 5000)
    {
        const Bytes bytes = receive(timeout_ms);
        if (bytes.size() < sizeof(ipc_msg_hdr)) {
            return false;
        }
        *message = {header_of(bytes), body_of(bytes), sender_};
        return message->header.length == message->body.size();
    }

    // A local datagram is there when the call that sent it has returned.
    bool has_nothing() const { return !comes(0); }

    // Answers what was received last, or a message.
    bool reply(const Bytes &bytes) const { return send(sender_, bytes); }
    void respond(const WireMessage &request, const Bytes &body) const
    {
        send(request.sender,
             {IPC_MSG_TYPE_RESPONSE, request.header.msg_id, 0, request.header.session_id}, body);
    }

    const sockaddr_un &sender() const { return sender_; }
    socklen_t sender_size() const { return sender_size_; }

private:
    bool comes(int timeout_ms) const
    {
        pollfd poller = {fd_, POLLIN, 0};
        return poll(&poller, 1, timeout_ms) == 1;
    }

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

// A peer, the WAN manager if no other, with a thread that answers every synchronous request:
// registrations with 0, the rest as `answer` says (null: not at all). Keeps what it received, which may
// be read after stop.
class AnsweringPeer {
public:
    using Answer = std::function<void(Peer &, const WireMessage &)>;

    explicit AnsweringPeer(Answer answer = nullptr, const std::string &name = kWanManagerSocket)
        : peer_(name), answer_(std::move(answer)), thread_([this] { serve(); })
    {
    }
    ~AnsweringPeer() { stop(); }
    AnsweringPeer(const AnsweringPeer &) = delete;
    AnsweringPeer &operator=(const AnsweringPeer &) = delete;

    // Ends the thread once all that was sent so far has been received.
    std::vector<WireMessage> &stop()
    {
        stopping_ = true;
        if (thread_.joinable()) {
            thread_.join();
        }
        return received_;
    }

private:
    void serve()
    {
        constexpr int kPollMs = 20;
        WireMessage message;
        for (;;) {
            const bool last = stopping_;
            while (peer_.receive(&message, last ? 0 : kPollMs)) {
                received_.push_back(message);
                react(message);
            }
            if (last) {
                return;
            }
        }
    }

    void react(const WireMessage &message)
    {
        if (message.header.msg_id == IPC_MSG_ID_REGISTER) {
            peer_.respond(message, word(0));
        } else if (message.header.type == IPC_MSG_TYPE_REQUEST && answer_ != nullptr) {
            answer_(peer_, message);
        }
    }

    Peer peer_;
    Answer answer_;
    std::atomic<bool> stopping_{false};
    std::vector<WireMessage> received_;
    std::thread thread_;
};

// So many datagrams the kernel puts into a socket that nobody reads.
inline size_t room_of_a_socket()
{
    size_t length = 0;
    std::ifstream("/proc/sys/net/unix/max_dgram_qlen") >> length;
    return length + 1;
}

} // namespace testing_support
