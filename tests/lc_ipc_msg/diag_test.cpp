// Reading the endpoint's socket on the caller's thread instead of the receive thread.

#include "support/call_notes.h"
#include "support/counted_memory.h"
#include "support/endpoint.h"
#include "support/error_log.h"

#include <set>

namespace diag_test {

using namespace testing_support;

namespace {

constexpr uint8_t kFill = 0xA5;
constexpr size_t kGuard = 64;
constexpr uint32_t kHold = 0x70000001; // keeps the receive thread in its handler
constexpr uint32_t kText = 0x70000002;
constexpr char kPeerName[] = "lc_socket_diag_peer";

std::atomic<bool> g_held;
std::atomic<bool> g_released;

uint32_t hold(ipc_msg_hdr *msg, uint32_t)
{
    if (msg->msg_id == kHold) {
        g_held = true;
        eventually([] { return g_released.load(); });
    }
    return 0;
}

Bytes message(const Bytes &body, uint32_t type = IPC_MSG_TYPE_ASYNC, uint32_t msg_id = kText)
{
    return datagram({type, msg_id, static_cast<uint32_t>(body.size()), 77}, body);
}

// What a call gave, in a buffer of its header and room bytes, filled where nothing was written.
struct Received {
    uint32_t result;
    uint32_t length;
    Bytes bytes;
    ipc_addr sender;

    bool is_untouched() const { return bytes == Bytes(bytes.size(), kFill); }
    bool sender_is(const Bytes &record) const
    {
        const auto *bytes_of_sender = reinterpret_cast<const uint8_t *>(&sender);
        return Bytes(bytes_of_sender, bytes_of_sender + sizeof(sender)) == record;
    }
    bool sender_is_untouched() const { return sender_is(Bytes(sizeof(sender), kFill)); }
};

Received receive(uint32_t room)
{
    Received received = {};
    received.length = room;
    received.bytes.assign(sizeof(ipc_msg_hdr) + room + kGuard, kFill);
    memset(static_cast<void *>(&received.sender), kFill, sizeof(received.sender));
    received.result = ipc_diag_msg_receive(received.bytes.data(), &received.length, &received.sender);
    const Bytes guard(received.bytes.end() - kGuard, received.bytes.end());
    EXPECT_EQ(guard, Bytes(kGuard, kFill)) << "written behind the buffer";
    received.bytes.resize(received.bytes.size() - kGuard);
    return received;
}

bool is_from(const Received &received, const std::string &name)
{
    return received.sender.priority == 0 && same_address(received.sender.sock, abstract_address(name));
}

// The beginning of what the caller got, and whether the rest is as it was.
void expect_bytes(const Received &received, const Bytes &expected)
{
    Bytes bytes = expected;
    bytes.resize(received.bytes.size(), kFill);
    EXPECT_EQ(received.bytes, bytes);
}

// An endpoint whose receive thread is busy, so that what is sent stays for the test to read.
class Diag : public testing::Test {
protected:
    Diag()
    {
        g_held = g_released = false;
        send(datagram({IPC_MSG_TYPE_ASYNC, kHold, 0, 0}));
        EXPECT_TRUE(eventually([] { return g_held.load(); }));
        blocks_ = memory().blocks_in_use();
    }
    ~Diag() override
    {
        EXPECT_EQ(memory().blocks_in_use(), blocks_) << "not freed";
        g_released = true;
    }

    void send(const Bytes &bytes) { EXPECT_TRUE(peer.send(kMmName, bytes)); }

    ErrorLog log;
    const Endpoint endpoint{{.handler = hold}};
    Peer peer{kPeerName};

private:
    size_t blocks_ = 0;
};

} // namespace

TEST(DiagWithoutEndpoint, is_not_initialised_whatever_its_arguments)
{
    ErrorLog log;
    const Received received = receive(16);
    EXPECT_EQ(received.result, IPC_ERR_NOT_INIT);
    EXPECT_EQ(received.length, 16U);
    EXPECT_TRUE(received.is_untouched());
    EXPECT_TRUE(received.sender_is_untouched());
    EXPECT_EQ(ipc_diag_msg_receive(nullptr, nullptr, nullptr), IPC_ERR_NOT_INIT);
    {
        const Endpoint endpoint;
    }
    EXPECT_EQ(receive(16).result, IPC_ERR_NOT_INIT) << "after the end";
    EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(Diag, arguments_must_not_be_null)
{
    uint8_t buffer[32];
    uint32_t length = 16;
    ipc_addr sender;
    EXPECT_EQ(ipc_diag_msg_receive(nullptr, &length, &sender), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{from_msg("Para check failed! Para out_buff is NULL.\n")});
    EXPECT_EQ(ipc_diag_msg_receive(buffer, nullptr, &sender), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{from_msg("Para check failed! Para out_len is NULL.\n")});
    EXPECT_EQ(ipc_diag_msg_receive(buffer, &length, nullptr), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{from_msg("Para check failed! Para src_addr is NULL.\n")});
    EXPECT_EQ(ipc_diag_msg_receive(nullptr, nullptr, nullptr), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), Lines{from_msg("Para check failed! Para out_buff is NULL.\n")});
}

TEST_F(Diag, gives_the_whole_datagram_its_body_length_and_its_sender)
{
    const Bytes sent = message(text("hello"));
    send(sent);
    const Received received = receive(100);
    EXPECT_EQ(received.result, IPC_SUCCESS);
    EXPECT_EQ(received.length, 5U);
    EXPECT_TRUE(is_from(received, kPeerName));
    expect_bytes(received, sent);
    EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(Diag, reads_with_room_for_1024_bytes_and_the_whole_address)
{
    send(message({}));
    memory().take();
    EXPECT_EQ(receive(0).result, IPC_SUCCESS);
    EXPECT_EQ(notes().receive_size, 1024U);
    EXPECT_EQ(notes().receive_address_size, 110U);
    const std::vector<MemoryCall> allocations = memory().take_allocations();
    ASSERT_EQ(allocations.size(), 1U);
    EXPECT_EQ(allocations[0].size, 1024U);
}

TEST_F(Diag, gives_a_sender_with_a_short_name_or_none_with_zeros_behind_it)
{
    EXPECT_TRUE(Peer().send(kMmName, message({})));
    Bytes record(sizeof(ipc_addr), 0);
    EXPECT_TRUE(receive(0).sender_is(record));

    const sockaddr_un address = abstract_address("short");
    const size_t size = offsetof(sockaddr_un, sun_path) + sizeof("short");
    memcpy(record.data() + offsetof(ipc_addr, sock), &address, size);
    EXPECT_TRUE(Peer(address, size).send(kMmName, message({})));
    EXPECT_TRUE(receive(0).sender_is(record));
}

TEST_F(Diag, room_may_be_just_enough)
{
    for (const size_t size : {0UL, 1UL, 1008UL}) {
        const Bytes sent = message(Bytes(size, 'x'));
        send(sent);
        const Received received = receive(static_cast<uint32_t>(size));
        EXPECT_EQ(received.result, IPC_SUCCESS) << size;
        EXPECT_EQ(received.length, size);
        expect_bytes(received, sent);
    }
}

TEST_F(Diag, room_may_be_whatever_32_bits_hold)
{
    for (const uint32_t room : {0xFFFFFFFFU, 0xFFFFFFF0U, 0x80000000U}) {
        const Bytes sent = message(text("hello"));
        send(sent);
        Bytes bytes(1024, kFill);
        uint32_t length = room;
        ipc_addr sender;
        EXPECT_EQ(ipc_diag_msg_receive(bytes.data(), &length, &sender), IPC_SUCCESS);
        EXPECT_EQ(length, 5U);
        EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 21), sent);
        EXPECT_EQ(Bytes(bytes.begin() + 21, bytes.end()), Bytes(1024 - 21, kFill));
    }
}

TEST_F(Diag, gives_messages_of_every_kind_as_they_are)
{
    for (const uint32_t type : {0U, 1U, 2U, 3U, 0xFFFFFFFFU}) {
        for (const uint32_t msg_id :
             {0U, IPC_MSG_ID_STOP, IPC_MSG_ID_REGISTER, IPC_MSG_ID_DEREGISTER, kText, 0xFFFFFFFFU}) {
            const Bytes sent = message(word(kText), type, msg_id);
            send(sent);
            const Received received = receive(4);
            EXPECT_EQ(received.result, IPC_SUCCESS);
            expect_bytes(received, sent);
        }
    }
    EXPECT_TRUE(peer.has_nothing()) << "a registration is not answered";
    EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(Diag, gives_a_stop_message_of_the_endpoint_itself_which_does_not_end_it)
{
    const ipc_addr self = address_record(kMmName);
    ipc_msg_hdr stop = {IPC_MSG_TYPE_ASYNC, IPC_MSG_ID_STOP, 0, 0};
    ASSERT_EQ(ipc_msg_send_asy(&self, &stop, 0), IPC_SUCCESS);
    const Received received = receive(0);
    EXPECT_EQ(received.result, IPC_SUCCESS);
    EXPECT_EQ(header_of(received.bytes).msg_id, IPC_MSG_ID_STOP);
    EXPECT_TRUE(is_from(received, kMmName));
    EXPECT_EQ(ipc_msg_send_asy(&self, &stop, 0), IPC_SUCCESS) << "it is still there";
    EXPECT_EQ(receive(0).result, IPC_SUCCESS);
}

TEST_F(Diag, body_longer_than_the_room_gives_5_and_its_beginning)
{
    const Bytes sent = message(text("0123456789"));
    send(sent);
    const Received received = receive(4);
    EXPECT_EQ(received.result, IPC_ERR_TOO_SMALL);
    EXPECT_EQ(received.length, 4U);
    expect_bytes(received, Bytes(sent.begin(), sent.begin() + 20));
    EXPECT_TRUE(is_from(received, kPeerName));

    send(sent);
    const Received header_only = receive(0);
    EXPECT_EQ(header_only.result, IPC_ERR_TOO_SMALL);
    EXPECT_EQ(header_only.length, 0U);
    expect_bytes(header_only, Bytes(sent.begin(), sent.begin() + 16));
    EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(Diag, length_that_is_not_the_datagrams_gives_4_and_nothing_is_copied)
{
    const struct {
        size_t size; // of the datagram
        uint32_t length;
        const char *told;
    } kDatagrams[] = {
        {20, 8, "Received length is 20, but length in message header is 8\n"},
        {20, 3, "Received length is 20, but length in message header is 3\n"},
        {16, 0xFFFFFFFF, "Received length is 16, but length in message header is 4294967295\n"},
        {15, 0, "Received length is 15, but length in message header is 0\n"},
        {1, 0, "Received length is 1, but length in message header is 0\n"},
        // Cut to 1024 bytes, whatever its header says.
        {1025, 1009, "Received length is 1024, but length in message header is 1009\n"},
        {1025, 1008, "Received length is 1024, but length in message header is 1008\n"},
    };
    for (const auto &[size, length, told] : kDatagrams) {
        Bytes sent = datagram({0, kText, length, 0}, Bytes(1100, 'x'));
        sent.resize(size);
        send(sent);
        const Received received = receive(1008);
        EXPECT_EQ(received.result, IPC_ERR_LENGTH) << told;
        EXPECT_EQ(received.length, 1008U);
        EXPECT_TRUE(received.is_untouched());
        EXPECT_TRUE(is_from(received, kPeerName));
        EXPECT_EQ(log.lines(), Lines{from_msg(std::string("Message length mismatched! ") + told)});
    }
}

TEST_F(Diag, datagram_without_a_byte_gives_10)
{
    send({});
    const Received received = receive(16);
    EXPECT_EQ(received.result, IPC_ERR_SOCKET);
    EXPECT_EQ(received.length, 16U);
    EXPECT_TRUE(is_from(received, kPeerName));
    EXPECT_TRUE(received.is_untouched());
    EXPECT_EQ(log.lines(), Lines{from_msg("Orderly shutdown occured!\n")});
}

TEST_F(Diag, error_of_the_socket_gives_10)
{
    send(message({}));
    calls::recvfrom.fail_nth(1, ECONNRESET);
    const Received received = receive(16);
    EXPECT_EQ(received.result, IPC_ERR_SOCKET);
    EXPECT_EQ(received.length, 16U);
    EXPECT_EQ(received.sender.priority, 0U);
    EXPECT_TRUE(received.is_untouched());
    EXPECT_EQ(log.lines(), Lines{from_msg("Receive message failed!", ECONNRESET)});
}

TEST_F(Diag, without_memory_gives_11_and_the_datagram_stays)
{
    const Bytes sent = message(text("still there"));
    send(sent);
    memory().fail(kDatagram);
    const Received received = receive(16);
    EXPECT_EQ(received.result, IPC_ERR_RESOURCE);
    EXPECT_EQ(received.length, 16U);
    EXPECT_TRUE(received.is_untouched());
    EXPECT_TRUE(received.sender_is_untouched());
    EXPECT_EQ(log.lines(), Lines{from_msg("Assign memory failed!\n")});
    expect_bytes(receive(16), sent);
}

TEST_F(Diag, waits_without_end_for_a_datagram)
{
    g_noted_calls.forget();
    const int before = calls::recvfrom.made;
    std::thread reader([] { EXPECT_EQ(receive(4).result, IPC_SUCCESS); });
    EXPECT_TRUE(eventually([] { return notes().receive_size != 0; }));
    send(message(word(1)));
    reader.join();
    EXPECT_EQ(calls::recvfrom.made, before + 1) << "it does not come back in between";
}

// ---- Beside the receive thread ----

TEST(DiagBesideTheReceiveThread, each_datagram_goes_to_one_of_both)
{
    constexpr uint32_t kCount = 500;
    const Peer peer(kPeerName);
    const Endpoint endpoint({.capacity = 2 * kCount});
    std::vector<uint32_t> read;
    std::thread reader([&read] {
        for (uint32_t value = 0; value < kCount;) {
            const Received received = receive(4);
            ASSERT_EQ(received.result, IPC_SUCCESS);
            value = word_at(received.bytes, sizeof(ipc_msg_hdr));
            read.push_back(value);
        }
    });
    for (uint32_t i = 0; i < kCount; ++i) {
        ASSERT_TRUE(peer.send(kMmName, message(word(i))));
    }
    // Whatever the thread does not take of these ends the reader.
    std::atomic<bool> joined = false;
    std::thread sender([&] {
        while (!joined) {
            peer.send(kMmName, message(word(kCount)));
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    reader.join();
    joined = true;
    sender.join();

    std::vector<uint32_t> queued;
    // The thread takes what is left, in order; behind it comes this.
    ASSERT_TRUE(peer.send(kMmName, message(word(kCount + 1))));
    for (uint32_t value = 0; value <= kCount;) {
        const MessagePtr taken = take(endpoint.queue, 5000);
        ASSERT_NE(taken, nullptr);
        value = word_at(message_bytes(*taken), sizeof(ipc_msg_hdr));
        queued.push_back(value);
    }
    std::multiset<uint32_t> both(read.begin(), read.end());
    both.insert(queued.begin(), queued.end());
    for (uint32_t i = 0; i < kCount; ++i) {
        EXPECT_EQ(both.count(i), 1U) << i;
    }
    EXPECT_TRUE(std::is_sorted(read.begin(), read.end()));
    EXPECT_TRUE(std::is_sorted(queued.begin(), queued.end()));
}

} // namespace diag_test
