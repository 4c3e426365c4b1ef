// Sends to sockets that are full, with a limit.

#include "lc_ipc_msg/settled.h"
#include "support/call_notes.h"
#include "support/child_process.h"
#include "support/counted_memory.h"
#include "support/endpoint.h"
#include "support/error_log.h"
#include "support/waits.h"

#include <csignal>
#include <future>
#include <pthread.h>
#include <sys/time.h>

namespace send_limit_test {

using namespace testing_support;

namespace {

constexpr char kPeer[] = "lc_socket_wm_common";
constexpr char kOther[] = "other";
constexpr uint32_t kNews = 20;
constexpr uint32_t kShort = 60;   // milliseconds; what is waited for in vain
constexpr uint32_t kLong = 20000; // what nobody waits to the end of
constexpr uint32_t kPast = 1;     // a time-out that is over at once: it loses the fraction of a second

const Lines kTimedOut = {from_msg("Send failed!", ETIMEDOUT)};

// ---- How sends wait ----

struct WaitCalls {
    std::atomic<int> for_room{0};        // polls that wait for room, or just wait
    std::atomic<int> longest{0};         // milliseconds that one may have taken
    std::atomic<int> fail_every_poll{0}; // an error number

    WaitCalls()
    {
        calls::poll.add([this](auto &next, pollfd *polled, nfds_t count, int timeout) {
            if (count == 0 || polled->events == POLLOUT) {
                longest = std::max<int>(longest, timeout);
                for_room += timeout > 0 ? 1 : 0;
                if (fail_every_poll != 0) {
                    errno = fail_every_poll;
                    return -1;
                }
            }
            return next(polled, count, timeout);
        });
    }
};
WaitCalls &g_wait_calls = kept<WaitCalls>();

class Limit {
public:
    explicit Limit(uint32_t milliseconds) { ipc_msg_set_send_limit(milliseconds); }
    ~Limit() { ipc_msg_set_send_limit(0); }
    Limit(const Limit &) = delete;
    Limit &operator=(const Limit &) = delete;
};

// ---- Who does not read, and what is sent to it ----

void fill(const std::string &name)
{
    const Peer filler;
    for (size_t i = 0; i < room_of_a_socket(); ++i) {
        ASSERT_TRUE(filler.send(name, {0}));
    }
}

class FullPeer : public Peer {
public:
    explicit FullPeer(const std::string &name = kPeer) : Peer(name) { fill(name); }
};

uint32_t tell(const std::string &name = kPeer, size_t size = 0, uint32_t type = 0)
{
    const MessagePtr msg = make_message(10, Bytes(size), type);
    const ipc_addr to = address_record(name);
    return ipc_msg_send_asy(&to, msg.get(), static_cast<uint32_t>(size));
}

uint32_t ask(uint32_t timeout)
{
    const MessagePtr request = make_message(50);
    ipc_gen_seesion_id(request.get());
    const ipc_addr to = address_record(kPeer);
    ipc_msg_hdr response;
    uint32_t length = 0;
    return ipc_msg_send_syn(&to, request.get(), 0, timeout, &response, &length);
}

uint32_t publish()
{
    const MessagePtr news = make_message(kNews);
    return ipc_msg_notify(news.get(), 0);
}

void subscribe(Peer &peer)
{
    ASSERT_TRUE(peer.send(kMmName, register_request(kNews, 1)));
    ASSERT_EQ(word_at(peer.receive(), 16), IPC_SUCCESS);
}

template <typename Call> std::future<uint32_t> begin(Call call)
{
    return std::async(std::launch::async, std::move(call));
}

// The same, when it waits for room.
template <typename Call> std::future<uint32_t> begin_waiting(Call call)
{
    const int before = g_wait_calls.for_room;
    std::future<uint32_t> result = begin(std::move(call));
    EXPECT_TRUE(eventually([before] { return g_wait_calls.for_room > before; }));
    return result;
}

template <typename Call> int64_t milliseconds_of(Call call)
{
    const auto start = std::chrono::steady_clock::now();
    call();
    const auto taken = std::chrono::steady_clock::now() - start;
    return std::chrono::duration_cast<std::chrono::milliseconds>(taken).count();
}

class SendLimit : public ::testing::Test {
protected:
    ErrorLog log;
    Endpoint endpoint;
};

} // namespace

TEST_F(SendLimit, a_message_that_finds_no_room_in_time_gives_10_and_tells_ETIMEDOUT)
{
    const FullPeer peer;
    const Limit limit(kShort);
    const size_t descriptors = open_descriptors();
    for (const uint32_t type : {IPC_MSG_TYPE_ASYNC, IPC_MSG_TYPE_RESPONSE}) {
        EXPECT_GE(milliseconds_of([type] { EXPECT_EQ(tell(kPeer, 4, type), IPC_ERR_SOCKET); }), kShort);
        EXPECT_EQ(log.lines(), kTimedOut);
    }
    EXPECT_EQ(open_descriptors(), descriptors);
    EXPECT_LE(g_wait_calls.longest, static_cast<int>(kShort)) << "it does not wait longer";
}

TEST_F(SendLimit, a_message_that_finds_room_in_time_is_sent_then)
{
    FullPeer peer;
    const Limit limit(kLong);
    std::future<uint32_t> result = begin_waiting([] { return tell(kPeer, 4); });
    peer.receive();
    EXPECT_EQ(result.get(), IPC_SUCCESS);
    for (size_t i = 1; i < room_of_a_socket(); ++i) {
        peer.receive();
    }
    EXPECT_EQ(peer.receive(), datagram({0, 10, 4, 0}, Bytes(4)));
    EXPECT_TRUE(same_address(peer.sender(), abstract_address(kMmName))) << "by the module's own name";
    EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(SendLimit, a_message_that_finds_room_at_once_is_one_call)
{
    Peer peer(kPeer);
    const Limit limit(kLong);
    EXPECT_EQ(tell(), IPC_SUCCESS);
    const std::vector<SentDatagram> sent = take_sent();
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0].address.size(), 110U);
    EXPECT_EQ(g_wait_calls.for_room, 0);
    EXPECT_EQ(peer.receive(), datagram({0, 10, 0, 0}));
}

TEST_F(SendLimit, zero_is_none_and_is_what_a_process_begins_with)
{
    FullPeer peer;
    for (const bool was_set : {false, true}) {
        if (was_set) {
            ipc_msg_set_send_limit(kShort);
            ipc_msg_set_send_limit(0);
        }
        take_sent();
        std::future<uint32_t> result = begin([] { return tell(); });
        peer.receive();
        EXPECT_EQ(result.get(), IPC_SUCCESS);
        const std::vector<SentDatagram> sent = take_sent();
        ASSERT_EQ(sent.size(), 1U);
        EXPECT_EQ(sent[0].flags, 0) << "the kernel waits, as long as it takes";
    }
    EXPECT_EQ(g_wait_calls.for_room, 0);
}

TEST_F(SendLimit, holds_before_the_start_and_beyond_the_stop)
{
    Endpoint::stop();
    const Limit limit(kShort);
    const FullPeer peer;
    for (int i = 0; i < 2; ++i) {
        const Endpoint again;
        EXPECT_EQ(tell(), IPC_ERR_SOCKET);
        EXPECT_EQ(log.lines(), kTimedOut);
    }
}

TEST_F(SendLimit, is_for_a_send_under_way_what_it_was_at_its_beginning)
{
    FullPeer peer;
    const Limit limit(kLong);
    std::future<uint32_t> result = begin_waiting([] { return tell(); });
    ipc_msg_set_send_limit(1);
    EXPECT_EQ(tell(), IPC_ERR_SOCKET);
    EXPECT_EQ(log.lines(), kTimedOut);
    peer.receive();
    EXPECT_EQ(result.get(), IPC_SUCCESS);
}

TEST_F(SendLimit, may_be_as_long_as_a_word_can_tell)
{
    FullPeer peer;
    const Limit limit(UINT32_MAX);
    std::future<uint32_t> result = begin_waiting([] { return tell(); });
    peer.receive();
    EXPECT_EQ(result.get(), IPC_SUCCESS);
    EXPECT_GT(g_wait_calls.longest, INT32_MAX - 1000);
}

TEST_F(SendLimit, a_receiver_that_ends_meanwhile_ends_the_wait)
{
    auto peer = std::make_unique<FullPeer>();
    const Limit limit(kLong);
    std::future<uint32_t> result = begin_waiting([] { return tell(); });
    peer.reset();
    EXPECT_EQ(result.get(), IPC_ERR_SOCKET);
    EXPECT_EQ(log.lines(), Lines{from_msg("Send failed!", ECONNREFUSED)});
}

TEST_F(SendLimit, a_receiver_that_starts_anew_meanwhile_is_waited_for)
{
    auto peer = std::make_unique<FullPeer>();
    const Limit limit(kLong);
    // Gone and there again, and full, before the sender has looked.
    bool once = true;
    const Hooked restarted(calls::connect, [&](auto &next, auto... arguments) {
        const int result = next(arguments...);
        if (std::exchange(once, false)) {
            peer.reset();
            peer = std::make_unique<FullPeer>();
        }
        return result;
    });
    take_sent();
    std::future<uint32_t> result = begin_waiting([] { return tell(); });
    peer->receive();
    EXPECT_EQ(result.get(), IPC_SUCCESS);
    EXPECT_LT(take_sent().size(), 10U) << "it waits, and does not try without a pause";
}

TEST_F(SendLimit, any_other_error_of_a_send_is_its_end)
{
    FullPeer peer;
    const Limit limit(kLong);
    calls::sendto.fail_nth(1, ENOBUFS);
    EXPECT_EQ(tell(), IPC_ERR_SOCKET);
    EXPECT_EQ(log.lines(), Lines{from_msg("Send failed!", ENOBUFS)});
    EXPECT_EQ(g_wait_calls.for_room, 0);

    std::future<uint32_t> result = begin_waiting([] { return tell(); });
    calls::sendto.fail_nth(1, ENOBUFS);
    peer.receive();
    EXPECT_EQ(result.get(), IPC_ERR_SOCKET);
    EXPECT_EQ(log.lines(), Lines{from_msg("Send failed!", ENOBUFS)});
}

// ---- What the wait itself needs ----

TEST_F(SendLimit, a_wait_for_which_there_is_no_socket_tries_again_from_time_to_time)
{
    for (const bool connects : {true, false}) {
        FullPeer peer;
        const Limit limit(kLong);
        const auto refuse = [](auto &, auto...) {
            errno = EACCES;
            return -1;
        };
        const std::unique_ptr<Hooked> refused = connects
                                                    ? std::make_unique<Hooked>(calls::socket, refuse)
                                                    : std::make_unique<Hooked>(calls::connect, refuse);
        take_sent();
        std::future<uint32_t> result = begin_waiting([] { return tell(); });
        peer.receive();
        EXPECT_EQ(result.get(), IPC_SUCCESS);
        EXPECT_LT(take_sent().size(), 20U) << "it waits, and does not try without a pause";
        EXPECT_LE(g_wait_calls.longest, 10);
    }
    EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(SendLimit, a_wait_that_fails_still_ends_in_time)
{
    FullPeer peer;
    const Limit limit(kShort);
    g_wait_calls.fail_every_poll = ENOMEM;
    EXPECT_GE(milliseconds_of([] { EXPECT_EQ(tell(), IPC_ERR_SOCKET); }), kShort);
    EXPECT_EQ(log.lines(), kTimedOut);
    peer.receive();
    EXPECT_EQ(tell(), IPC_SUCCESS);
    g_wait_calls.fail_every_poll = 0;
}

TEST_F(SendLimit, a_signal_does_not_end_the_wait)
{
    static std::atomic<int> handled;
    handled = 0;
    struct sigaction action = {};
    action.sa_handler = [](int) { ++handled; };
    struct sigaction before;
    ASSERT_EQ(sigaction(SIGUSR1, &action, &before), 0);

    FullPeer peer;
    const Limit limit(kLong);
    pthread_t sender = {};
    std::future<uint32_t> result = begin_waiting([&sender] {
        sender = pthread_self();
        return tell();
    });
    for (int i = 1; i <= 3; ++i) {
        ASSERT_EQ(pthread_kill(sender, SIGUSR1), 0);
        EXPECT_TRUE(eventually([i] { return handled == i; }));
    }
    peer.receive();
    EXPECT_EQ(result.get(), IPC_SUCCESS);
    EXPECT_EQ(log.lines(), Lines{});
    sigaction(SIGUSR1, &before, nullptr);
}

// What is sent and not read counts against the sender's buffer: others then use up what is there for
// all.
TEST_F(SendLimit, bounds_what_others_hold_up_too)
{
    std::vector<std::unique_ptr<Peer>> silent;
    const Limit limit(kShort);
    uint32_t result = IPC_SUCCESS;
    while (result == IPC_SUCCESS && silent.size() < 200) {
        const std::string name = "silent" + std::to_string(silent.size());
        silent.push_back(std::make_unique<Peer>(name));
        for (size_t i = 0; i < room_of_a_socket() && result == IPC_SUCCESS; ++i) {
            result = tell(name, IPC_MSG_MAX_BODY);
        }
    }
    ASSERT_EQ(result, IPC_ERR_SOCKET);
    EXPECT_EQ(log.lines(), kTimedOut);

    Peer peer(kPeer);
    EXPECT_GE(milliseconds_of([] { EXPECT_EQ(tell(kPeer, IPC_MSG_MAX_BODY), IPC_ERR_SOCKET); }), kShort)
        << "there is room at the receiver";
    EXPECT_EQ(log.lines(), kTimedOut);

    const Limit longer(kLong);
    take_sent();
    std::future<uint32_t> held = begin_waiting([] { return tell(kPeer, IPC_MSG_MAX_BODY); });
    silent.clear();
    EXPECT_EQ(held.get(), IPC_SUCCESS);
    EXPECT_LT(take_sent().size(), 200U) << "it waits, and does not try without a pause";
}

// ---- Requests ----

TEST_F(SendLimit, a_request_that_finds_no_room_within_the_limit_gives_10)
{
    const FullPeer peer;
    const Limit limit(kShort);
    const size_t blocks = settled_blocks();
    EXPECT_GE(milliseconds_of([] { EXPECT_EQ(ask(kLong), IPC_ERR_SOCKET); }), kShort);
    EXPECT_EQ(log.lines(), kTimedOut);
    EXPECT_EQ(memory().blocks_in_use(), blocks);
    EXPECT_EQ(calls::lc_pthread_cond_timedwait.made, 0) << "nobody waits for an answer";
}

TEST_F(SendLimit, a_request_that_finds_no_room_before_its_deadline_gives_7)
{
    const FullPeer peer;
    const Limit limit(kLong);
    const size_t blocks = settled_blocks();
    EXPECT_EQ(ask(kPast), IPC_ERR_TIMEOUT);
    // So that there is something left of it after it has lost the fraction of a second.
    EXPECT_LE(milliseconds_of([] { EXPECT_EQ(ask(1100), IPC_ERR_TIMEOUT); }), kLong);
    const Lines both = {kTimedOut[0], from_msg("Sending sync message timeout occured!\n")};
    EXPECT_EQ(log.lines(), Lines({both[0], both[1], both[0], both[1]}));
    EXPECT_GT(g_wait_calls.longest, 0);
    EXPECT_LE(g_wait_calls.longest, 1100);
    EXPECT_EQ(memory().blocks_in_use(), blocks);
}

TEST_F(SendLimit, a_request_whose_deadline_has_passed_is_sent_if_there_is_room)
{
    Peer peer(kPeer);
    const Limit limit(kLong);
    EXPECT_EQ(ask(kPast), IPC_ERR_TIMEOUT);
    EXPECT_EQ(log.lines(), Lines{from_msg("Sending sync message timeout occured!\n")});
    EXPECT_EQ(header_of(peer.receive()).msg_id, 50U);
}

TEST_F(SendLimit, the_time_out_of_a_request_begins_before_it_is_sent_and_without_a_limit_behind)
{
    Peer peer(kPeer);
    for (const uint32_t milliseconds : {kLong, 0U}) {
        const Limit limit(milliseconds);
        const int reads_before = calls::gettimeofday.made;
        int reads_when_sent = -1;
        const Hooked noted(calls::sendto, [&](auto &next, auto... arguments) {
            reads_when_sent = calls::gettimeofday.made - reads_before;
            return next(arguments...);
        });
        EXPECT_EQ(ask(kPast), IPC_ERR_TIMEOUT);
        EXPECT_EQ(reads_when_sent, milliseconds != 0 ? 1 : 0);
        EXPECT_EQ(calls::gettimeofday.made, reads_before + 1);
    }
}

TEST_F(SendLimit, a_request_that_finds_room_in_time_is_answered)
{
    FullPeer peer;
    const Limit limit(kLong);
    std::future<uint32_t> result = begin_waiting([] { return ask(kLong); });
    ipc_msg_hdr header = {};
    for (size_t i = 0; i <= room_of_a_socket() && header.msg_id != 50; ++i) {
        header = header_of(peer.receive());
    }
    header.type = IPC_MSG_TYPE_RESPONSE;
    EXPECT_TRUE(peer.reply(datagram(header)));
    EXPECT_EQ(result.get(), IPC_SUCCESS);
    EXPECT_EQ(log.lines(), Lines{});
}

// ---- Registrations and notifications ----

TEST_F(SendLimit, holds_for_registering_and_deregistering)
{
    const FullPeer peer;
    const ipc_addr publisher = address_record(kPeer);
    const Limit limit(kShort);
    EXPECT_EQ(ipc_register_notify(&publisher, kNews, kLong), IPC_ERR_SOCKET);
    EXPECT_EQ(log.lines(), Lines({kTimedOut[0], from_msg("Send notify register failed! sret=10.\n")}));
    EXPECT_EQ(ipc_deregister_notify(&publisher, kNews), IPC_ERR_SOCKET);
    EXPECT_EQ(log.lines(),
              Lines({kTimedOut[0], from_msg("Send notify deregister failed! sret=10.\n")}));
}

TEST_F(SendLimit, holds_for_each_subscriber_of_a_notification_and_the_others_get_theirs)
{
    Peer first("first");
    Peer silent[] = {Peer("silent0"), Peer("silent1")};
    Peer last("last");
    subscribe(first);
    subscribe(silent[0]);
    subscribe(silent[1]);
    subscribe(last);
    fill("silent0");
    fill("silent1");
    const Limit limit(kShort);
    EXPECT_GE(milliseconds_of([] { EXPECT_EQ(publish(), IPC_SUCCESS); }), 2 * kShort);
    EXPECT_EQ(log.lines(), Lines({kTimedOut[0], kTimedOut[0]}));
    EXPECT_EQ(header_of(first.receive()).msg_id, kNews);
    EXPECT_EQ(header_of(last.receive()).msg_id, kNews);

    // It has missed that one only.
    for (size_t i = 0; i < room_of_a_socket(); ++i) {
        silent[0].receive();
    }
    EXPECT_TRUE(silent[0].has_nothing());
    EXPECT_EQ(publish(), IPC_SUCCESS);
    EXPECT_EQ(header_of(silent[0].receive()).msg_id, kNews);
}

TEST_F(SendLimit, a_subscriber_that_never_reads_does_not_keep_others_from_registering)
{
    const Limit limit(kShort);
    Peer silent("silent");
    subscribe(silent);
    for (size_t i = 0; i < room_of_a_socket() + 3; ++i) {
        EXPECT_EQ(publish(), IPC_SUCCESS);
    }
    EXPECT_EQ(log.lines(), Lines({kTimedOut[0], kTimedOut[0], kTimedOut[0]}));
    Peer other(kOther);
    subscribe(other);
}

TEST_F(SendLimit, holds_for_the_answer_to_a_registration)
{
    const Limit limit(kShort);
    const FullPeer silent("silent");
    ASSERT_TRUE(silent.send(kMmName, register_request(kNews, 1)));
    Peer other(kOther);
    subscribe(other); // which the receive thread can only do when it has given up the other
    EXPECT_EQ(log.lines(),
              Lines({kTimedOut[0], from_msg("Send register response to client failed! sret=10.\n")}));
}

TEST_F(SendLimit, does_not_hold_for_the_message_that_stops_the_receive_thread)
{
    std::vector<std::unique_ptr<Peer>> silent;
    const Limit limit(kShort);
    // Until there is no room in this endpoint's own buffer, not even for the shortest.
    for (const size_t size : {size_t{IPC_MSG_MAX_BODY}, size_t{0}}) {
        uint32_t result = IPC_SUCCESS;
        while (result == IPC_SUCCESS) {
            const std::string name = "silent" + std::to_string(silent.size());
            silent.push_back(std::make_unique<Peer>(name));
            for (size_t i = 0; i < room_of_a_socket() && result == IPC_SUCCESS; ++i) {
                result = tell(name, size);
            }
        }
    }
    log.lines();
    take_sent();
    std::future<void> stopped = std::async(std::launch::async, Endpoint::stop);
    silent.clear();
    stopped.get();
    const std::vector<SentDatagram> sent = take_sent();
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(header_of(sent[0].bytes).msg_id, IPC_MSG_ID_STOP);
    EXPECT_EQ(sent[0].flags, 0) << "the kernel waits, as long as it takes";
    EXPECT_EQ(log.lines(), Lines{});
}

// ---- A module that is stopped ----

namespace {

// The module, with the library; stopped by a signal.
class StoppedModule {
public:
    StoppedModule()
        : process_([this] {
              const mq_cb queue = new_queue(1);
              if (ipc_msg_init(IPC_MODULE_WM, queue, nullptr, nullptr, 0) != IPC_SUCCESS) {
                  return 1;
              }
              static_cast<void>(!write(ready_[1], "r", 1));
              for (;;) {
                  pause();
              }
          })
    {
        char byte;
        EXPECT_EQ(read(ready_[0], &byte, 1), 1);
        kill(process_.pid(), SIGSTOP);
        siginfo_t info = {};
        EXPECT_EQ(waitid(P_PID, static_cast<id_t>(process_.pid()), &info, WSTOPPED | WNOWAIT), 0);
    }
    ~StoppedModule()
    {
        close(ready_[0]);
        close(ready_[1]);
    }
    StoppedModule(const StoppedModule &) = delete;
    StoppedModule &operator=(const StoppedModule &) = delete;

    void go_on() const { kill(process_.pid(), SIGCONT); }

private:
    struct Ends : std::array<int, 2> {
        Ends()
        {
            if (pipe(data()) != 0) {
                ADD_FAILURE() << "cannot make a pipe";
            }
        }
    };
    Ends ready_;
    ChildProcess process_;
};

} // namespace

TEST(StoppedModule, holds_up_nobody_longer_than_the_limit)
{
    const StoppedModule module;
    const Endpoint endpoint;
    const Limit limit(kShort);
    size_t sent = 0;
    while (tell() == IPC_SUCCESS) {
        ASSERT_LE(++sent, room_of_a_socket());
    }
    EXPECT_EQ(sent, room_of_a_socket());
    EXPECT_LT(milliseconds_of([] { EXPECT_EQ(ask(kLong), IPC_ERR_SOCKET); }), kLong);
    const ipc_addr to = address_record(kPeer);
    EXPECT_EQ(ipc_register_notify(&to, kNews, kLong), IPC_ERR_SOCKET);

    ipc_msg_set_send_limit(kLong);
    EXPECT_EQ(ask(kPast), IPC_ERR_TIMEOUT);
    std::future<uint32_t> result =
        begin_waiting([&to] { return ipc_register_notify(&to, kNews, kLong); });
    module.go_on();
    EXPECT_EQ(result.get(), IPC_SUCCESS);
}

} // namespace send_limit_test
