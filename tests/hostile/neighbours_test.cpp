// Attacks of other processes on an endpoint, and deadlocks of an endpoint with itself. The floods are
// in flood.c.

#include "support/endpoint.h"

#include <atomic>
#include <functional>
#include <future>
#include <memory>

using namespace testing_support;

namespace {

constexpr char kHonest[] = "lc_socket_wm_common";
constexpr char kSilent[] = "silent";
constexpr uint32_t kNews = 20;
constexpr uint32_t kMessage = 10;

// What arrives here can only come from the receive thread.
bool receives(const Endpoint &endpoint, const Peer &peer = Peer("honest"))
{
    if (!peer.send(kMmName, datagram({IPC_MSG_TYPE_ASYNC, kMessage, 0, 0}))) {
        return false;
    }
    const MessagePtr msg = take(endpoint.queue, 10000);
    return msg != nullptr && msg->msg_id == kMessage;
}

// The result of a request to a peer that answers at once.
uint32_t asked(uint32_t timeout)
{
    Peer honest(kHonest);
    std::future<uint32_t> result = std::async(std::launch::async, [timeout] {
        const MessagePtr request = make_message(50);
        ipc_gen_seesion_id(request.get());
        const ipc_addr to = address_record(kHonest);
        ipc_msg_hdr response;
        uint32_t length = 0;
        return ipc_msg_send_syn(&to, request.get(), 0, timeout, &response, &length);
    });
    ipc_msg_hdr header = header_of(honest.receive());
    header.type = IPC_MSG_TYPE_RESPONSE;
    EXPECT_TRUE(honest.reply(datagram(header)));
    return result.get();
}

constexpr uint32_t kPatiently = 20000;
constexpr uint32_t kBriefly = 1500;

// Does the same again and again on a thread of its own, as long as the result is 0.
class Repeated {
public:
    explicit Repeated(std::function<uint32_t()> call, size_t times = SIZE_MAX)
        : last_(std::async(std::launch::async, [this, call = std::move(call), times] {
              uint32_t result = IPC_SUCCESS;
              while (done < times && result == IPC_SUCCESS) {
                  result = call();
                  done += result == IPC_SUCCESS ? 1 : 0;
              }
              return result;
          }))
    {
    }

    bool is_held()
    {
        return last_.wait_for(std::chrono::milliseconds(100)) != std::future_status::ready;
    }
    // Does not hold when it ends instead.
    bool comes_to_be_held()
    {
        size_t before;
        do {
            before = done;
            if (!is_held()) {
                return false;
            }
        } while (done != before);
        return true;
    }
    uint32_t last() { return last_.get(); }

    std::atomic<size_t> done{0};

private:
    std::future<uint32_t> last_;
};

uint32_t tell(const std::string &name, size_t size = 0)
{
    const MessagePtr msg = make_message(kMessage, Bytes(size));
    const ipc_addr to = address_record(name);
    return ipc_msg_send_asy(&to, msg.get(), static_cast<uint32_t>(size));
}

uint32_t publish()
{
    const MessagePtr news = make_message(kNews);
    return ipc_msg_notify(news.get(), 0);
}

bool subscribe(Peer &peer)
{
    return peer.send(kMmName, register_request(kNews, 1)) && word_at(peer.receive(), 16) == IPC_SUCCESS;
}

// Sends a datagram with a descriptor, which stays the caller's.
bool send_with_descriptor(const Bytes &bytes, int descriptor)
{
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un to = abstract_address(kMmName);
    Bytes copy = bytes;
    iovec part = {copy.data(), copy.size()};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(descriptor))] = {};
    msghdr header = {};
    header.msg_name = &to;
    header.msg_namelen = sizeof(to);
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    header.msg_control = control;
    header.msg_controllen = sizeof(control);
    cmsghdr *const rights = CMSG_FIRSTHDR(&header);
    rights->cmsg_level = SOL_SOCKET;
    rights->cmsg_type = SCM_RIGHTS;
    rights->cmsg_len = CMSG_LEN(sizeof(descriptor));
    memcpy(CMSG_DATA(rights), &descriptor, sizeof(descriptor));
    const bool sent = sendmsg(fd, &header, 0) >= 0;
    close(fd);
    return sent;
}

} // namespace

TEST(Neighbour, may_send_every_length_and_only_whole_messages_get_through)
{
    const Endpoint endpoint;
    const Peer named("named");
    const Peer nameless;
    const std::vector<const Peer *> peers = {&named, &nameless};
    for (uint32_t size = 0; size <= 1060; ++size) {
        const uint32_t length = size - 16; // of a datagram too short for a header, it wraps
        Bytes bytes =
            datagram({IPC_MSG_TYPE_ASYNC, kMessage + 1, length, 0}, Bytes(size < 16 ? 0 : length));
        bytes.resize(size);
        for (const Peer *peer : peers) {
            ASSERT_TRUE(peer->send(kMmName, bytes));
            if (size >= 16 && size <= 1024) {
                const MessagePtr msg = take(endpoint.queue, 10000);
                ASSERT_NE(msg, nullptr) << size;
                ASSERT_EQ(msg->length, length);
                ASSERT_EQ(msg->msg_id, kMessage + 1);
            }
            ASSERT_TRUE(receives(endpoint, named)) << "behind one of " << size << " bytes";
        }
    }
    EXPECT_EQ(queued(), 0U);
}

TEST(Neighbour, cannot_leave_descriptors_behind)
{
    const Endpoint endpoint;
    const Peer peer("peer");
    ASSERT_TRUE(receives(endpoint));
    const size_t before = open_descriptors();
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const Bytes message = datagram({IPC_MSG_TYPE_ASYNC, kMessage, 0, 0});
    for (const Bytes &bytes : {message, Bytes(3), Bytes(2000), register_request(kNews, 1)}) {
        for (int i = 0; i < 50; ++i) {
            ASSERT_TRUE(send_with_descriptor(bytes, ends[1]));
            drain(endpoint.queue);
        }
    }
    // Once this has been received, so has everything before it.
    ASSERT_TRUE(peer.send(kMmName, datagram({IPC_MSG_TYPE_ASYNC, kMessage + 1, 0, 0})));
    EXPECT_TRUE(eventually([&] {
        const std::vector<uint32_t> ids = drain(endpoint.queue);
        return std::find(ids.begin(), ids.end(), kMessage + 1) != ids.end();
    }));
    EXPECT_EQ(open_descriptors(), before + 2);
    close(ends[1]);
    char byte;
    EXPECT_EQ(read(ends[0], &byte, 1), 0) << "nobody else holds the end that was passed along";
    close(ends[0]);
}

TEST(Neighbour, without_a_name_is_heard_but_cannot_be_answered)
{
    const Endpoint endpoint;
    const Peer nameless;
    ASSERT_TRUE(nameless.send(kMmName, datagram({IPC_MSG_TYPE_REQUEST, kMessage, 0, 0})));
    const MessagePtr request = take(endpoint.queue, 10000);
    ASSERT_NE(request, nullptr);
    const MessagePtr answer = make_message(kMessage, {}, IPC_MSG_TYPE_RESPONSE);
    const Peer empty_name{std::string()}; // which is not the same as none
    EXPECT_EQ(ipc_msg_send_asy(ipc_msg_sender(request.get()), answer.get(), 0), IPC_ERR_SOCKET);
    EXPECT_TRUE(receives(endpoint));
}

TEST(Neighbour, that_never_reads_holds_up_whoever_sends_to_it_but_not_the_receive_thread)
{
    const Endpoint endpoint;
    auto silent = std::make_unique<Peer>(kSilent);
    Repeated sender([] { return tell(kSilent); });
    ASSERT_TRUE(eventually([&] { return sender.done == room_of_a_socket(); }));
    EXPECT_TRUE(receives(endpoint));
    EXPECT_EQ(asked(kPatiently), IPC_SUCCESS);
    EXPECT_TRUE(sender.is_held());
    EXPECT_EQ(sender.done, room_of_a_socket());

    silent->receive();
    EXPECT_TRUE(eventually([&] { return sender.done == room_of_a_socket() + 1; }));
    silent.reset();
    EXPECT_EQ(sender.last(), IPC_ERR_SOCKET);
}

TEST(Neighbour, that_subscribes_and_never_reads_holds_up_the_endpoint_until_it_reads_or_ends)
{
    const Endpoint endpoint;
    auto silent = std::make_unique<Peer>(kSilent);
    ASSERT_TRUE(subscribe(*silent));
    Repeated publisher(publish, room_of_a_socket() + 1);
    ASSERT_TRUE(eventually([&] { return publisher.done == room_of_a_socket(); }));
    EXPECT_TRUE(receives(endpoint)) << "as long as nobody has to do with the registry";
    Peer other("other");
    ASSERT_TRUE(other.send(kMmName, register_request(kNews, 1)));
    EXPECT_EQ(asked(kBriefly), IPC_ERR_TIMEOUT) << "the answer waits behind the registration";
    EXPECT_TRUE(publisher.is_held());
    EXPECT_TRUE(other.has_nothing());

    silent.reset();
    EXPECT_EQ(publisher.last(), IPC_SUCCESS);
    EXPECT_EQ(word_at(other.receive(), 16), IPC_SUCCESS);
    EXPECT_EQ(asked(kPatiently), IPC_SUCCESS);
    EXPECT_TRUE(receives(endpoint));
}

TEST(Neighbour, that_registers_and_never_reads_the_answers_holds_up_the_endpoint_until_it_reads_or_ends)
{
    const Endpoint endpoint;
    auto silent = std::make_unique<Peer>(kSilent);
    for (size_t i = 0; i <= room_of_a_socket(); ++i) {
        ASSERT_TRUE(silent->send(kMmName, register_request(kNews, 1)));
    }
    EXPECT_EQ(asked(kBriefly), IPC_ERR_TIMEOUT);
    silent->receive();
    EXPECT_EQ(asked(kPatiently), IPC_SUCCESS);
    EXPECT_TRUE(receives(endpoint));

    // The room that was made is used up again, and the stop waits behind.
    ASSERT_TRUE(silent->send(kMmName, register_request(kNews, 1)));
    Repeated stop(
        [] {
            Endpoint::stop();
            return IPC_SUCCESS;
        },
        1);
    EXPECT_TRUE(stop.is_held());
    silent.reset();
    EXPECT_EQ(stop.last(), IPC_SUCCESS);
}

TEST(Neighbours, that_never_read_use_up_together_what_the_endpoint_may_have_under_way)
{
    const Endpoint endpoint;
    std::vector<std::unique_ptr<Peer>> silent;
    constexpr size_t kCount = 100;
    for (size_t i = 0; i < kCount; ++i) {
        silent.push_back(std::make_unique<Peer>("silent" + std::to_string(i)));
    }
    // Each has room for all that it is sent.
    size_t next = 0;
    const size_t each = room_of_a_socket();
    Repeated sender([&] { return tell("silent" + std::to_string(next++ / each), 1008); },
                    kCount * each);
    ASSERT_TRUE(eventually([&] { return sender.done >= 2 * each; }));
    EXPECT_TRUE(receives(endpoint));
    ASSERT_TRUE(sender.comes_to_be_held());
    const size_t under_way = sender.done;
    EXPECT_LT(under_way, kCount * each);
    RecordProperty("datagrams_under_way", static_cast<int>(under_way));

    // From the end: the room that the first leave must not be used for others that are still there.
    while (!silent.empty()) {
        silent.pop_back();
    }
    EXPECT_EQ(sender.last(), IPC_ERR_SOCKET) << "the others are gone";
    EXPECT_TRUE(receives(endpoint));
    EXPECT_EQ(asked(kPatiently), IPC_SUCCESS);
}

namespace {

std::atomic<bool> g_gate_is_open{false};
std::atomic<bool> g_is_enough{false};

uint32_t wait_at_the_gate(ipc_msg_hdr *, uint32_t)
{
    eventually([] { return g_gate_is_open.load(); });
    return 0;
}

uint32_t subscribe_to_itself()
{
    const ipc_addr self = address_record(kMmName);
    return ipc_register_notify(&self, kNews, kPatiently);
}

// Lets the process have more under way: what waits for room goes on.
void widen_every_socket()
{
    for (int fd = 0; fd < 100; ++fd) {
        const int size = 1 << 20;
        setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &size, sizeof(size));
    }
}

} // namespace

// Nobody is held back from sending to itself by a full socket, only by what it may have under way. A
// publisher that has used that up waits with the registry held; when the next datagram that its receive
// thread takes is a registration, nothing makes room any more.
TEST(Module, that_subscribes_to_itself_and_publishes_faster_than_it_receives_waits_for_itself)
{
    const Endpoint endpoint({.handler = wait_at_the_gate, .with_queue = false});
    g_gate_is_open = true;
    ASSERT_EQ(subscribe_to_itself(), IPC_SUCCESS);
    g_gate_is_open = false;
    Peer other("other");
    ASSERT_TRUE(other.send(kMmName, datagram({IPC_MSG_TYPE_ASYNC, kMessage, 0, 0})));
    ASSERT_TRUE(other.send(kMmName, register_request(kNews, 1)));
    Repeated publisher([] { return g_is_enough ? IPC_ERR_TIMEOUT : publish(); });
    ASSERT_TRUE(eventually([&] { return publisher.done > room_of_a_socket(); }));
    ASSERT_TRUE(publisher.comes_to_be_held());
    const size_t done = publisher.done;
    g_gate_is_open = true;
    EXPECT_TRUE(publisher.is_held());
    EXPECT_EQ(publisher.done, done);
    EXPECT_TRUE(other.has_nothing()) << "the registration waits for the publisher";

    g_is_enough = true;
    widen_every_socket();
    EXPECT_EQ(publisher.last(), IPC_ERR_TIMEOUT);
    EXPECT_EQ(word_at(other.receive(), 16), IPC_SUCCESS);
}
