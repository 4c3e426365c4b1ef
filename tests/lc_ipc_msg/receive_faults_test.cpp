// What tests/faults does not see of the receive thread's steps and their failures.

#include "support/call_notes.h"
#include "support/counted_memory.h"
#include "support/endpoint.h"
#include "support/error_log.h"

namespace receive_faults_test {

using namespace testing_support;

namespace {

// A datagram that could not be read the first time takes a second round.
constexpr int kTwice = 2;

void deliver(const Peer &peer, uint32_t msg_id, int rounds = 1)
{
    deliver(peer, kMmName, datagram({0, msg_id, 0, 0}), rounds);
}

} // namespace

TEST(ReceiveFault, each_round_waits_up_to_10_seconds_and_a_time_out_starts_the_next_without_a_line)
{
    ErrorLog log;
    std::atomic<int> silent_rounds = 3;
    const Hooked silence(calls::select, [&](auto &next, int count, auto *readable, auto... others) {
        if (silent_rounds == 0) {
            return next(count, readable, others...);
        }
        --silent_rounds;
        *std::get<2>(std::tuple(others...)) = {0, 0};
        return 0;
    });
    const Endpoint endpoint;
    ASSERT_TRUE(until_rounds(4));
    // A round counts before its call is noted, and that of a silent one never is.
    EXPECT_TRUE(eventually([] { return notes().patience.tv_sec == 10; }))
        << "made anew, though the call used it up";
    EXPECT_EQ(notes().patience.tv_usec, 0);
    const Peer peer("peer");
    deliver(peer, 10);
    EXPECT_NE(take(endpoint.queue), nullptr);
    EXPECT_EQ(log.lines(), Lines{});
}

TEST(ReceiveFault, a_datagram_is_read_with_room_for_1024_bytes_and_the_whole_address)
{
    const Endpoint endpoint;
    const Peer peer("peer");
    deliver(peer, 10);
    EXPECT_NE(take(endpoint.queue), nullptr);
    EXPECT_EQ(notes().receive_size, 1024U);
    EXPECT_EQ(notes().receive_address_size, 110U);
}

TEST(ReceiveFault, with_a_handler_a_queue_failure_is_ignored)
{
    ErrorLog log;
    const auto keep = [](ipc_msg_hdr *, uint32_t) -> uint32_t { return 1; };
    const Endpoint endpoint({.handler = keep});
    const Peer peer("peer");
    ASSERT_TRUE(until_rounds(1));
    memory().fail(kQueueNode);
    deliver(peer, 10);
    ASSERT_TRUE(memory().failed());
    deliver(peer, 11);
    EXPECT_EQ(take(endpoint.queue)->msg_id, 11U);
    EXPECT_EQ(log.lines(), Lines{from_mq("Assign memory failed!\n")}) << "the queue's own";
}

TEST(ReceiveFault, is_silent_while_the_flag_file_is_absent)
{
    ErrorLog log;
    ErrorLog::switch_off();
    calls::select.fail_nth(1, EINTR);
    const Endpoint endpoint;
    const Peer peer("peer");
    ASSERT_TRUE(until_rounds(2));
    calls::recvfrom.fail_nth(1, ECONNRESET);
    deliver(peer, 10);
    ASSERT_TRUE(until_rounds(3));
    memory().fail(kDatagram);
    deliver(peer, 10, kTwice);
    EXPECT_NE(take(endpoint.queue), nullptr);
    for (const Allocation &what : {kReceivedMessage, kQueueNode}) {
        memory().fail(what);
        deliver(peer, 10);
        ASSERT_TRUE(memory().failed()) << what.name;
    }
    deliver(peer, 11);
    EXPECT_EQ(take(endpoint.queue)->msg_id, 11U);
    EXPECT_EQ(log.lines(), Lines{});
}

} // namespace receive_faults_test
