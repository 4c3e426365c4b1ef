// The synchronous request.
#include "lc_ipc_msg.h"
#include "support/client.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace send_request_syn_test {

using namespace testing_support;

namespace {

constexpr uint32_t kId = 0x12345678;
constexpr uint32_t kLong = 20000;
// A deadline drops the fraction of the current second, so this one has usually passed already.
constexpr uint32_t kShort = 1;

using Words = std::vector<uint32_t>;

std::vector<uint8_t> bytes_of_words(const Words &words)
{
    const auto *start = reinterpret_cast<const uint8_t *>(words.data());
    return {start, start + words.size() * sizeof(uint32_t)};
}

AnsweringPeer::Answer answer_with(const Words &words)
{
    return [words](Peer &peer, const WireMessage &request) {
        peer.respond(request, bytes_of_words(words));
    };
}

// A request with room for `room` words in a record of more, all pre-filled.
struct Outcome {
    uint32_t delivered;
    uint32_t length;
    Words record = {91, 92, 93, 94};
};

Outcome request_with_room(uint32_t room, uint32_t timeout = kLong, uint32_t module = 1)
{
    Outcome outcome = {};
    outcome.length = room * 4;
    outcome.delivered =
        send_request_syn(module, kId, nullptr, 0, timeout, outcome.record.data(), &outcome.length);
    return outcome;
}

void expect_nothing(const Outcome &outcome, uint32_t length)
{
    EXPECT_EQ(outcome.delivered, 0U);
    EXPECT_EQ(outcome.length, length);
    EXPECT_EQ(outcome.record, (Words{91, 92, 93, 94}));
    EXPECT_EQ(trace_text(), "");
}

} // namespace

using SendRequestSyn = Client;

TEST_F(SendRequestSyn, sends_a_request_of_type_1_with_its_body)
{
    AnsweringPeer wan_manager(answer_with({0}));
    const std::vector<uint8_t> body = {1, 2, 3, 4, 5, 6, 7};
    uint32_t result = 9;
    uint32_t length = sizeof(result);
    EXPECT_EQ(send_request_syn(1, kId, body.data(), 7, kLong, &result, &length), 1U);
    const std::vector<WireMessage> &received = wan_manager.stop();
    ASSERT_EQ(received.size(), 1U);
    expect_header(received[0], IPC_MSG_TYPE_REQUEST, kId, 7);
    EXPECT_EQ(received[0].body, body);
    EXPECT_NE(received[0].header.session_id, 0U);
}

TEST_F(SendRequestSyn, body_pointer_with_length_0_sends_no_body_and_length_without_body_that_many_bytes)
{
    AnsweringPeer wan_manager(answer_with({0}));
    uint32_t result = 9;
    uint32_t length = sizeof(result);
    EXPECT_EQ(send_request_syn(1, kId, "body", 0, kLong, &result, &length), 1U);
    EXPECT_EQ(send_request_syn(1, kId, nullptr, 8, kLong, &result, &length), 1U);
    const std::vector<WireMessage> &received = wan_manager.stop();
    ASSERT_EQ(received.size(), 2U);
    expect_header(received[0], IPC_MSG_TYPE_REQUEST, kId, 0);
    expect_header(received[1], IPC_MSG_TYPE_REQUEST, kId, 8);
    EXPECT_EQ(received[1].header.session_id, received[0].header.session_id + 1);
}

TEST_F(SendRequestSyn, copies_what_came_and_fits_and_its_length_whatever_its_result)
{
    const struct {
        Words answer;
        uint32_t room;
        uint32_t delivered;
        uint32_t length;
        Words record;
    } answers[] = {
        {{0, 7, 8}, 3, 1, 12, {0, 7, 8, 94}}, {{0}, 3, 1, 4, {0, 92, 93, 94}},
        {{}, 3, 1, 0, {91, 92, 93, 94}},      {{0xFFFFFFFF}, 1, 1, 4, {0xFFFFFFFF, 92, 93, 94}},
        {{0, 7, 8}, 2, 0, 8, {0, 7, 93, 94}},
    };
    for (const auto &[answer, room, delivered, length, record] : answers) {
        AnsweringPeer wan_manager(answer_with(answer));
        const Outcome outcome = request_with_room(room);
        EXPECT_EQ(outcome.delivered, delivered);
        EXPECT_EQ(outcome.length, length);
        EXPECT_EQ(outcome.record, record);
    }
    EXPECT_EQ(trace_text(), "");
}

TEST_F(SendRequestSyn, room_of_0_takes_an_empty_response_only)
{
    AnsweringPeer wan_manager([](Peer &peer, const WireMessage &request) {
        const size_t words = request.header.length / sizeof(uint32_t);
        peer.respond(request, bytes_of_words(Words(words, 5)));
    });
    uint32_t length = 0;
    EXPECT_EQ(send_request_syn(1, kId, nullptr, 0, kLong, nullptr, &length), 1U);
    EXPECT_EQ(length, 0U);
    const uint32_t body = 1;
    EXPECT_EQ(send_request_syn(1, kId, &body, sizeof(body), kLong, nullptr, &length), 0U);
    EXPECT_EQ(length, 0U);
}

TEST_F(SendRequestSyn, to_nobody_gives_0_and_the_record_keeps_the_callers_values)
{
    expect_nothing(request_with_room(3), 12);
}

TEST_F(SendRequestSyn, to_an_unknown_module_gives_0_and_the_record_keeps_the_callers_values)
{
    expect_nothing(request_with_room(2, kLong, 8), 8);
}

TEST_F(SendRequestSyn, without_answer_in_time_gives_0_and_the_record_keeps_the_callers_values)
{
    AnsweringPeer wan_manager;
    expect_nothing(request_with_room(3, kShort), 12);
    EXPECT_EQ(wan_manager.stop().size(), 1U);
}

TEST_F(SendRequestSyn, time_out_of_0_gives_0_and_sends_nothing)
{
    AnsweringPeer wan_manager(answer_with({0}));
    expect_nothing(request_with_room(1, 0), 4);
    EXPECT_EQ(wan_manager.stop().size(), 0U);
}

TEST_F(SendRequestSyn, late_response_does_not_answer_the_next_request)
{
    WireMessage unanswered;
    AnsweringPeer wan_manager([&](Peer &peer, const WireMessage &request) {
        if (unanswered.header.msg_id == 0) {
            unanswered = request;
            return;
        }
        peer.respond(unanswered, bytes_of_words({1, 1}));
        peer.respond(request, bytes_of_words({0, 2}));
    });
    EXPECT_EQ(request_with_room(2, kShort).delivered, 0U);
    const Outcome outcome = request_with_room(2);
    EXPECT_EQ(outcome.delivered, 1U);
    EXPECT_EQ(outcome.record, (Words{0, 2, 93, 94}));
}

TEST_F(SendRequestSyn, of_several_threads_each_gets_its_own_answer)
{
    constexpr uint32_t kThreads = 8;
    constexpr uint32_t kRequests = 100;
    AnsweringPeer wan_manager([](Peer &peer, const WireMessage &request) {
        peer.respond(request, bytes_of_words({0, request.word() + 1}));
    });
    std::vector<std::thread> threads;
    for (uint32_t thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([thread] {
            for (uint32_t i = 0; i < kRequests; ++i) {
                const uint32_t number = thread * kRequests + i;
                lct_value_rsp response = {-1, 0};
                uint32_t length = sizeof(response);
                EXPECT_EQ(send_request_syn(1, kId, &number, 4, kLong, &response, &length), 1U);
                EXPECT_EQ(response.value, number + 1);
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wan_manager.stop().size(), kThreads * kRequests);
}

TEST(SendRequestSynNotStarted, gives_0_and_the_record_keeps_the_callers_values)
{
    Peer peer(kWanManagerSocket);
    expect_nothing(request_with_room(2), 8);
    EXPECT_TRUE(peer.has_nothing());
}

} // namespace send_request_syn_test
