// A publisher and 32 subscribers, each a process of its own, all with the library on their side.

#include "support/child_process.h"
#include "support/endpoint.h"
#include "support/eventually.h"

#include <array>

namespace fan_out_test {

using namespace testing_support;

namespace {

constexpr uint32_t kSubscribers = 32;
constexpr uint32_t kTopic = 20;
constexpr int32_t kMinute = 60000;

struct Pipe {
    std::array<int, 2> ends{-1, -1};

    Pipe()
    {
        if (pipe(ends.data()) != 0) {
            ADD_FAILURE() << "cannot make a pipe";
        }
    }
    ~Pipe()
    {
        close(ends[0]);
        close(ends[1]);
    }
    Pipe(const Pipe &) = delete;
    Pipe &operator=(const Pipe &) = delete;

    bool put() const { return write(ends[1], "x", 1) == 1; }
    bool get() const
    {
        char byte;
        return read(ends[0], &byte, 1) == 1;
    }
};

// One subscriber's life. Registered, it says so; notified twice, it leaves; its status tells what went
// wrong.
int subscriber(const Pipe &start, const Pipe &registered)
{
    start.get();
    const mq_cb queue = new_queue(8);
    ipc_addr publisher;
    if (ipc_get_addr_by_id(IPC_MODULE_MM, 0, &publisher) != IPC_SUCCESS ||
        ipc_msg_init(IPC_MODULE_CLI1, queue, nullptr, nullptr, 0) != IPC_SUCCESS) {
        return 1;
    }
    if (ipc_register_notify(&publisher, kTopic, kMinute) != IPC_SUCCESS) {
        return 2;
    }
    registered.put();
    for (uint32_t i = 0; i < 2; ++i) {
        const MessagePtr msg = take(queue, kMinute);
        if (msg == nullptr || message_bytes(*msg) != datagram({0, kTopic, 4, 0}, word(i))) {
            return 3;
        }
    }
    if (ipc_deregister_notify(&publisher, kTopic) != IPC_SUCCESS) {
        return 4;
    }
    const bool nothing_more = take(queue) == nullptr;
    ipc_msg_fin();
    ipc_mq_destroy();
    return nothing_more ? 0 : 5;
}

void notify(uint32_t number)
{
    const MessagePtr msg = make_message(kTopic, word(number));
    EXPECT_EQ(ipc_msg_notify(msg.get(), 4), IPC_SUCCESS);
}

} // namespace

TEST(FanOut, reaches_each_of_32_processes_once_though_one_of_them_is_dead)
{
    const Pipe start;
    const Pipe registered;
    std::vector<ChildProcess> children;
    for (uint32_t i = 0; i < kSubscribers; ++i) {
        children.emplace_back([&] { return subscriber(start, registered); });
    }
    const Endpoint publisher;
    for (uint32_t i = 0; i < kSubscribers; ++i) {
        ASSERT_TRUE(start.put());
    }
    for (uint32_t i = 0; i < kSubscribers; ++i) {
        ASSERT_TRUE(registered.get());
    }
    EXPECT_EQ(bound_sockets().size(), kSubscribers + 1);

    ChildProcess &dead = children[kSubscribers / 2];
    ASSERT_EQ(kill(dead.pid(), SIGKILL), 0);
    EXPECT_TRUE(WIFSIGNALED(dead.wait()));
    notify(0);
    notify(1);
    for (ChildProcess &child : children) {
        if (&child != &dead) {
            EXPECT_EQ(child.wait(), 0);
        }
    }
    // Those that are left have deregistered themselves: nobody is there to hear this.
    notify(2);
}

} // namespace fan_out_test
