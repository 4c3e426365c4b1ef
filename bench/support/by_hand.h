// Messages between processes as one would write them without the library: the same sockets, threads,
// calls and sizes.
#pragma once

#include "lc_ipc_msg.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <pthread.h>
#include <string>
#include <sys/un.h>

namespace bench {

// What the benchmarks send.
struct Note {
    ipc_msg_hdr header;
    uint64_t value;
};
constexpr uint32_t kNoteBody = sizeof(Note) - sizeof(ipc_msg_hdr);

namespace by_hand {

sockaddr_un address_of(const std::string &name);

// A datagram socket bound to the name.
int open_socket(const std::string &name);
void send(int fd, const sockaddr_un &to, const void *message, size_t size);
// Reads a datagram of at most that size.
void receive(int fd, void *message, size_t size, sockaddr_un *sender);
// In rounds of 10 seconds, like the library: to watch a time-out costs the kernel more than none.
void wait_for_datagram(int fd);

// Answers each note with one whose value is one more.
[[noreturn]] void serve(int fd);

// A socket, a thread that receives, and a condition variable to wake the one who asked.
class Client {
public:
    void start(const std::string &name);
    uint64_t ask(const sockaddr_un &server, uint64_t value);
    void stop();

private:
    void receive_all();

    int fd_ = -1;
    sockaddr_un self_ = {};
    pthread_t receiver_ = {};
    std::mutex mutex_;
    std::condition_variable arrived_;
    bool has_answer_ = false;
    uint64_t answer_ = 0;
};

} // namespace by_hand
} // namespace bench
