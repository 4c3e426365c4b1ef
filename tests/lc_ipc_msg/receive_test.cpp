// The handling of each kind of datagram.

#include "lc_ipc_msg/settled.h"
#include "support/call_notes.h"
#include "support/counted_memory.h"
#include "support/endpoint.h"
#include "support/error_log.h"

#include <mutex>

namespace receive_test {

using namespace testing_support;

namespace {

// What the handler saw, and what it is to answer.
struct Handled {
    Bytes bytes; // of the whole buffer, sender included
    uint32_t len;
};

std::mutex g_handled_mutex;
std::vector<Handled> g_handled;
std::atomic<uint32_t> g_handler_answer{0};
std::atomic<uint32_t> g_calls{0};

uint32_t handler(ipc_msg_hdr *msg, uint32_t len)
{
    const auto *bytes = reinterpret_cast<const uint8_t *>(msg);
    const std::lock_guard guard(g_handled_mutex);
    g_handled.push_back({Bytes(bytes, bytes + memory().size_of(msg)), len});
    ++g_calls;
    return g_handler_answer;
}

std::vector<Handled> handled()
{
    const std::lock_guard guard(g_handled_mutex);
    return std::exchange(g_handled, {});
}

void deliver(const Peer &peer, const Bytes &bytes) { deliver(peer, kMmName, bytes); }

Lines mismatch(size_t received, uint32_t length)
{
    return {from_msg("Message length mismatched! Received length is " + std::to_string(received) +
                     ", but length in message header is " + std::to_string(length) + "\n"),
            from_msg("Receive common priority message failed! sret=4.\n")};
}

const Lines kNotAStop = {from_msg("Not invalid stop message!\n"),
                         from_msg("Receive common priority message failed! sret=4.\n")};

// The datagram is refused with these lines, and the endpoint goes on.
void expect_refused(ErrorLog &log, const Endpoint &endpoint, const Peer &peer, const Bytes &bytes,
                    const Lines &lines)
{
    const size_t blocks = settled_blocks();
    deliver(peer, bytes);
    EXPECT_EQ(log.lines(), lines);
    EXPECT_EQ(memory().blocks_in_use(), blocks);
    deliver(peer, datagram({0, 10, 0, 0}));
    EXPECT_NE(take(endpoint.queue), nullptr);
}

// The buffer that a datagram from the named peer must become.
Bytes expected_buffer(const Bytes &bytes, const std::string &peer_name)
{
    Bytes expected = bytes;
    expected.resize((bytes.size() + 3) / 4 * 4);
    const ipc_addr sender = address_record(peer_name);
    const auto *record = reinterpret_cast<const uint8_t *>(&sender);
    expected.insert(expected.end(), record, record + sizeof(sender));
    return expected;
}

} // namespace

TEST(Receive, a_message_is_queued_with_padding_and_the_senders_address_record)
{
    const Endpoint endpoint;
    const Peer peer("peer");
    for (const uint32_t length : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 1007U, 1008U}) {
        const Bytes sent = datagram({0, 10, length, 77}, pattern(length));
        deliver(peer, sent);
        const MessagePtr msg = take(endpoint.queue);
        ASSERT_NE(msg, nullptr);
        const Bytes expected = expected_buffer(sent, "peer");
        const auto *bytes = reinterpret_cast<const uint8_t *>(msg.get());
        ASSERT_EQ(memory().size_of(msg.get()), expected.size()) << length;
        EXPECT_EQ(Bytes(bytes, bytes + expected.size()), expected) << length;
        const ipc_addr &sender = *ipc_msg_sender(msg.get());
        EXPECT_EQ(sender.priority, 0U);
        EXPECT_TRUE(same_address(sender.sock, abstract_address("peer")));
    }
}

TEST(Receive, the_address_record_can_be_answered)
{
    const Endpoint endpoint;
    Peer peer("peer");
    deliver(peer, datagram({1, 10, 3, 77}, pattern(3)));
    const MessagePtr request = take(endpoint.queue);
    ASSERT_NE(request, nullptr);
    const MessagePtr response = make_message(10, {}, IPC_MSG_TYPE_RESPONSE);
    response->session_id = request->session_id;
    EXPECT_EQ(ipc_msg_send_asy(ipc_msg_sender(request.get()), response.get(), 0), IPC_SUCCESS);
    EXPECT_EQ(peer.receive(), datagram({2, 10, 0, 77}));
}

TEST(Receive, header_and_type_stay_as_they_were_received)
{
    const Endpoint endpoint;
    const Peer peer("peer");
    for (const uint32_t type : {0U, 1U, 3U, 9U}) {
        deliver(peer, datagram({type, 10, 0, 5}));
        const MessagePtr msg = take(endpoint.queue);
        ASSERT_NE(msg, nullptr);
        EXPECT_EQ(message_bytes(*msg), datagram({type, 10, 0, 5}));
    }
}

TEST(Receive, buffers_carry_the_tag_of_synchronous_records)
{
    const Endpoint endpoint;
    const Peer peer("peer");
    memory().take_allocations();
    deliver(peer, datagram({0, 10, 4, 0}, pattern(4)));
    const MessagePtr msg = take(endpoint.queue);
    const std::vector<MemoryCall> allocations = memory().take_allocations();
    ASSERT_EQ(allocations.size(), 3U);
    EXPECT_EQ(allocations[0].size, 1024U);
    EXPECT_EQ(allocations[0].owner, 0x3000001U);
    EXPECT_EQ(allocations[1].size, 20U + 116U);
    EXPECT_EQ(allocations[1].owner, 0x3000001U);
    EXPECT_EQ(allocations[2].owner, 0x3000000U) << "the queue's node";
}

TEST(Receive, without_handler_and_queue_a_message_is_dropped_without_a_line)
{
    ErrorLog log;
    const Endpoint endpoint({.with_queue = false});
    const size_t blocks = settled_blocks();
    Peer peer("peer");
    deliver(peer, datagram({0, 10, 0, 0}));
    // An answered registration that is refused for its length leaves nothing either.
    deliver(peer, datagram({1, 2, 0, 0}));
    EXPECT_EQ(word_at(peer.receive(), 16), 4U);
    EXPECT_EQ(log.lines().size(), 3U) << "of the registration";
    EXPECT_EQ(memory().blocks_in_use(), blocks);
}

TEST(Receive, the_handler_is_given_the_buffer_and_its_size_without_the_16_bytes_of_a_header)
{
    const Endpoint endpoint({.handler = handler, .with_queue = false});
    const Peer peer("peer");
    const Bytes sent = datagram({0, 10, 5, 77}, pattern(5));
    deliver(peer, sent);
    const std::vector<Handled> seen = handled();
    EXPECT_EQ(seen[0].bytes, expected_buffer(sent, "peer"));
    EXPECT_EQ(seen[0].len, 8U) << "5 rounded up";
}

TEST(Receive, a_message_is_queued_when_the_handler_says_so)
{
    g_handler_answer = 0x80000000;
    const Endpoint endpoint({.handler = handler});
    const Peer peer("peer");
    const Bytes sent = datagram({0, 10, 2, 77}, pattern(2));
    deliver(peer, sent);
    const MessagePtr msg = take(endpoint.queue);
    ASSERT_NE(msg, nullptr);
    EXPECT_EQ(message_bytes(*msg), sent);
    EXPECT_EQ(g_calls, 1U);
}

TEST(Receive, a_message_that_the_handler_declines_is_freed_and_not_queued)
{
    const Endpoint endpoint({.handler = handler});
    const size_t blocks = settled_blocks();
    const Peer peer("peer");
    deliver(peer, datagram({0, 10, 0, 0}));
    EXPECT_EQ(queued(), 0U);
    EXPECT_EQ(memory().blocks_in_use(), blocks);
}

TEST(Receive, without_a_queue_a_message_that_the_handler_wants_queued_is_freed)
{
    ErrorLog log;
    g_handler_answer = 1;
    const Endpoint endpoint({.handler = handler, .with_queue = false});
    const size_t blocks = settled_blocks();
    const Peer peer("peer");
    deliver(peer, datagram({0, 10, 0, 0}));
    EXPECT_EQ(memory().blocks_in_use(), blocks);
    EXPECT_EQ(log.lines(), Lines{});
}

TEST(Receive, the_handler_sees_responses_and_registry_requests_too_but_they_are_never_queued)
{
    g_handler_answer = 1;
    const Endpoint endpoint({.handler = handler});
    Peer peer("peer");
    deliver(peer, datagram({2, 10, 0, 99}));
    deliver(peer, register_request(20, 1));
    deliver(peer, deregister_request(20));
    std::vector<uint32_t> ids;
    for (const Handled &seen : handled()) {
        ids.push_back(header_of(seen.bytes).msg_id);
    }
    EXPECT_EQ(ids, (std::vector<uint32_t>{10, 2, 3}));
    EXPECT_EQ(queued(), 0U);
}

TEST(Receive, the_handler_sees_neither_stop_messages_nor_what_is_refused_for_its_length)
{
    const Endpoint endpoint({.handler = handler});
    const Peer peer("peer");
    deliver(peer, datagram({0, 1, 0, 0}));
    deliver(peer, datagram({0, 10, 8, 0}, pattern(4)));
    EXPECT_EQ(g_calls, 0U);
}

TEST(Receive, responses_and_registry_requests_are_freed)
{
    const Endpoint endpoint;
    Peer peer("peer");
    deliver(peer, register_request(20, 1));
    peer.receive();
    const size_t blocks = settled_blocks();
    deliver(peer, datagram({2, 10, 4, 99}, pattern(4)));
    deliver(peer, register_request(20, 2));
    deliver(peer, deregister_request(21));
    EXPECT_EQ(memory().blocks_in_use(), blocks);
}

TEST(Receive, a_response_that_nobody_waits_for_is_dropped_with_result_4)
{
    ErrorLog log;
    const Endpoint endpoint;
    const Peer peer("peer");
    expect_refused(log, endpoint, peer, datagram({2, 10, 0, 99}),
                   {from_msg("Receive common priority message failed! sret=4.\n")});
}

TEST(Receive, a_response_is_a_response_whatever_its_identifier)
{
    ErrorLog log;
    const Endpoint endpoint;
    Peer peer("peer");
    for (const uint32_t id : {2U, 3U}) {
        expect_refused(log, endpoint, peer, datagram({2, id, 4, 99}, word(20)),
                       {from_msg("Receive common priority message failed! sret=4.\n")});
    }
    EXPECT_TRUE(peer.has_nothing()) << "it did not register";
}

TEST(Receive, a_full_queue_without_a_handler_drops_the_message_and_goes_on)
{
    ErrorLog log;
    const Endpoint endpoint({.capacity = 1});
    const Peer peer("peer");
    deliver(peer, datagram({0, 10, 0, 0}));
    const size_t blocks = settled_blocks();
    deliver(peer, datagram({0, 11, 0, 0}));
    EXPECT_EQ(log.lines(), (Lines{from_msg("Send to message queue failed!, sret=8.\n"),
                                  from_msg("Receive common priority message failed! sret=8.\n")}));
    EXPECT_EQ(memory().blocks_in_use(), blocks);
    EXPECT_EQ(take(endpoint.queue)->msg_id, 10U);
    deliver(peer, datagram({0, 12, 0, 0}));
    EXPECT_EQ(take(endpoint.queue)->msg_id, 12U);
}

TEST(Receive, a_full_queue_with_a_handler_drops_the_message_without_a_line)
{
    ErrorLog log;
    g_handler_answer = 1;
    const Endpoint endpoint({.handler = handler, .capacity = 1});
    const Peer peer("peer");
    deliver(peer, datagram({0, 10, 0, 0}));
    const size_t blocks = settled_blocks();
    deliver(peer, datagram({0, 11, 0, 0}));
    EXPECT_EQ(memory().blocks_in_use(), blocks);
    EXPECT_EQ(drain(endpoint.queue), std::vector<uint32_t>{10});
    EXPECT_EQ(log.lines(), Lines{});
}

TEST(ReceiveMalformed, a_datagram_of_20_bytes_with_length_8_is_dropped_with_result_4)
{
    ErrorLog log;
    const Endpoint endpoint;
    const Peer peer("peer");
    expect_refused(log, endpoint, peer, datagram({0, 10, 8, 0}, pattern(4)), mismatch(20, 8));
}

TEST(ReceiveMalformed, a_length_below_or_above_the_body_is_refused_for_every_kind_of_message)
{
    ErrorLog log;
    const Endpoint endpoint;
    Peer peer("peer");
    for (const uint32_t id : {1U, 2U, 3U, 10U}) {
        for (const uint32_t type : {0U, 1U, 2U}) {
            expect_refused(log, endpoint, peer, datagram({type, id, 3, 0}, word(20)), mismatch(20, 3));
            expect_refused(log, endpoint, peer, datagram({type, id, UINT32_MAX, 0}, word(20)),
                           mismatch(20, UINT32_MAX));
        }
    }
    EXPECT_TRUE(peer.has_nothing()) << "no registration was answered";
}

TEST(ReceiveMalformed, a_datagram_too_short_for_a_header_is_refused)
{
    ErrorLog log;
    const Endpoint endpoint;
    const Peer peer("peer");
    for (size_t size = 1; size < 16; ++size) {
        for (const uint8_t byte : {uint8_t{0}, uint8_t{0xFF}}) {
            const Bytes bytes(size, byte);
            // The part of the length field that has not come reads as 0.
            Bytes padded_to_length = bytes;
            padded_to_length.resize(12);
            expect_refused(log, endpoint, peer, bytes, mismatch(size, word_at(padded_to_length, 8)));
        }
    }
}

TEST(ReceiveMalformed, a_short_datagram_whose_length_agrees_modulo_2_to_the_32_is_refused)
{
    ErrorLog log;
    const Endpoint endpoint;
    const Peer peer("peer");
    for (uint32_t size = 12; size < 16; ++size) {
        const uint32_t length = size - 16; // 0xFFFFFFFC and up
        Bytes bytes = datagram({0, 10, length, 0});
        bytes.resize(size);
        expect_refused(log, endpoint, peer, bytes, mismatch(size, length));
    }
}

TEST(ReceiveMalformed, a_datagram_of_more_than_1024_bytes_is_cut_and_refused)
{
    ErrorLog log;
    const Endpoint endpoint;
    const Peer peer("peer");
    for (const uint32_t size : {1025U, 1028U, 4000U}) {
        const uint32_t length = size - 16;
        expect_refused(log, endpoint, peer, datagram({0, 10, length, 0}, pattern(length)),
                       mismatch(1024, length));
    }
}

TEST(ReceiveMalformed, a_datagram_that_is_cut_to_the_length_that_it_promises_is_refused)
{
    ErrorLog log;
    const Endpoint endpoint;
    const Peer peer("peer");
    expect_refused(log, endpoint, peer, datagram({0, 10, 1008, 0}, pattern(1984)),
                   mismatch(1024, 1008));
}

TEST(ReceiveMalformed, an_empty_datagram_is_refused_with_result_10)
{
    ErrorLog log;
    const Endpoint endpoint;
    const Peer peer("peer");
    expect_refused(log, endpoint, peer, {},
                   {from_msg("Orderly shutdown occured!\n"),
                    from_msg("Receive common priority message failed! sret=10.\n")});
}

TEST(ReceiveStop, from_anybody_but_the_endpoint_itself_is_refused_whatever_its_type)
{
    ErrorLog log;
    const Endpoint endpoint;
    ASSERT_EQ(chdir("/tmp"), 0);
    sockaddr_un file = abstract_address(kMmName);
    file.sun_path[0] = 'x'; // a path that reads the same behind its first byte
    constexpr size_t kWhole = sizeof(sockaddr_un);
    const size_t name = offsetof(sockaddr_un, sun_path) + 1;
    const std::pair<sockaddr_un, size_t> others[] = {
        {abstract_address(kWmName), kWhole},
        {abstract_address("lc_socket_mm_commo"), kWhole},
        {abstract_address(std::string(kMmName) + "s"), kWhole},
        {abstract_address(kMmName + std::string("\0x", 2)), kWhole},
        {abstract_address(kMmName), name + strlen(kMmName)},
        {abstract_address(kMmName), name + strlen(kMmName) + 1},
        {abstract_address(kMmName), kWhole - 1},
        {file, kWhole},
    };
    const Peer nameless;
    expect_refused(log, endpoint, nameless, datagram({0, 1, 0, 0}), kNotAStop);
    for (const auto &[address, size] : others) {
        const Peer peer(address, size);
        for (const uint32_t type : {0U, 1U, 2U, 3U}) {
            expect_refused(log, endpoint, peer, datagram({type, 1, 0, 0}), kNotAStop);
        }
    }
}

TEST(ReceiveStop, from_the_endpoint_itself_but_with_a_body_is_refused)
{
    ErrorLog log;
    const Endpoint endpoint;
    const MessagePtr msg = make_message(IPC_MSG_ID_STOP, pattern(4));
    const ipc_addr self = address_record(kMmName);
    ASSERT_TRUE(until_rounds(1));
    ASSERT_EQ(ipc_msg_send_asy(&self, msg.get(), 4), IPC_SUCCESS);
    ASSERT_TRUE(until_rounds(2));
    EXPECT_EQ(log.lines(), kNotAStop);
}

TEST(ReceiveStop, from_the_endpoint_itself_ends_the_thread_even_as_a_response)
{
    ErrorLog log;
    const size_t threads = running_threads();
    const Endpoint endpoint({.handler = handler});
    const MessagePtr msg = make_message(IPC_MSG_ID_STOP, {}, IPC_MSG_TYPE_RESPONSE);
    const ipc_addr self = address_record(kMmName);
    ASSERT_EQ(ipc_msg_send_asy(&self, msg.get(), 0), IPC_SUCCESS);
    EXPECT_TRUE(eventually([=] { return running_threads() == threads; }));
    EXPECT_EQ(g_calls, 0U) << "a stop message is nobody else's business";
    EXPECT_EQ(log.lines(), Lines{});
}

TEST(ReceiveLog, is_silent_while_the_flag_file_is_absent)
{
    ErrorLog log;
    ErrorLog::switch_off();
    const Endpoint endpoint({.capacity = 1});
    const Peer peer("peer");
    for (const Bytes &bytes : {Bytes(), Bytes(3), datagram({0, 10, 8, 0}), datagram({0, 1, 0, 0}),
                               datagram({2, 10, 0, 9}), datagram({1, 2, 0, 0}), datagram({0, 3, 0, 0}),
                               datagram({0, 10, 0, 0}), datagram({0, 11, 0, 0})}) {
        deliver(peer, bytes);
    }
    drain(endpoint.queue);
    EXPECT_EQ(log.lines(), Lines{});
}

} // namespace receive_test
