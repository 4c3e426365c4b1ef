// Headers, session ids and search predicates.

#include "support/counted_memory.h"
#include "support/endpoint.h"
#include "support/error_log.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <thread>

namespace message_test {

using namespace testing_support;

static_assert(sizeof(ipc_msg_hdr) == 16);
static_assert(offsetof(ipc_msg_hdr, type) == 0 && offsetof(ipc_msg_hdr, msg_id) == 4);
static_assert(offsetof(ipc_msg_hdr, length) == 8 && offsetof(ipc_msg_hdr, session_id) == 12);

namespace {

struct Assigned {
    size_t size;
    uint32_t first_word;
};

Assigned assign(uint32_t body_len, uint32_t type)
{
    void *block = ipc_memory_assign(body_len, type);
    Assigned result = {memory().size_of(block), 0};
    memcpy(&result.first_word, block, sizeof(result.first_word));
    mem_free_ex(0, 0, 0, block);
    return result;
}

uint32_t next_session()
{
    ipc_msg_hdr msg = {};
    ipc_gen_seesion_id(&msg);
    return msg.session_id;
}

} // namespace

TEST(Message, buffer_has_16_header_bytes_and_starts_with_its_type)
{
    for (const uint32_t type : {0U, 1U, 2U, 4U}) {
        const Assigned assigned = assign(4, type);
        EXPECT_EQ(assigned.size, 20U) << type;
        EXPECT_EQ(assigned.first_word, type);
    }
    EXPECT_EQ(assign(0, 0).size, 16U);
    EXPECT_EQ(assign(1008, 0).size, 1024U);
}

TEST(Message, buffer_of_the_short_form_has_8_header_bytes)
{
    const Assigned assigned = assign(4, 3);
    EXPECT_EQ(assigned.size, 12U);
    EXPECT_EQ(assigned.first_word, 3U);
    EXPECT_EQ(assign(0, 3).size, 8U);
}

TEST(Message, buffer_is_allocated_with_the_tags_of_its_thread_and_family)
{
    memory().take_allocations();
    assign(4, 0);
    const std::vector<MemoryCall> allocations = memory().take_allocations();
    ASSERT_EQ(allocations.size(), 1U);
    EXPECT_EQ(allocations[0].owner, 0x3000000U);
    EXPECT_EQ(allocations[0].thread_tag, static_cast<uint32_t>(gettid()) & 0xFFFFU);
    EXPECT_NE(allocations[0].line, 0U);
}

TEST(Message, body_and_sender_are_found_by_functions_as_by_the_header)
{
    for (const uint32_t type : {0U, 1U, 2U, 3U}) {
        const MessagePtr msg = make_message(10, Bytes(8), type);
        EXPECT_EQ(ipc_msg_get_body(msg.get()), ipc_msg_body(msg.get())) << type;
        const auto *start = reinterpret_cast<const uint8_t *>(msg.get());
        EXPECT_EQ(static_cast<uint8_t *>(ipc_msg_get_body(msg.get())) - start, type == 3 ? 8 : 16);
    }
    for (const uint32_t length : {0U, 1U, 3U, 4U, 5U, 1008U}) {
        alignas(ipc_msg_hdr) uint8_t room[16 + 1008 + sizeof(ipc_addr)] = {};
        auto *msg = reinterpret_cast<ipc_msg_hdr *>(room);
        msg->length = length;
        EXPECT_EQ(ipc_msg_get_sender(msg), ipc_msg_sender(msg)) << length;
        EXPECT_EQ(reinterpret_cast<uint8_t *>(ipc_msg_get_sender(msg)) - room,
                  16 + (length + 3) / 4 * 4);
    }
}

TEST(Message, without_one_there_is_no_body_and_no_sender)
{
    ErrorLog log;
    const Lines refused = {from_msg("Para check failed! Para msg is NULL.\n")};
    EXPECT_EQ(ipc_msg_get_body(nullptr), nullptr);
    EXPECT_EQ(log.lines(), refused);
    EXPECT_EQ(ipc_msg_get_sender(nullptr), nullptr);
    EXPECT_EQ(log.lines(), refused);
}

TEST(Message, buffer_whose_size_does_not_fit_a_word_is_null_rather_than_short)
{
    EXPECT_EQ(ipc_memory_assign(UINT32_MAX, 0), nullptr);
    EXPECT_EQ(ipc_memory_assign(UINT32_MAX - 15, 0), nullptr);
    EXPECT_EQ(ipc_memory_assign(UINT32_MAX - 7, 3), nullptr);
}

TEST(Message, body_starts_behind_the_header_that_its_type_has)
{
    ipc_msg_hdr msg[2] = {};
    auto *start = reinterpret_cast<uint8_t *>(msg);
    for (const uint32_t type : {0U, 1U, 2U}) {
        msg->type = type;
        EXPECT_EQ(ipc_msg_body(msg), start + 16) << type;
    }
    msg->type = 3;
    EXPECT_EQ(ipc_msg_body(msg), start + 8);
}

TEST(Message, sender_starts_behind_the_body_on_a_multiple_of_4)
{
    uint32_t buffer[64] = {};
    auto *msg = reinterpret_cast<ipc_msg_hdr *>(buffer);
    auto *start = reinterpret_cast<uint8_t *>(buffer);
    const size_t offsets[] = {16, 20, 20, 20, 20, 24};
    for (uint32_t length = 0; length < 6; ++length) {
        msg->length = length;
        EXPECT_EQ(reinterpret_cast<uint8_t *>(ipc_msg_sender(msg)), start + offsets[length]) << length;
    }
}

TEST(Session, the_first_id_of_a_process_is_1_and_the_next_ones_count_up)
{
    EXPECT_EQ(next_session(), 1U);
    EXPECT_EQ(next_session(), 2U);
    EXPECT_EQ(next_session(), 3U);
}

TEST(Session, a_new_id_changes_nothing_else_in_the_header)
{
    ipc_msg_hdr msg = {7, 8, 9, 99};
    ipc_gen_seesion_id(&msg);
    EXPECT_EQ(msg.type, 7U);
    EXPECT_EQ(msg.msg_id, 8U);
    EXPECT_EQ(msg.length, 9U);
    EXPECT_EQ(msg.session_id, 1U);
}

TEST(Session, ids_of_several_threads_are_consecutive_without_gap_or_repetition)
{
    constexpr uint32_t kThreads = 8;
    constexpr uint32_t kEach = 1000;
    std::vector<uint32_t> ids(kThreads * kEach);
    std::vector<std::thread> threads;
    for (uint32_t t = 0; t < kThreads; ++t) {
        threads.emplace_back([&ids, t] {
            for (uint32_t i = 0; i < kEach; ++i) {
                ids[t * kEach + i] = next_session();
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    std::sort(ids.begin(), ids.end());
    std::vector<uint32_t> expected(ids.size());
    std::iota(expected.begin(), expected.end(), 1U);
    EXPECT_EQ(ids, expected);
}

TEST(Session, the_counter_is_the_processs_and_outlives_its_endpoint)
{
    EXPECT_EQ(next_session(), 1U);
    {
        const Endpoint endpoint;
        EXPECT_EQ(next_session(), 2U);
    }
    EXPECT_EQ(next_session(), 4U) << "3 went to the message that stopped the endpoint";
}

TEST(Match, a_waiter_matches_the_message_that_carries_its_first_word_as_session_id)
{
    const uint32_t waiter[] = {7, 9};
    ipc_msg_hdr msg = {9, 9, 9, 7};
    EXPECT_EQ(msg_id_match(waiter, &msg), 0U);
    msg = {7, 7, 7, 8};
    EXPECT_EQ(msg_id_match(waiter, &msg), 8U);
}

TEST(Match, a_registration_matches_the_identifier_in_its_first_word)
{
    const uint32_t registration[] = {7, 9};
    uint32_t notify_id = 7;
    EXPECT_EQ(notify_id_match(registration, &notify_id), 0U);
    notify_id = 9;
    EXPECT_EQ(notify_id_match(registration, &notify_id), 8U);
}

} // namespace message_test
