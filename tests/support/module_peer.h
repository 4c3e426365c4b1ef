// A module of the router as a plain socket, without the library: it sends and receives the wire format.
#pragma once

#include "lc_ipc_msg.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace testing_support {

inline constexpr char kWanManagerSocket[] = "lc_socket_mm_common";
inline constexpr char kSmsStoreSocket[] = "lc_socket_sms_pb_common";

// The per-process name under which the client's endpoint is bound.
inline std::string client_socket_name(pid_t pid)
{
    return "lc_socket_cli1_" + std::to_string(pid) + "_common";
}

inline sockaddr_un module_address(const std::string &name)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path + 1, name.data(), name.size());
    return address;
}

template <typename T> std::vector<uint8_t> bytes_of(const T &value)
{
    const auto *start = reinterpret_cast<const uint8_t *>(&value);
    return {start, start + sizeof(value)};
}

struct WireMessage {
    ipc_msg_hdr header = {};
    std::vector<uint8_t> body;
    sockaddr_un sender = {};

    uint32_t word(size_t index = 0) const
    {
        uint32_t value = 0;
        EXPECT_GE(body.size(), (index + 1) * sizeof(value));
        memcpy(&value, body.data() + index * sizeof(value), sizeof(value));
        return value;
    }
    std::string sender_name() const { return sender.sun_path + 1; }
};

class ModulePeer {
public:
    explicit ModulePeer(const std::string &name) : fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        const sockaddr_un address = module_address(name);
        if (bind(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0) {
            ADD_FAILURE() << "cannot bind " << name << ": " << strerror(errno);
        }
    }
    ~ModulePeer() { close(fd_); }
    ModulePeer(const ModulePeer &) = delete;
    ModulePeer &operator=(const ModulePeer &) = delete;

    // False when nothing came in time or what came is no message.
    bool receive(WireMessage *message, int timeout_ms = 5000)
    {
        pollfd readable = {fd_, POLLIN, 0};
        if (poll(&readable, 1, timeout_ms) != 1) {
            return false;
        }
        uint8_t bytes[2048];
        socklen_t size = sizeof(message->sender);
        const ssize_t length = recvfrom(fd_, bytes, sizeof(bytes), 0,
                                        reinterpret_cast<sockaddr *>(&message->sender), &size);
        if (length < static_cast<ssize_t>(sizeof(ipc_msg_hdr))) {
            return false;
        }
        memcpy(&message->header, bytes, sizeof(ipc_msg_hdr));
        message->body.assign(bytes + sizeof(ipc_msg_hdr), bytes + length);
        return message->header.length == message->body.size();
    }

    bool nothing_arrives(int timeout_ms = 100)
    {
        pollfd readable = {fd_, POLLIN, 0};
        return poll(&readable, 1, timeout_ms) == 0;
    }

    void send(const sockaddr_un &to, ipc_msg_hdr header, const std::vector<uint8_t> &body)
    {
        header.length = static_cast<uint32_t>(body.size());
        std::vector<uint8_t> bytes = bytes_of(header);
        bytes.insert(bytes.end(), body.begin(), body.end());
        sendto(fd_, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr *>(&to), sizeof(to));
    }

    void respond(const WireMessage &request, const std::vector<uint8_t> &body)
    {
        send(request.sender,
             {IPC_MSG_TYPE_RESPONSE, request.header.msg_id, 0, request.header.session_id}, body);
    }

private:
    int fd_;
};

// A module's socket with a thread that answers every synchronous request: registrations with 0, the
// rest as `answer` says (null: not at all). Keeps what it received, which may be read after stop.
class AnsweringPeer {
public:
    using Answer = std::function<void(ModulePeer &, const WireMessage &)>;

    explicit AnsweringPeer(const std::string &name, Answer answer = nullptr)
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
            peer_.respond(message, bytes_of(uint32_t{0}));
        } else if (message.header.type == IPC_MSG_TYPE_REQUEST && answer_ != nullptr) {
            answer_(peer_, message);
        }
    }

    ModulePeer peer_;
    Answer answer_;
    std::atomic<bool> stopping_{false};
    std::vector<WireMessage> received_;
    std::thread thread_;
};

class WanManagerPeer : public AnsweringPeer {
public:
    explicit WanManagerPeer(Answer answer = nullptr)
        : AnsweringPeer(kWanManagerSocket, std::move(answer))
    {
    }
};

} // namespace testing_support
