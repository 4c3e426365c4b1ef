// The subscriber's side of the registry. The publisher is a bare socket.

#include "lc_ipc_msg/settled.h"
#include "support/call_notes.h"
#include "support/counted_memory.h"
#include "support/endpoint.h"
#include "support/error_log.h"

#include <thread>

namespace subscriber_test {

using namespace testing_support;

namespace {

constexpr const char *kPublisher = kWmName;
constexpr uint32_t kTopic = 20;
constexpr uint32_t kMinute = 60000;
const ipc_addr kPublisherAddress = address_record(kPublisher);

// Registers at a publisher that answers with these bytes behind the header.
uint32_t registered_with(const Bytes &answer)
{
    Peer publisher(kPublisher);
    const int rounds = calls::select.made;
    uint32_t result = UINT32_MAX;
    std::thread subscriber(
        [&result] { result = ipc_register_notify(&kPublisherAddress, kTopic, kMinute); });
    ipc_msg_hdr header = header_of(publisher.receive());
    header.type = IPC_MSG_TYPE_RESPONSE;
    header.length = static_cast<uint32_t>(answer.size());
    EXPECT_TRUE(publisher.reply(datagram(header, answer)));
    subscriber.join();
    EXPECT_TRUE(until_rounds(rounds + 1));
    return result;
}

class Subscriber : public ::testing::Test {
protected:
    Subscriber() { blocks = settled_blocks(); }

    ErrorLog log;
    Endpoint endpoint;
    size_t blocks; // in use when nothing is under way
};

} // namespace

TEST(SubscriberStopped, before_the_start_gives_2_without_a_line_whatever_the_arguments)
{
    ErrorLog log;
    EXPECT_EQ(ipc_register_notify(nullptr, kTopic, 0), IPC_ERR_NOT_INIT);
    EXPECT_EQ(ipc_deregister_notify(nullptr, kTopic), IPC_ERR_NOT_INIT);
    EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(Subscriber, register_checks_the_address_before_the_timeout)
{
    Peer publisher(kPublisher);
    EXPECT_EQ(ipc_register_notify(nullptr, kTopic, 0), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{from_msg("Para check failed! Para dest_addr is NULL.\n")});
    EXPECT_EQ(ipc_register_notify(&kPublisherAddress, kTopic, 0), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{from_msg("Para check failed! Para timeout is 0.\n")});
    EXPECT_TRUE(publisher.has_nothing());
}

TEST_F(Subscriber, register_sends_a_synchronous_request_with_the_identifier_and_a_fresh_session)
{
    Peer publisher(kPublisher);
    ipc_msg_hdr last = {};
    ipc_gen_seesion_id(&last);
    EXPECT_EQ(ipc_register_notify(&kPublisherAddress, kTopic, 1), IPC_ERR_TIMEOUT);
    EXPECT_EQ(publisher.receive(), datagram({1, 2, 4, last.session_id + 1}, word(kTopic)));
    EXPECT_TRUE(publisher.has_nothing());
}

TEST_F(Subscriber, register_gives_0_when_the_publisher_says_so)
{
    EXPECT_EQ(registered_with(word(0)), IPC_SUCCESS);
    EXPECT_EQ(log.lines(), Lines{});
    EXPECT_EQ(memory().blocks_in_use(), blocks);
}

TEST_F(Subscriber, register_gives_the_publishers_result_and_logs_it)
{
    for (const uint32_t result : {4U, 6U, 11U, UINT32_MAX}) {
        EXPECT_EQ(registered_with(word(result)), result);
        EXPECT_EQ(log.lines(),
                  Lines{from_msg("Server returned error: " + std::to_string(result) + ".\n")});
    }
    EXPECT_EQ(memory().blocks_in_use(), blocks);
}

TEST_F(Subscriber, register_without_an_answer_gives_7)
{
    const Peer publisher(kPublisher);
    EXPECT_EQ(ipc_register_notify(&kPublisherAddress, kTopic, 1), IPC_ERR_TIMEOUT);
    EXPECT_EQ(log.lines(), (Lines{from_msg("Sending sync message timeout occured!\n"),
                                  from_msg("Send notify register failed! sret=7.\n")}));
    EXPECT_EQ(memory().blocks_in_use(), blocks);
}

TEST_F(Subscriber, register_at_a_name_that_nobody_bound_gives_10)
{
    EXPECT_EQ(ipc_register_notify(&kPublisherAddress, kTopic, kMinute), IPC_ERR_SOCKET);
    EXPECT_EQ(log.lines(), (Lines{from_msg("Send failed!", ECONNREFUSED),
                                  from_msg("Send notify register failed! sret=10.\n")}));
    EXPECT_EQ(memory().blocks_in_use(), blocks);
}

TEST_F(Subscriber, register_with_an_answer_that_is_too_long_gives_5)
{
    EXPECT_EQ(registered_with(Bytes(8)), IPC_ERR_TOO_SMALL);
    EXPECT_EQ(log.lines(), (Lines{from_msg("Response message is greater than out buffer!\n"),
                                  from_msg("Send notify register failed! sret=5.\n")}));
    EXPECT_EQ(memory().blocks_in_use(), blocks);
}

// Whatever the response buffer held before must not be taken for the publisher's word.
TEST_F(Subscriber, register_with_an_answer_too_short_for_a_result_gives_4)
{
    for (size_t size = 0; size < 4; ++size) {
        EXPECT_EQ(registered_with(Bytes(size)), IPC_ERR_LENGTH) << size;
    }
    EXPECT_EQ(memory().blocks_in_use(), blocks);
}

TEST_F(Subscriber, register_with_each_failing_allocation_gives_11_and_nothing_is_sent)
{
    Peer publisher(kPublisher);
    const Lines own = {from_msg("Assign memory failed!\n")};
    const Lines of_the_wait = {from_msg("Assign memory failed!\n"),
                               from_msg("Send notify register failed! sret=11.\n")};
    const std::pair<Allocation, Lines> failures[] = {
        {kMessage, own}, {kMessage.number(2), own}, {kWaiter, of_the_wait}, {kWaiterNode, of_the_wait}};
    for (const auto &[what, lines] : failures) {
        memory().fail(what);
        EXPECT_EQ(ipc_register_notify(&kPublisherAddress, kTopic, kMinute), IPC_ERR_RESOURCE)
            << what.name;
        EXPECT_EQ(log.lines(), lines) << what.name;
        EXPECT_EQ(memory().blocks_in_use(), blocks) << what.name;
    }
    EXPECT_TRUE(publisher.has_nothing());
}

TEST_F(Subscriber, deregister_without_an_address_gives_1)
{
    EXPECT_EQ(ipc_deregister_notify(nullptr, kTopic), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{from_msg("Para check failed! Para dest_addr is NULL.\n")});
}

TEST_F(Subscriber, deregister_sends_an_ordinary_message_with_the_identifier_and_a_fresh_session)
{
    Peer publisher(kPublisher);
    ipc_msg_hdr last = {};
    ipc_gen_seesion_id(&last);
    EXPECT_EQ(ipc_deregister_notify(&kPublisherAddress, kTopic), IPC_SUCCESS);
    EXPECT_EQ(publisher.receive(), datagram({0, 3, 4, last.session_id + 1}, word(kTopic)));
    EXPECT_TRUE(publisher.has_nothing());
    EXPECT_EQ(memory().blocks_in_use(), blocks);
    EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(Subscriber, deregister_at_a_name_that_nobody_bound_gives_10)
{
    EXPECT_EQ(ipc_deregister_notify(&kPublisherAddress, kTopic), IPC_ERR_SOCKET);
    EXPECT_EQ(log.lines(), (Lines{from_msg("Send failed!", ECONNREFUSED),
                                  from_msg("Send notify deregister failed! sret=10.\n")}));
    EXPECT_EQ(memory().blocks_in_use(), blocks);
}

TEST_F(Subscriber, deregister_without_memory_gives_11_and_nothing_is_sent)
{
    Peer publisher(kPublisher);
    memory().fail(kMessage);
    EXPECT_EQ(ipc_deregister_notify(&kPublisherAddress, kTopic), IPC_ERR_RESOURCE);
    EXPECT_EQ(log.lines(), Lines{from_msg("Assign memory failed!\n")});
    EXPECT_EQ(memory().blocks_in_use(), blocks);
    EXPECT_TRUE(publisher.has_nothing());
}

TEST_F(Subscriber, is_silent_while_the_flag_file_is_absent)
{
    ErrorLog::switch_off();
    ipc_register_notify(nullptr, kTopic, 1);
    ipc_register_notify(&kPublisherAddress, kTopic, 0);
    ipc_register_notify(&kPublisherAddress, kTopic, 1);
    ipc_deregister_notify(nullptr, kTopic);
    ipc_deregister_notify(&kPublisherAddress, kTopic);
    memory().fail(kMessage);
    ipc_register_notify(&kPublisherAddress, kTopic, 1);
    memory().fail(kMessage);
    ipc_deregister_notify(&kPublisherAddress, kTopic);
    EXPECT_EQ(registered_with(word(6)), IPC_ERR_REFUSED);
    EXPECT_EQ(log.lines(), Lines{});
}

} // namespace subscriber_test
