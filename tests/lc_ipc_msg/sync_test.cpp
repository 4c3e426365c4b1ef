// Synchronous requests. The serving side is a bare socket.

#include "lc_ipc_msg/settled.h"
#include "support/call_notes.h"
#include "support/counted_memory.h"
#include "support/endpoint.h"
#include "support/error_log.h"
#include "support/library_calls.h"
#include "support/waits.h"

#include <algorithm>
#include <sys/time.h>
#include <thread>

namespace sync_test {

using namespace testing_support;

namespace {

constexpr const char *kServer = kWmName;
constexpr uint32_t kMinute = 60000;
const ipc_addr kServerAddress = address_record(kServer);

// A request and the room for its response, with a few bytes behind that must stay as they are.
struct Call {
    static constexpr uint8_t kGuard = 0xA5;

    explicit Call(uint32_t room, const Bytes &body = {}, uint32_t msg_id = 50)
        : request(make_message(msg_id, body)), out(16 + room + 8, kGuard), out_len(room), room_(room)
    {
        ipc_gen_seesion_id(request.get());
    }

    uint32_t run(uint32_t timeout = kMinute)
    {
        return ipc_msg_send_syn(&kServerAddress, request.get(), request->length, timeout, out.data(),
                                &out_len);
    }

    Bytes response() const { return {out.begin(), out.begin() + 16 + out_len}; }
    bool guard_is_intact() const
    {
        return std::all_of(out.begin() + 16 + room_, out.end(),
                           [](uint8_t byte) { return byte == kGuard; });
    }

    MessagePtr request;
    Bytes out;
    uint32_t out_len;

private:
    uint32_t room_;
};

// The call on a thread of its own; it has sent its request when this is made.
class RunningCall {
public:
    explicit RunningCall(Call &call, uint32_t timeout = kMinute)
        : thread_([this, &call, timeout] { result_ = call.run(timeout); })
    {
    }
    uint32_t result()
    {
        thread_.join();
        return result_;
    }

private:
    uint32_t result_ = UINT32_MAX;
    std::thread thread_;
};

// By the clock that deadlines are made from; time() may lag behind it.
time_t current_second()
{
    timeval now;
    gettimeofday(&now, nullptr);
    return now.tv_sec;
}

Bytes response_to(const Bytes &request, const Bytes &body)
{
    ipc_msg_hdr header = header_of(request);
    header.type = IPC_MSG_TYPE_RESPONSE;
    header.length = static_cast<uint32_t>(body.size());
    return datagram(header, body);
}

uint32_t call_answered_with(Call &call, const Bytes &body)
{
    Peer server(kServer);
    RunningCall running(call);
    EXPECT_TRUE(server.reply(response_to(server.receive(), body)));
    return running.result();
}

const Lines kDropped = {from_msg("Receive common priority message failed! sret=4.\n")};

class Sync : public ::testing::Test {
protected:
    ErrorLog log;
    Endpoint endpoint;
};

} // namespace

TEST(SyncStopped, before_the_start_gives_2_without_a_line_whatever_the_arguments)
{
    ErrorLog log;
    EXPECT_EQ(ipc_msg_send_syn(nullptr, nullptr, 0, 0, nullptr, nullptr), IPC_ERR_NOT_INIT);
    EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(Sync, checks_address_request_timeout_response_and_its_length_in_this_order)
{
    Peer server(kServer);
    Call call(4, pattern(4));
    call.request->type = 9;
    ipc_msg_hdr *const in = call.request.get();
    void *const out = call.out.data();
    uint32_t *const len = &call.out_len;
    EXPECT_EQ(ipc_msg_send_syn(nullptr, nullptr, 5, 0, nullptr, nullptr), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{from_msg("Para check failed! Para dest_addr is NULL.\n")});
    EXPECT_EQ(ipc_msg_send_syn(&kServerAddress, nullptr, 5, 0, nullptr, nullptr), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{from_msg("Para check failed! Para in_buff is NULL.\n")});
    EXPECT_EQ(ipc_msg_send_syn(&kServerAddress, in, 5, 0, nullptr, nullptr), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{from_msg("Para check failed! Para timeout is 0.\n")});
    EXPECT_EQ(ipc_msg_send_syn(&kServerAddress, in, 5, 1, nullptr, nullptr), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{from_msg("Para check failed! Para out_buff is NULL.\n")});
    EXPECT_EQ(ipc_msg_send_syn(&kServerAddress, in, 5, 1, out, nullptr), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{from_msg("Para check failed! Para out_len is NULL.\n")});
    EXPECT_EQ(ipc_msg_send_syn(&kServerAddress, in, 5, 1, out, len), IPC_ERR_LENGTH);
    EXPECT_EQ(log.lines(), Lines{from_msg("Message length mismatched! Given length is 5, but length "
                                          "in message header is 4\n")});
    EXPECT_EQ(in->type, 9U);
    EXPECT_TRUE(server.has_nothing()) << "nothing of this was sent";
}

TEST_F(Sync, the_request_goes_out_as_type_1_in_one_datagram_from_the_modules_own_name)
{
    Peer server(kServer);
    Call call(4, pattern(6));
    call.request->type = 9;
    const uint32_t session = call.request->session_id;
    RunningCall running(call);
    const Bytes request = server.receive();
    EXPECT_EQ(request, datagram({1, 50, 6, session}, pattern(6)));
    EXPECT_EQ(server.sender_size(), 110U);
    EXPECT_TRUE(same_address(server.sender(), abstract_address(kMmName)));
    const std::vector<SentDatagram> sent = take_sent();
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0].address.size(), 110U);
    EXPECT_EQ(sent[0].flags, 0);
    ASSERT_TRUE(server.reply(response_to(request, {})));
    EXPECT_EQ(running.result(), IPC_SUCCESS);
    EXPECT_EQ(call.request->type, 1U);
    EXPECT_EQ(call.request->session_id, session);
}

TEST_F(Sync, the_response_is_copied_whole_and_its_body_length_reported)
{
    for (const size_t size : {size_t{0}, size_t{1}, size_t{7}, size_t{8}}) {
        Call call(8);
        EXPECT_EQ(call_answered_with(call, pattern(size)), IPC_SUCCESS);
        EXPECT_EQ(call.out_len, size);
        EXPECT_EQ(
            call.response(),
            datagram({2, 50, static_cast<uint32_t>(size), call.request->session_id}, pattern(size)));
        EXPECT_TRUE(call.guard_is_intact());
    }
    EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(Sync, the_largest_response_fits)
{
    Call call(1008);
    EXPECT_EQ(call_answered_with(call, pattern(1008)), IPC_SUCCESS);
    EXPECT_EQ(call.out_len, 1008U);
    EXPECT_EQ(body_of(call.response()), pattern(1008));
}

TEST_F(Sync, a_longer_response_gives_5_with_its_beginning_and_the_length_unchanged)
{
    for (const uint32_t room : {0U, 3U, 4U}) {
        Call call(room);
        EXPECT_EQ(call_answered_with(call, pattern(room + 1)), IPC_ERR_TOO_SMALL);
        EXPECT_EQ(call.out_len, room);
        Bytes expected = datagram({2, 50, room + 1, call.request->session_id}, pattern(room + 1));
        expected.resize(16 + room);
        EXPECT_EQ(call.response(), expected);
        EXPECT_TRUE(call.guard_is_intact());
        EXPECT_EQ(log.lines(), Lines{from_msg("Response message is greater than out buffer!\n")});
    }
}

TEST_F(Sync, a_response_is_matched_by_its_session_id_alone)
{
    Peer server(kServer);
    const Peer somebody_else("peer");
    Call call(4);
    RunningCall running(call);
    server.receive();
    const Bytes response = datagram({2, 999, 0, call.request->session_id});
    ASSERT_TRUE(somebody_else.send(kMmName, response));
    EXPECT_EQ(running.result(), IPC_SUCCESS);
    EXPECT_EQ(call.response(), response);
}

TEST_F(Sync, only_type_2_is_a_response)
{
    Peer server(kServer);
    Call call(4);
    RunningCall running(call);
    const Bytes request = server.receive();
    for (const uint32_t type : {0U, 1U, 3U}) {
        ASSERT_TRUE(server.reply(datagram({type, 50, 0, call.request->session_id})));
        EXPECT_NE(take(endpoint.queue, kMinute), nullptr) << "an ordinary message";
    }
    ASSERT_TRUE(server.reply(response_to(request, word(1))));
    EXPECT_EQ(running.result(), IPC_SUCCESS);
    EXPECT_EQ(body_of(call.response()), word(1));
}

TEST_F(Sync, a_response_with_an_unknown_session_id_is_dropped_and_the_wait_goes_on)
{
    Peer server(kServer);
    Call call(4);
    RunningCall running(call);
    const Bytes request = server.receive();
    for (const uint32_t unknown : {0U, call.request->session_id + 1, UINT32_MAX}) {
        ASSERT_TRUE(server.reply(datagram({2, 50, 4, unknown}, word(9))));
        EXPECT_EQ(log.lines(1), kDropped);
    }
    ASSERT_TRUE(server.reply(response_to(request, word(1))));
    EXPECT_EQ(running.result(), IPC_SUCCESS);
    EXPECT_EQ(body_of(call.response()), word(1));
}

TEST_F(Sync, without_a_response_it_gives_7_and_leaves_nothing_behind)
{
    const Peer server(kServer);
    Call call(4);
    const size_t blocks = settled_blocks();
    EXPECT_EQ(call.run(1), IPC_ERR_TIMEOUT);
    EXPECT_EQ(log.lines(), Lines{from_msg("Sending sync message timeout occured!\n")});
    EXPECT_EQ(call.out_len, 4U);
    EXPECT_EQ(memory().blocks_in_use(), blocks);
}

TEST_F(Sync, allocates_the_waiter_before_its_node_and_frees_it_first)
{
    const Peer server(kServer);
    memory().take();
    Call call(4);
    EXPECT_EQ(call.run(1), IPC_ERR_TIMEOUT);
    const std::vector<MemoryCall> calls = memory().take();
    std::vector<std::pair<bool, bool>> order; // whether it is freed, and is the node
    for (const MemoryCall &each : calls) {
        const bool is_node = kWaiterNode.is(each.owner, each.size);
        if (is_node || kWaiter.is(each.owner, each.size)) {
            order.emplace_back(each.is_free, is_node);
        }
    }
    EXPECT_EQ(order, (decltype(order){{false, false}, {false, true}, {true, false}, {true, true}}));
}

TEST_F(Sync, a_late_response_is_dropped_with_4_and_the_next_request_still_matches)
{
    Peer server(kServer);
    Call late(4);
    ASSERT_EQ(late.run(1), IPC_ERR_TIMEOUT);
    log.lines();
    const Bytes untouched = late.out;
    deliver(server, kMmName, response_to(server.receive(), word(9)));
    EXPECT_EQ(log.lines(), kDropped);
    EXPECT_EQ(late.out, untouched);

    Call next(4);
    RunningCall running(next);
    ASSERT_TRUE(server.reply(response_to(server.receive(), word(1))));
    EXPECT_EQ(running.result(), IPC_SUCCESS);
    EXPECT_EQ(body_of(next.response()), word(1));
}

TEST_F(Sync, a_second_response_is_dropped_with_4)
{
    Peer server(kServer);
    Call call(4);
    RunningCall running(call);
    const Bytes request = server.receive();
    ASSERT_TRUE(server.reply(response_to(request, word(1))));
    EXPECT_EQ(running.result(), IPC_SUCCESS);
    const Bytes untouched = call.out;
    ASSERT_TRUE(server.reply(response_to(request, word(2))));
    EXPECT_EQ(log.lines(1), kDropped);
    EXPECT_EQ(call.out, untouched);
}

TEST_F(Sync, two_responses_in_a_row_satisfy_one_call_once)
{
    ErrorLog::switch_off(); // whether the second finds its waiter gone, and says so, is a race
    Peer server(kServer);
    for (uint32_t i = 0; i < 200; ++i) {
        Call call(4);
        RunningCall running(call);
        const Bytes request = server.receive();
        ASSERT_TRUE(server.reply(response_to(request, word(i))));
        ASSERT_TRUE(server.reply(response_to(request, word(i))));
        ASSERT_EQ(running.result(), IPC_SUCCESS);
        ASSERT_EQ(body_of(call.response()), word(i));
    }
}

TEST_F(Sync, nobody_bound_gives_10_at_once_and_leaves_nothing_behind)
{
    Call call(4);
    const size_t blocks = settled_blocks();
    EXPECT_EQ(call.run(), IPC_ERR_SOCKET);
    EXPECT_EQ(calls::lc_pthread_cond_timedwait.made, 0) << "no wait";
    EXPECT_EQ(log.lines(), Lines{from_msg("Send failed!", ECONNREFUSED)});
    EXPECT_EQ(call.out_len, 4U);
    EXPECT_EQ(memory().blocks_in_use(), blocks);
}

TEST_F(Sync, a_response_after_a_failed_send_finds_nobody)
{
    const Peer server("peer");
    Call call(4);
    ASSERT_EQ(call.run(), IPC_ERR_SOCKET);
    const Bytes untouched = call.out;
    log.lines();
    deliver(server, kMmName, datagram({2, 50, 4, call.request->session_id}, word(9)));
    EXPECT_EQ(log.lines(), kDropped);
    EXPECT_EQ(call.out, untouched);
}

TEST_F(Sync, a_priority_without_a_socket_gives_10)
{
    Peer server(kServer);
    Call call(4);
    ipc_addr to = kServerAddress;
    to.priority = 1;
    EXPECT_EQ(ipc_msg_send_syn(&to, call.request.get(), 0, kMinute, call.out.data(), &call.out_len),
              IPC_ERR_SOCKET);
    EXPECT_TRUE(server.has_nothing());
}

TEST_F(Sync, each_failing_allocation_gives_11_and_nothing_is_sent)
{
    Peer server(kServer);
    Call call(4);
    const size_t blocks = settled_blocks();
    for (const Allocation &what : {kWaiter, kWaiterNode}) {
        memory().fail(what);
        EXPECT_EQ(call.run(), IPC_ERR_RESOURCE) << what.name;
        EXPECT_EQ(log.lines(), Lines{from_msg("Assign memory failed!\n")});
        EXPECT_EQ(memory().blocks_in_use(), blocks);
    }
    EXPECT_TRUE(server.has_nothing());
    memory().take();
    EXPECT_EQ(call.run(1), IPC_ERR_TIMEOUT);
    EXPECT_EQ(memory().take_allocations().size(), 2U) << "there is nothing more to allocate";
}

TEST_F(Sync, a_list_failure_gives_11_and_nothing_is_sent)
{
    Peer server(kServer);
    Call call(4);
    const size_t blocks = settled_blocks();
    calls::lc_list_add_at_tail.fail_nth(1);
    EXPECT_EQ(call.run(), IPC_ERR_RESOURCE);
    EXPECT_EQ(log.lines(),
              Lines{from_msg("Add to list g_sync_waitor_list.list_head failed! sret=1\n")});
    EXPECT_EQ(memory().blocks_in_use(), blocks);
    EXPECT_TRUE(server.has_nothing());
    EXPECT_EQ(call.run(1), IPC_ERR_TIMEOUT) << "and the list is unlocked";
}

TEST_F(Sync, waiter_and_node_carry_the_tag_of_synchronous_records)
{
    const Peer server(kServer);
    ASSERT_TRUE(until_rounds(1));
    Call call(4);
    memory().take_allocations();
    ASSERT_EQ(call.run(1), IPC_ERR_TIMEOUT);
    const std::vector<MemoryCall> allocations = memory().take_allocations();
    ASSERT_EQ(allocations.size(), 2U);
    EXPECT_EQ(allocations[0].owner, 0x3000001U);
    EXPECT_EQ(allocations[1].owner, 0x3000001U);
}

TEST_F(Sync, the_deadline_is_a_whole_second_plus_the_timeout)
{
    Peer server(kServer);
    Call call(4);
    const time_t before = current_second();
    RunningCall running(call, 400'250);
    ASSERT_TRUE(g_waits.until_asleep(1));
    const time_t after = current_second();
    const timespec deadline = g_waits.last_deadline();
    EXPECT_GE(deadline.tv_sec, before + 400);
    EXPECT_LE(deadline.tv_sec, after + 400);
    EXPECT_EQ(deadline.tv_nsec, 250'000'000);
    ASSERT_TRUE(server.reply(response_to(server.receive(), {})));
    EXPECT_EQ(running.result(), IPC_SUCCESS);
}

TEST_F(Sync, timeouts_above_the_signed_range_are_timeouts)
{
    Peer server(kServer);
    Call call(4);
    RunningCall running(call, UINT32_MAX);
    ASSERT_TRUE(server.reply(response_to(server.receive(), word(1))));
    EXPECT_EQ(running.result(), IPC_SUCCESS);
}

TEST_F(Sync, a_wake_up_without_a_response_is_not_taken_for_one)
{
    Peer server(kServer);
    Call call(4);
    g_waits.wake_spuriously(3);
    RunningCall running(call);
    const Bytes request = server.receive();
    ASSERT_TRUE(g_waits.until_asleep(1));
    ASSERT_TRUE(server.reply(response_to(request, word(1))));
    EXPECT_EQ(running.result(), IPC_SUCCESS);
    EXPECT_EQ(call.out_len, 4U);
}

// The receive thread has the response in hand before the sender has come to wait for it.
TEST_F(Sync, a_response_that_overtakes_the_wait_is_not_lost)
{
    Peer server(kServer);
    Call call(4);
    ASSERT_TRUE(until_rounds(1));
    memory().take_allocations();
    const Hooked overtaken(calls::sendto, [&](auto &next, auto... arguments) {
        const ssize_t result = next(arguments...);
        server.reply(response_to(server.receive(), word(1)));
        // The buffers of the datagram are made just before it is delivered.
        size_t made = 0;
        EXPECT_TRUE(eventually([&] { return (made += memory().take_allocations().size()) >= 2 + 2; }));
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        return result;
    });
    EXPECT_EQ(call.run(), IPC_SUCCESS);
    EXPECT_EQ(body_of(call.response()), word(1));
}

TEST_F(Sync, two_threads_each_get_their_own_response_whatever_the_order)
{
    Peer server(kServer);
    for (const bool reversed : {false, true}) {
        Call calls[] = {Call(4, word(100)), Call(4, word(200))};
        RunningCall first(calls[0]);
        RunningCall second(calls[1]);
        Bytes requests[] = {server.receive(), server.receive()};
        if (reversed) {
            std::swap(requests[0], requests[1]);
        }
        for (const Bytes &request : requests) {
            ASSERT_TRUE(server.reply(response_to(request, body_of(request))));
        }
        EXPECT_EQ(first.result(), IPC_SUCCESS);
        EXPECT_EQ(second.result(), IPC_SUCCESS);
        EXPECT_EQ(body_of(calls[0].response()), word(100));
        EXPECT_EQ(body_of(calls[1].response()), word(200));
    }
}

TEST_F(Sync, a_time_out_of_one_thread_does_not_disturb_another)
{
    Peer server(kServer);
    Call patient(4);
    RunningCall running(patient);
    const Bytes request = server.receive();
    Call hasty(4);
    EXPECT_EQ(hasty.run(1), IPC_ERR_TIMEOUT);
    ASSERT_TRUE(server.reply(response_to(request, word(1))));
    EXPECT_EQ(running.result(), IPC_SUCCESS);
    EXPECT_EQ(body_of(patient.response()), word(1));
}

TEST_F(Sync, a_response_is_freed_when_it_has_been_delivered)
{
    Call call(4);
    const size_t blocks = settled_blocks();
    ASSERT_EQ(call_answered_with(call, word(1)), IPC_SUCCESS);
    ASSERT_TRUE(until_rounds(2));
    EXPECT_EQ(memory().blocks_in_use(), blocks);
}

TEST_F(Sync, is_silent_while_the_flag_file_is_absent)
{
    ErrorLog::switch_off();
    Call call(4);
    EXPECT_EQ(call.run(0), IPC_ERR_PARAM);
    EXPECT_EQ(
        ipc_msg_send_syn(&kServerAddress, call.request.get(), 1, 1, call.out.data(), &call.out_len),
        IPC_ERR_LENGTH);
    EXPECT_EQ(call.run(), IPC_ERR_SOCKET);
    Call too_small(0);
    EXPECT_EQ(call_answered_with(too_small, word(1)), IPC_ERR_TOO_SMALL);
    const Peer server(kServer);
    EXPECT_EQ(call.run(1), IPC_ERR_TIMEOUT);
    memory().fail(kWaiter);
    EXPECT_EQ(call.run(1), IPC_ERR_RESOURCE);
    calls::lc_list_add_at_tail.fail_nth(1);
    EXPECT_EQ(call.run(1), IPC_ERR_RESOURCE);
    EXPECT_EQ(log.lines(), Lines{});
}

} // namespace sync_test
