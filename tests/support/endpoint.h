// The endpoint of the test's own process.
#pragma once

#include "lc_ipc_msg.h"
#include "support/call_notes.h"
#include "support/peer.h"
#include "support/queues.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

namespace testing_support {

struct EndpointOptions {
    uint32_t module_id = IPC_MODULE_MM;
    ipc_msg_handler_fn handler = nullptr;
    ipc_reg_check_fn reg_check = nullptr;
    bool with_queue = true;
    uint32_t capacity = 64;
};

// A started endpoint with a shared name, which stops with its scope.
class Endpoint {
public:
    explicit Endpoint(const EndpointOptions &options = {})
        : queue(options.with_queue ? new_queue(options.capacity) : nullptr)
    {
        EXPECT_EQ(ipc_msg_init(options.module_id, queue, options.handler, options.reg_check, 0),
                  IPC_SUCCESS);
    }
    ~Endpoint() { stop(); }
    Endpoint(const Endpoint &) = delete;
    Endpoint &operator=(const Endpoint &) = delete;

    static void stop()
    {
        ipc_msg_fin();
        ipc_mq_destroy();
    }

    const mq_cb queue;
};

// Sends to an endpoint that has nothing to do, and returns when it has nothing to do again: normally
// after one round.
inline void deliver(const Peer &peer, const std::string &to, const Bytes &bytes, int rounds = 1)
{
    ASSERT_TRUE(until_rounds(1));
    const int before = calls::select.made;
    ASSERT_TRUE(peer.send(to, bytes));
    ASSERT_TRUE(until_rounds(before + rounds));
}

// The path column of /proc/net/unix for a name that fills its path with zeros: those show as "@" too.
inline std::string shown_socket(const std::string &name)
{
    std::string shown = "@" + name;
    shown.resize(sizeof(sockaddr_un::sun_path), '@');
    return shown;
}

// The names of this system that are bound, as the kernel shows them.
inline std::vector<std::string> bound_sockets()
{
    std::vector<std::string> names;
    std::ifstream table("/proc/net/unix");
    for (std::string line; std::getline(table, line);) {
        const size_t name = line.find("@lc_socket");
        if (name != std::string::npos) {
            names.push_back(line.substr(name));
        }
    }
    return names;
}

inline size_t entries_of(const char *directory)
{
    const std::filesystem::directory_iterator entries(directory);
    return static_cast<size_t>(std::distance(begin(entries), end(entries)));
}
inline size_t open_descriptors() { return entries_of("/proc/self/fd"); }

// A sanitizer adds a thread of its own to the first that a program starts; so that it is counted from
// the beginning, one comes and goes here.
inline size_t running_threads()
{
    static const bool started = [] {
        std::string entry;
        std::thread([&entry] { entry = "/proc/self/task/" + std::to_string(gettid()); }).join();
        return eventually([&entry] { return !std::filesystem::exists(entry); });
    }();
    return started ? entries_of("/proc/self/task") : 0;
}

// A request for the registry of an endpoint, as a subscriber sends it.
inline Bytes register_request(uint32_t notify_id, uint32_t session_id, uint32_t type = 1)
{
    return datagram({type, IPC_MSG_ID_REGISTER, 4, session_id}, word(notify_id));
}
inline Bytes deregister_request(uint32_t notify_id)
{
    return datagram({IPC_MSG_TYPE_ASYNC, IPC_MSG_ID_DEREGISTER, 4, 0}, word(notify_id));
}

} // namespace testing_support
