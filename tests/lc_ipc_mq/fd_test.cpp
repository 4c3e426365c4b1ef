// The descriptor by which an event loop watches a queue.

#include "support/counted_memory.h"
#include "support/endpoint.h"
#include "support/error_log.h"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <poll.h>
#include <thread>

namespace fd_test {

using namespace testing_support;

namespace {

// Reads and writes of one byte.
struct ByteCalls {
    std::atomic<int> bytes{0};
    std::atomic<int> fail_bytes{0}; // an error number for every one

    ByteCalls()
    {
        const auto pass = [this](auto &next, int fd, auto *buffer, size_t size) -> ssize_t {
            bytes += size == 1 ? 1 : 0;
            if (size == 1 && fail_bytes != 0) {
                errno = fail_bytes;
                return -1;
            }
            return next(fd, buffer, size);
        };
        calls::read.add(pass);
        calls::write.add(pass);
    }
};
ByteCalls &g_calls = kept<ByteCalls>();

bool readable(int fd, int timeout = 0)
{
    pollfd poller = {fd, POLLIN, 0};
    const int ready = poll(&poller, 1, timeout);
    EXPECT_EQ(ready == 1, poller.revents == POLLIN) << "it is nothing but readable";
    return ready == 1;
}

class Watched : public ::testing::Test {
protected:
    Watched() : cb(new_queue(4)), fd(ipc_mq_get_fd(cb)) { EXPECT_GE(fd, 0); }
    ~Watched() override { ipc_mq_destroy(); }

    const mq_cb cb;
    const int fd;
};

} // namespace

TEST_F(Watched, queue_is_readable_exactly_while_it_holds_a_message)
{
    EXPECT_FALSE(readable(fd));
    for (int round = 0; round < 3; ++round) {
        for (uint32_t id = 0; id < 3; ++id) {
            ASSERT_EQ(put(cb, id), IPC_SUCCESS);
            EXPECT_TRUE(readable(fd));
        }
        for (int left = 2; left >= 0; --left) {
            ASSERT_NE(take(cb), nullptr);
            EXPECT_EQ(readable(fd), left > 0);
        }
        EXPECT_EQ(take(cb), nullptr);
        EXPECT_FALSE(readable(fd));
    }
}

TEST_F(Watched, queue_is_no_longer_readable_when_the_last_message_is_removed)
{
    for (const uint32_t id : {5U, 6U, 5U}) {
        ASSERT_EQ(put(cb, id), IPC_SUCCESS);
    }
    EXPECT_EQ(ipc_mq_remove(cb, 5), IPC_SUCCESS);
    EXPECT_TRUE(readable(fd));
    EXPECT_EQ(ipc_mq_remove(cb, 6), IPC_SUCCESS);
    EXPECT_FALSE(readable(fd));
    ASSERT_EQ(put(cb, 5), IPC_SUCCESS);
    EXPECT_TRUE(readable(fd));
}

TEST_F(Watched, queue_stays_readable_when_a_full_one_refuses_a_message)
{
    while (put(cb, 1) == IPC_SUCCESS) {
    }
    EXPECT_TRUE(readable(fd));
    EXPECT_EQ(drain(cb).size(), 4U);
    EXPECT_FALSE(readable(fd));
}

TEST_F(Watched, queue_makes_one_call_for_becoming_filled_and_one_for_becoming_empty)
{
    g_calls.bytes = 0;
    for (uint32_t id = 0; id < 4; ++id) {
        ASSERT_EQ(put(cb, id), IPC_SUCCESS);
    }
    EXPECT_EQ(g_calls.bytes, 1);
    drain(cb);
    EXPECT_EQ(g_calls.bytes, 2);
}

TEST_F(Watched, queue_has_one_descriptor_of_its_own)
{
    EXPECT_EQ(ipc_mq_get_fd(cb), fd);
    EXPECT_EQ(calls::pipe.made, 1);
    const mq_cb other = new_queue(1);
    const int others = ipc_mq_get_fd(other);
    EXPECT_NE(others, fd);
    ASSERT_EQ(put(other, 1), IPC_SUCCESS);
    EXPECT_TRUE(readable(others));
    EXPECT_FALSE(readable(fd));
}

TEST_F(Watched, descriptor_does_not_block_and_is_not_inherited)
{
    EXPECT_NE(fcntl(fd, F_GETFL) & O_NONBLOCK, 0);
    EXPECT_NE(fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(Watched, queue_fills_and_empties_though_its_descriptor_cannot_follow_and_catches_up_later)
{
    for (const int error : {EINTR, EIO}) {
        g_calls.fail_bytes = error;
        ASSERT_EQ(put(cb, 1), IPC_SUCCESS);
        EXPECT_FALSE(readable(fd));
        g_calls.fail_bytes = 0;
        ASSERT_EQ(put(cb, 2), IPC_SUCCESS);
        EXPECT_TRUE(readable(fd));

        g_calls.fail_bytes = error;
        EXPECT_EQ(drain(cb), (std::vector<uint32_t>{1, 2}));
        EXPECT_TRUE(readable(fd));
        g_calls.fail_bytes = 0;
        EXPECT_EQ(ipc_mq_remove(cb, 1), IPC_SUCCESS);
        EXPECT_FALSE(readable(fd));

        g_calls.fail_bytes = error;
        ASSERT_EQ(put(cb, 1), IPC_SUCCESS);
        g_calls.fail_bytes = 0;
        EXPECT_EQ(ipc_mq_get_fd(cb), fd);
        EXPECT_TRUE(readable(fd)) << "asking for it is an occasion too";
        drain(cb);
    }
}

TEST_F(Watched, queue_whose_descriptor_was_read_against_the_rule_shows_the_next_message_again)
{
    ASSERT_EQ(put(cb, 1), IPC_SUCCESS);
    char byte;
    ASSERT_EQ(read(fd, &byte, 1), 1);
    EXPECT_EQ(drain(cb), std::vector<uint32_t>{1});
    ASSERT_EQ(put(cb, 2), IPC_SUCCESS);
    EXPECT_TRUE(readable(fd));
}

TEST_F(Watched, queue_wakes_who_waits_in_it_as_ever)
{
    std::thread waiting([this] { EXPECT_NE(take(cb, -1), nullptr); });
    ASSERT_EQ(put(cb, 1), IPC_SUCCESS);
    waiting.join();
    EXPECT_FALSE(readable(fd));
}

TEST_F(Watched, queue_is_read_by_an_event_loop_to_the_last_message_of_many_threads)
{
    constexpr uint32_t kProducers = 4;
    constexpr uint32_t kEach = 500;
    std::vector<std::thread> producers;
    for (uint32_t producer = 0; producer < kProducers; ++producer) {
        producers.emplace_back([this] {
            for (uint32_t i = 0; i < kEach; ++i) {
                while (put(cb, i, 1000) != IPC_SUCCESS) {
                }
            }
        });
    }
    // Another consumer, which is faster now and then.
    std::thread other([this] {
        for (uint32_t taken = 0; taken < kEach;) {
            taken += take(cb) != nullptr ? 1 : 0;
        }
    });
    for (uint32_t taken = 0; taken < (kProducers - 1) * kEach;) {
        ASSERT_TRUE(readable(fd, 20000)) << "there are others to come";
        taken += take(cb) != nullptr ? 1 : 0;
    }
    other.join();
    for (std::thread &producer : producers) {
        producer.join();
    }
    EXPECT_FALSE(readable(fd));
    EXPECT_EQ(queued(), 0U);
}

TEST(QueueFd, of_a_queue_that_holds_messages_is_readable_at_once)
{
    const mq_cb cb = new_queue(4);
    ASSERT_EQ(put(cb, 1), IPC_SUCCESS);
    const int fd = ipc_mq_get_fd(cb);
    EXPECT_TRUE(readable(fd));
    drain(cb);
    EXPECT_FALSE(readable(fd));
    ipc_mq_destroy();
}

TEST(QueueFd, is_closed_with_its_queue)
{
    const size_t before = open_descriptors();
    for (int i = 0; i < 3; ++i) {
        const mq_cb cb = new_queue(4);
        ASSERT_GE(ipc_mq_get_fd(cb), 0);
        ASSERT_EQ(put(cb, 1), IPC_SUCCESS);
    }
    EXPECT_EQ(open_descriptors(), before + 6);
    ipc_mq_destroy();
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(memory().blocks_in_use(), 0U);
}

TEST(QueueFd, costs_a_queue_nothing_that_nobody_asks_for_it)
{
    const size_t before = open_descriptors();
    const int pipes = calls::pipe.made;
    const mq_cb cb = new_queue(4);
    ASSERT_EQ(put(cb, 1), IPC_SUCCESS);
    drain(cb);
    EXPECT_EQ(ipc_mq_remove(cb, 1), IPC_SUCCESS);
    EXPECT_EQ(open_descriptors(), before);
    ipc_mq_destroy();
    EXPECT_EQ(calls::pipe.made, pipes);
    EXPECT_EQ(g_calls.bytes, 0);
}

TEST(QueueFd, allocates_nothing)
{
    const mq_cb cb = new_queue(4);
    const size_t blocks = memory().blocks_in_use();
    ASSERT_GE(ipc_mq_get_fd(cb), 0);
    EXPECT_EQ(memory().blocks_in_use(), blocks);
    ipc_mq_destroy();
}

TEST(QueueFd, of_no_queue_is_refused)
{
    ErrorLog log;
    errno = 0;
    EXPECT_EQ(ipc_mq_get_fd(nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(log.lines(), Lines{from_mq("Para check failed! Para mq_cb is NULL.\n")});
}

TEST(QueueFd, that_cannot_be_made_is_told_and_can_be_asked_for_again)
{
    ErrorLog log;
    const mq_cb cb = new_queue(4);
    const size_t before = open_descriptors();
    const struct {
        Fault &call;
        int nth;
        int error;
    } kFaults[] = {{calls::pipe, 1, EMFILE}, {calls::fcntl, 1, EPERM}, {calls::fcntl, 4, EINVAL}};
    for (const auto &[call, nth, error] : kFaults) {
        call.fail_nth(nth, error);
        errno = 0;
        EXPECT_EQ(ipc_mq_get_fd(cb), -1);
        EXPECT_EQ(errno, error);
        EXPECT_EQ(log.lines(),
                  Lines{from_mq("Create pipe failed! errno is " + std::to_string(error) + ".\n")});
        EXPECT_EQ(open_descriptors(), before);
    }
    ASSERT_EQ(put(cb, 1), IPC_SUCCESS);
    const int fd = ipc_mq_get_fd(cb);
    EXPECT_TRUE(readable(fd));
    ipc_mq_destroy();
}

TEST(QueueFd, tells_of_what_an_endpoint_receives)
{
    const Endpoint endpoint;
    const int fd = ipc_mq_get_fd(endpoint.queue);
    EXPECT_FALSE(readable(fd));
    const Peer peer("peer");
    ASSERT_TRUE(peer.send(kMmName, datagram({0, 10, 0, 0})));
    EXPECT_TRUE(readable(fd, 20000));
    EXPECT_EQ(drain(endpoint.queue), std::vector<uint32_t>{10});
    EXPECT_FALSE(readable(fd));
}

} // namespace fd_test
