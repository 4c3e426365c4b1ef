#include "support/by_hand.h"

#include "support/measure.h"

#include <chrono>
#include <cstring>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

namespace bench::by_hand {
namespace {

// Any datagram fits.
struct Room {
    Note note;
    char rest[IPC_MSG_MAX_SIZE - sizeof(Note)];
};

} // namespace

sockaddr_un address_of(const std::string &name)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path + 1, name.data(), name.size()); // in the abstract namespace
    return address;
}

int open_socket(const std::string &name)
{
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = address_of(name);
    require(fd >= 0 && bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0,
            "binding a socket");
    return fd;
}

void send(int fd, const sockaddr_un &to, const void *message, size_t size)
{
    require(sendto(fd, message, size, 0, reinterpret_cast<const sockaddr *>(&to), sizeof(to)) ==
                static_cast<ssize_t>(size),
            "sendto");
}

void receive(int fd, void *message, size_t size, sockaddr_un *sender)
{
    socklen_t sender_size = sizeof(*sender);
    require(recvfrom(fd, message, size, 0, reinterpret_cast<sockaddr *>(sender), &sender_size) > 0,
            "recvfrom");
}

void wait_for_datagram(int fd)
{
    int ready = 0;
    while (ready == 0) {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(fd, &readable);
        timeval timeout = {10, 0};
        ready = select(fd + 1, &readable, nullptr, nullptr, &timeout);
    }
    require(ready == 1, "select");
}

void serve(int fd)
{
    for (;;) {
        wait_for_datagram(fd);
        sockaddr_un sender;
        Room room;
        receive(fd, &room, sizeof(room), &sender);
        Note &note = room.note;
        ++note.value;
        send(fd, sender, &note, sizeof(note));
    }
}

void Client::start(const std::string &name)
{
    fd_ = open_socket(name);
    self_ = address_of(name);
    const auto receive_all = [](void *client) -> void * {
        static_cast<Client *>(client)->receive_all();
        return nullptr;
    };
    require(pthread_create(&receiver_, nullptr, receive_all, this) == 0, "starting a thread");
}

uint64_t Client::ask(const sockaddr_un &server, uint64_t value)
{
    std::unique_lock lock(mutex_);
    has_answer_ = false;
    const Note note = {{IPC_MSG_TYPE_REQUEST, 0, kNoteBody, 0}, value};
    send(fd_, server, &note, sizeof(note));
    const auto deadline = std::chrono::system_clock::now() + std::chrono::minutes(1);
    require(arrived_.wait_until(lock, deadline, [this] { return has_answer_; }), "an answer");
    return answer_;
}

void Client::stop()
{
    const Note note = {{IPC_MSG_TYPE_ASYNC, IPC_MSG_ID_STOP, kNoteBody, 0}, 0};
    send(fd_, self_, &note, sizeof(note));
    require(pthread_join(receiver_, nullptr) == 0, "joining a thread");
    close(fd_);
}

void Client::receive_all()
{
    for (;;) {
        wait_for_datagram(fd_);
        sockaddr_un sender;
        Room room;
        receive(fd_, &room, sizeof(room), &sender);
        const Note &note = room.note;
        if (note.header.msg_id == IPC_MSG_ID_STOP) {
            return;
        }
        {
            const std::lock_guard lock(mutex_);
            answer_ = note.value;
            has_answer_ = true;
        }
        arrived_.notify_one(); // when nothing is locked that the woken one needs
    }
}

} // namespace bench::by_hand
