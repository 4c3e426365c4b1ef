// The publisher's side: register and deregister requests, and the fan-out. Subscribers are bare
// sockets.

#include "lc_ipc_msg/settled.h"
#include "support/call_notes.h"
#include "support/counted_memory.h"
#include "support/endpoint.h"
#include "support/error_log.h"
#include "support/library_calls.h"

#include <atomic>
#include <thread>

namespace registry_test {

using namespace testing_support;

namespace {

constexpr uint32_t kTopic = 20;
constexpr uint32_t kOtherTopic = 21;
constexpr size_t kUnpaddedSize = offsetof(sockaddr_un, sun_path) + sizeof("peer"); // a zero before it

std::atomic<uint32_t> g_checked{0}; // the identifier that was checked last
std::atomic<uint32_t> g_accept{1};

uint32_t reg_check(uint32_t notify_id)
{
    g_checked = notify_id;
    return g_accept;
}

void deliver(const Peer &peer, const Bytes &bytes) { deliver(peer, kMmName, bytes); }

// Registers and gives the result that the publisher answered with.
uint32_t subscribe(Peer &peer, uint32_t notify_id = kTopic)
{
    deliver(peer, register_request(notify_id, 77));
    const Bytes response = peer.receive();
    EXPECT_EQ(response.size(), 20U);
    return word_at(response, 16);
}

void unsubscribe(Peer &peer, uint32_t notify_id = kTopic)
{
    deliver(peer, deregister_request(notify_id));
    EXPECT_TRUE(peer.has_nothing()) << "there is no answer";
}

Bytes notification(uint32_t notify_id) { return datagram({0, notify_id, 3, 0}, pattern(3)); }

void notify(uint32_t notify_id = kTopic)
{
    const MessagePtr msg = make_message(notify_id, pattern(3));
    EXPECT_EQ(ipc_msg_notify(msg.get(), 3), IPC_SUCCESS);
}

// What the peer has got since the last time.
std::vector<Bytes> received(Peer &peer)
{
    std::vector<Bytes> all;
    while (!peer.has_nothing()) {
        all.push_back(peer.receive());
    }
    return all;
}

const std::vector<Bytes> kOnce = {notification(kTopic)};
const std::vector<Bytes> kNothing = {};

Lines failed(const std::string &kind, uint32_t result, Lines lines = {})
{
    const std::string number = std::to_string(result);
    lines.push_back(from_msg("Handle " + kind + " request failed!, sret=" + number + ".\n"));
    lines.push_back(from_msg("Receive common priority message failed! sret=" + number + ".\n"));
    return lines;
}

class Registry : public ::testing::Test {
protected:
    ErrorLog log;
    Endpoint endpoint{{.reg_check = reg_check}};
    Peer peer{"peer"};
};

} // namespace

TEST_F(Registry, a_synchronous_request_is_answered_with_a_response_that_carries_its_session)
{
    deliver(peer, register_request(kTopic, 77));
    EXPECT_EQ(peer.receive(), datagram({2, 2, 4, 77}, word(0)));
    EXPECT_TRUE(same_address(peer.sender(), abstract_address(kMmName)));
    EXPECT_EQ(g_checked, kTopic);
    EXPECT_EQ(queued(), 0U);
    EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(Registry, any_other_request_is_answered_with_an_ordinary_message)
{
    for (const uint32_t type : {0U, 3U}) {
        deliver(peer, register_request(kTopic, 77, type));
        EXPECT_EQ(peer.receive(), datagram({0, 2, 4, 77}, word(0))) << type;
    }
}

TEST_F(Registry, a_subscriber_gets_the_notifications_of_its_identifier_and_no_others)
{
    ASSERT_EQ(subscribe(peer), 0U);
    notify(kOtherTopic);
    EXPECT_EQ(received(peer), kNothing);
    notify();
    EXPECT_EQ(received(peer), kOnce);
    notify();
    EXPECT_EQ(received(peer), kOnce);
}

TEST_F(Registry, a_notification_goes_out_as_type_0_and_the_caller_keeps_it)
{
    ASSERT_EQ(subscribe(peer), 0U);
    const size_t blocks = memory().blocks_in_use();
    const MessagePtr msg = make_message(kTopic, pattern(3), 1);
    EXPECT_EQ(ipc_msg_notify(msg.get(), 3), IPC_SUCCESS);
    EXPECT_EQ(received(peer), kOnce);
    EXPECT_EQ(memory().blocks_in_use(), blocks + 1);
}

TEST_F(Registry, registering_twice_is_answered_with_0_and_keeps_one_address)
{
    ASSERT_EQ(subscribe(peer), 0U);
    const size_t blocks = memory().blocks_in_use();
    EXPECT_EQ(subscribe(peer), 0U);
    EXPECT_EQ(memory().blocks_in_use(), blocks);
    notify();
    EXPECT_EQ(received(peer), kOnce);
    unsubscribe(peer);
    notify();
    EXPECT_EQ(received(peer), kNothing);
}

TEST_F(Registry, one_subscriber_may_have_several_identifiers)
{
    ASSERT_EQ(subscribe(peer, kTopic), 0U);
    ASSERT_EQ(subscribe(peer, kOtherTopic), 0U);
    notify(kOtherTopic);
    notify(kTopic);
    EXPECT_EQ(received(peer), (std::vector<Bytes>{notification(kOtherTopic), notification(kTopic)}));
    unsubscribe(peer, kOtherTopic);
    notify(kOtherTopic);
    notify(kTopic);
    EXPECT_EQ(received(peer), kOnce);
}

TEST_F(Registry, subscribers_get_a_notification_in_the_order_in_which_they_registered)
{
    Peer third("third");
    Peer first("first");
    Peer second("second");
    for (Peer *subscriber : {&first, &second, &third}) {
        ASSERT_EQ(subscribe(*subscriber), 0U);
    }
    take_sent();
    notify();
    std::vector<std::string> order;
    for (const SentDatagram &sent : take_sent()) {
        order.emplace_back(reinterpret_cast<const char *>(&sent.address[3]));
    }
    EXPECT_EQ(order, (std::vector<std::string>{"first", "second", "third"}));
    EXPECT_EQ(received(third), kOnce);
}

TEST_F(Registry, a_request_whose_body_is_not_4_bytes_is_answered_with_4_and_not_checked)
{
    for (const uint32_t size : {0U, 3U, 8U}) {
        Bytes body = word(kTopic);
        body.resize(size);
        deliver(peer, datagram({1, 2, size, 77}, body));
        EXPECT_EQ(peer.receive(), datagram({2, 2, 4, 77}, word(4))) << size;
        EXPECT_EQ(log.lines(), failed("register", 4, {from_msg("Not invalid register message!\n")}));
    }
    EXPECT_EQ(g_checked, 0U);
    notify();
    EXPECT_EQ(received(peer), kNothing);
}

TEST_F(Registry, a_refused_identifier_is_answered_with_6_and_nothing_is_stored)
{
    const size_t blocks = settled_blocks();
    g_accept = 0;
    EXPECT_EQ(subscribe(peer), 6U);
    EXPECT_EQ(g_checked, kTopic);
    EXPECT_EQ(log.lines(), failed("register", 6));
    EXPECT_EQ(memory().blocks_in_use(), blocks);
    notify();
    EXPECT_EQ(received(peer), kNothing);
}

TEST(RegistryCheck, any_answer_but_0_accepts_and_without_a_check_every_identifier_is)
{
    Peer peer("peer");
    {
        g_accept = 0x80000000;
        const Endpoint endpoint({.reg_check = reg_check});
        EXPECT_EQ(subscribe(peer), 0U);
    }
    calls::select.made = 0;
    const Endpoint endpoint;
    for (const uint32_t notify_id : {0U, 1U, kTopic, UINT32_MAX}) {
        EXPECT_EQ(subscribe(peer, notify_id), 0U);
    }
}

TEST_F(Registry, deregistering_ends_the_notifications_of_that_subscriber_only)
{
    Peer other("other");
    Peer third("third");
    for (Peer *subscriber : {&peer, &other, &third}) {
        ASSERT_EQ(subscribe(*subscriber), 0U);
    }
    unsubscribe(other);
    notify();
    EXPECT_EQ(received(peer), kOnce);
    EXPECT_EQ(received(other), kNothing);
    EXPECT_EQ(received(third), kOnce);
}

TEST_F(Registry, a_subscriber_may_come_back)
{
    ASSERT_EQ(subscribe(peer), 0U);
    unsubscribe(peer);
    ASSERT_EQ(subscribe(peer), 0U);
    notify();
    EXPECT_EQ(received(peer), kOnce);
}

TEST_F(Registry, without_memory_for_the_answer_there_is_none)
{
    const size_t blocks = settled_blocks();
    memory().fail(kMessage);
    deliver(peer, register_request(kTopic, 77));
    EXPECT_TRUE(peer.has_nothing());
    EXPECT_EQ(log.lines(), failed("register", 11, {from_msg("Assign memory failed!\n")}));
    EXPECT_EQ(memory().blocks_in_use(), blocks);
    notify();
    EXPECT_EQ(received(peer), kNothing);
}

TEST_F(Registry, allocates_the_node_before_what_it_carries)
{
    memory().take();
    ASSERT_EQ(subscribe(peer), 0U);
    EXPECT_EQ(memory().take_names({kRegistrationNode, kRegistration, kList, kSubscriber}),
              (std::vector<std::string>{kRegistrationNode.name, kRegistration.name, kList.name,
                                        kRegistrationNode.name, kSubscriber.name}));
}

TEST_F(Registry, deregistering_frees_the_address)
{
    ASSERT_EQ(subscribe(peer), 0U);
    const size_t blocks = memory().blocks_in_use();
    Peer other("other");
    ASSERT_EQ(subscribe(other), 0U);
    unsubscribe(other);
    EXPECT_EQ(memory().blocks_in_use(), blocks);
    unsubscribe(peer);
    EXPECT_EQ(memory().blocks_in_use(), blocks - 2) << "the registration itself stays";
    notify();
    EXPECT_EQ(received(peer), kNothing);
}

TEST_F(Registry, deregistering_what_is_not_registered_changes_nothing)
{
    Peer stranger("stranger");
    unsubscribe(stranger);
    ASSERT_EQ(subscribe(peer), 0U);
    unsubscribe(stranger);
    unsubscribe(peer, kOtherTopic);
    notify();
    EXPECT_EQ(received(peer), kOnce);
    EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(Registry, a_deregister_request_whose_body_is_not_4_bytes_is_refused_without_an_answer)
{
    ASSERT_EQ(subscribe(peer), 0U);
    for (const uint32_t size : {0U, 3U, 8U}) {
        Bytes body = word(kTopic);
        body.resize(size);
        deliver(peer, datagram({0, 3, size, 0}, body));
        EXPECT_EQ(log.lines(),
                  failed("deregister", 4, {from_msg("Not invalid deregister message!\n")}));
    }
    notify();
    EXPECT_EQ(received(peer), kOnce);
}

TEST_F(Registry, a_list_failure_while_deregistering_is_reported_and_the_subscriber_stays)
{
    ASSERT_EQ(subscribe(peer), 0U);
    const size_t blocks = memory().blocks_in_use();
    calls::lc_list_del_node.fail_nth(1);
    unsubscribe(peer);
    EXPECT_EQ(log.lines(), failed("deregister", 3));
    EXPECT_EQ(memory().blocks_in_use(), blocks);
    notify();
    EXPECT_EQ(received(peer), kOnce);
}

TEST_F(Registry, an_answer_that_cannot_be_sent_is_logged_and_the_registration_stands)
{
    ASSERT_EQ(subscribe(peer), 0U);
    Peer other("other");
    ASSERT_TRUE(until_rounds(1));
    calls::sendto.fail_nth(1, ENOBUFS);
    deliver(other, register_request(kTopic, 77));
    EXPECT_TRUE(other.has_nothing());
    EXPECT_EQ(log.lines(), (Lines{from_msg("Send failed!", ENOBUFS),
                                  from_msg("Send register response to client failed! sret=10.\n")}));
    notify();
    EXPECT_EQ(received(other), kOnce);
    EXPECT_EQ(received(peer), kOnce);
}

TEST_F(Registry, a_request_from_a_socket_without_a_name_cannot_be_answered)
{
    const Peer nameless;
    deliver(nameless, register_request(kTopic, 77));
    EXPECT_EQ(log.lines(), (Lines{from_msg("Send failed!", EINVAL),
                                  from_msg("Send register response to client failed! sret=10.\n")}));
}

// The kernel takes a module's name without its padding for another name, while its record is the
// module's: the answer, itself a request, would go to and fro between two modules for good.
TEST_F(Registry, a_lookalike_of_a_module_neither_registers_it_nor_has_it_answered)
{
    for (const uint32_t type : {0U, 1U}) {
        deliver(Peer(abstract_address("peer"), kUnpaddedSize), register_request(kTopic, 77, type));
        notify();
        EXPECT_EQ(received(peer), kNothing);
        EXPECT_EQ(log.lines(), failed("register", IPC_ERR_LENGTH));
    }
}

TEST_F(Registry, a_lookalike_of_a_subscriber_cannot_deregister_it)
{
    ASSERT_EQ(subscribe(peer), 0U);
    deliver(Peer(abstract_address("peer"), kUnpaddedSize), deregister_request(kTopic));
    EXPECT_EQ(log.lines(), failed("deregister", IPC_ERR_LENGTH));
    notify();
    EXPECT_EQ(received(peer), kOnce);
}

TEST_F(Registry, each_failing_allocation_of_a_further_subscriber_leaves_the_first_alone)
{
    ASSERT_EQ(subscribe(peer), 0U);
    Peer other("other");
    const size_t blocks = memory().blocks_in_use();
    for (const Allocation &what : {kSubscriber, kRegistrationNode}) {
        memory().fail(what);
        EXPECT_EQ(subscribe(other), 11U) << what.name;
        EXPECT_EQ(log.lines(), failed("register", 11, {from_msg("Assign memory failed!\n")}));
        EXPECT_EQ(memory().blocks_in_use(), blocks) << what.name;
    }
    notify();
    EXPECT_EQ(received(peer), kOnce);
    EXPECT_EQ(received(other), kNothing);
    EXPECT_EQ(subscribe(other), 0U);
}

TEST_F(Registry, each_list_failure_of_a_first_registration_is_answered_with_11)
{
    const size_t blocks = settled_blocks();
    const std::string texts[] = {"Add to list g_reg_notify_list.list_head failed! sret=1\n",
                                 "Add to list mgt->mq_head failed! sret=1\n"};
    int seen[] = {0, 0};
    for (int nth = 1; nth <= 2; ++nth) {
        calls::lc_list_add_at_tail.fail_nth(nth);
        EXPECT_EQ(subscribe(peer), 11U) << nth;
        const Lines lines = log.lines();
        for (size_t i = 0; i < 2; ++i) {
            seen[i] += lines == failed("register", 11, {from_msg(texts[i])}) ? 1 : 0;
        }
        EXPECT_EQ(memory().blocks_in_use(), blocks) << nth;
        notify();
        EXPECT_EQ(received(peer), kNothing) << nth;
    }
    EXPECT_EQ(seen[0], 1);
    EXPECT_EQ(seen[1], 1);
    EXPECT_EQ(subscribe(peer), 0U);
}

TEST_F(Registry, records_carry_the_tag_of_synchronous_records)
{
    ASSERT_TRUE(until_rounds(1));
    memory().take_allocations();
    ASSERT_EQ(subscribe(peer), 0U);
    int own = 0;
    for (const MemoryCall &allocation : memory().take_allocations()) {
        own += allocation.owner == 0x3000001U ? 1 : 0;
    }
    EXPECT_EQ(own, 2 + 4) << "the datagram's two buffers; two nodes, a registration, an address";
}

TEST(Notify, before_the_start_gives_2_without_a_line_whatever_the_arguments)
{
    ErrorLog log;
    EXPECT_EQ(ipc_msg_notify(nullptr, 0), IPC_ERR_NOT_INIT);
    EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(Registry, a_notification_of_null_gives_1)
{
    EXPECT_EQ(ipc_msg_notify(nullptr, 0), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{from_msg("Para check failed! Para buff is NULL.\n")});
}

TEST_F(Registry, an_identifier_that_nobody_registered_gives_0_and_sends_nothing)
{
    ASSERT_EQ(subscribe(peer), 0U);
    take_sent();
    notify(kOtherTopic);
    unsubscribe(peer);
    notify();
    EXPECT_TRUE(take_sent().empty());
    EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(Registry, a_wrong_length_gives_0_and_is_logged_for_each_subscriber)
{
    Peer other("other");
    ASSERT_EQ(subscribe(peer), 0U);
    ASSERT_EQ(subscribe(other), 0U);
    const MessagePtr msg = make_message(kTopic, pattern(3));
    EXPECT_EQ(ipc_msg_notify(msg.get(), 4), IPC_SUCCESS);
    const std::string line = from_msg("Message length mismatched! Given length is 4, but length in "
                                      "message header is 3\n");
    EXPECT_EQ(log.lines(), (Lines{line, line}));
    EXPECT_EQ(received(peer), kNothing);
    EXPECT_EQ(received(other), kNothing);
}

TEST_F(Registry, a_subscriber_that_is_gone_does_not_stop_the_others_and_stays_registered)
{
    Peer last("last");
    {
        Peer dead("dead");
        for (Peer *subscriber : {&peer, &dead, &last}) {
            ASSERT_EQ(subscribe(*subscriber), 0U);
        }
    }
    notify();
    EXPECT_EQ(received(peer), kOnce);
    EXPECT_EQ(received(last), kOnce);
    EXPECT_EQ(log.lines(), Lines{from_msg("Send failed!", ECONNREFUSED)});
    Peer risen("dead");
    notify();
    EXPECT_EQ(received(risen), kOnce);
}

TEST_F(Registry, subscribers_may_come_and_go_while_notifications_go_out)
{
    std::atomic<bool> done{false};
    std::thread publisher([&done] {
        while (!done) {
            notify();
        }
    });
    for (int round = 0; round < 200; ++round) {
        ASSERT_TRUE(peer.send(kMmName, register_request(kTopic, 77)));
        uint32_t got = 0;
        // The answer, and whatever notifications come before and after it.
        while (got != IPC_MSG_ID_REGISTER) {
            got = header_of(peer.receive()).msg_id;
        }
        ASSERT_TRUE(peer.send(kMmName, deregister_request(kTopic)));
        received(peer);
    }
    // The publisher may be waiting for room at the peer.
    done = true;
    std::thread reader([this] {
        while (!peer.receive(200).empty()) {
        }
    });
    publisher.join();
    reader.join();
}

TEST(RegistrationRecord, destroying_none_gives_0) { EXPECT_EQ(reg_notify_node_destroy(nullptr), 0U); }

TEST(RegistrationRecord, destroying_one_frees_its_addresses_and_zeroes_it)
{
    struct Record {
        uint32_t notify_id;
        lc_list *addr_list;
    };
    auto *record = static_cast<Record *>(mem_malloc_ex(0, 0, 0, sizeof(Record)));
    *record = {kTopic, lc_list_create()};
    for (int i = 0; i < 2; ++i) {
        auto *node = static_cast<lc_list_node *>(mem_malloc_ex(0, 0, 0, sizeof(lc_list_node)));
        *node = {};
        node->data = mem_malloc_ex(0, 0, 0, sizeof(ipc_addr));
        ASSERT_EQ(lc_list_add_at_tail(record->addr_list, node), LC_LIST_SUCCESS);
    }
    memory().watch(record);
    EXPECT_EQ(reg_notify_node_destroy(record), 0U);
    EXPECT_TRUE(memory().watched_was_freed_zeroed());
    EXPECT_EQ(memory().blocks_in_use(), 0U);
}

TEST_F(Registry, is_silent_while_the_flag_file_is_absent)
{
    ErrorLog::switch_off();
    ipc_msg_notify(nullptr, 0);
    deliver(peer, datagram({1, 2, 0, 77}));
    deliver(peer, datagram({0, 3, 0, 77}));
    received(peer);
    g_accept = 0;
    EXPECT_EQ(subscribe(peer), 6U);
    g_accept = 1;
    for (const Allocation &what :
         {kRegistration, kRegistrationNode, kList, kSubscriber, kRegistrationNode.number(2)}) {
        memory().fail(what);
        EXPECT_EQ(subscribe(peer), 11U) << what.name;
    }
    for (int nth = 1; nth <= 2; ++nth) {
        calls::lc_list_add_at_tail.fail_nth(nth);
        EXPECT_EQ(subscribe(peer), 11U);
    }
    deliver(Peer(), register_request(kTopic, 77));
    notify();
    EXPECT_EQ(log.lines(), Lines{});
}

} // namespace registry_test
