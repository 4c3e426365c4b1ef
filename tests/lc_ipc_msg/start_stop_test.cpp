#include "lc_pthread.h"
#include "support/call_notes.h"
#include "support/counted_memory.h"
#include "support/endpoint.h"
#include "support/error_log.h"
#include "support/library_calls.h"
#include "support/signals.h"

#include <fcntl.h>
#include <future>
#include <malloc.h>
#include <sys/resource.h>
#include <utility>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define UNDER_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define UNDER_SANITIZER 1
#endif
#endif

namespace start_stop_test {

using namespace testing_support;

namespace {

using Names = std::vector<std::string>;

// The name that a module binds, as the kernel shows it.
Names name_bound_by(uint32_t module_id, uint32_t per_process)
{
    EXPECT_EQ(ipc_msg_init(module_id, nullptr, nullptr, nullptr, per_process), IPC_SUCCESS);
    Names names = bound_sockets();
    ipc_msg_fin();
    EXPECT_EQ(bound_sockets(), Names{}) << "the name is given back";
    return names;
}

Names shared(const std::string &short_name)
{
    return {shown_socket("lc_socket_" + short_name + "_common")};
}

Names own(const std::string &short_name)
{
    return {shown_socket("lc_socket_" + short_name + "_" + std::to_string(getpid()) + "_common")};
}

uint32_t start_mm(mq_cb cb = nullptr) { return ipc_msg_init(IPC_MODULE_MM, cb, nullptr, nullptr, 0); }

// Everything that a start takes and a failed start must give back.
struct Holdings {
    size_t descriptors = open_descriptors();
    size_t threads = running_threads();
    size_t blocks = memory().blocks_in_use();
    Names names = bound_sockets();
    bool operator==(const Holdings &) const = default;
};

// A joined thread stays listed for a moment.
bool gives_back(const Holdings &before)
{
    return eventually([&before] { return Holdings() == before; });
}

// A start that fails with 11 and these lines, gives everything back and does not keep the next one from
// working.
void expect_failed_start(ErrorLog &log, const Lines &expected, const Holdings &before)
{
    EXPECT_EQ(start_mm(), IPC_ERR_RESOURCE);
    EXPECT_EQ(log.lines(), expected);
    EXPECT_TRUE(gives_back(before)) << expected[0];
    const MessagePtr msg = make_message(10);
    const ipc_addr to = address_record(kMmName);
    EXPECT_EQ(ipc_msg_send_asy(&to, msg.get(), 0), IPC_ERR_NOT_INIT);
    EXPECT_EQ(start_mm(), IPC_SUCCESS);
    EXPECT_EQ(ipc_msg_send_asy(&to, msg.get(), 0), IPC_SUCCESS);
    ipc_msg_fin();
    EXPECT_EQ(log.lines(), Lines{});
}

} // namespace

TEST(Start, modules_bind_their_shared_name_unless_they_ask_for_one_of_their_process)
{
    const std::pair<uint32_t, const char *> modules[] = {{0, "wm"}, {1, "mm"},     {2, "cgi"},
                                                         {5, ""},   {6, "sms_pb"}, {7, "uptest"}};
    for (const auto &[id, short_name] : modules) {
        EXPECT_EQ(name_bound_by(id, 0), shared(short_name));
        EXPECT_EQ(name_bound_by(id, 1), own(short_name));
        EXPECT_EQ(name_bound_by(id, 0x80000000), own(short_name)) << "any value but 0 asks for it";
    }
}

TEST(Start, client_modules_bind_a_name_of_their_process_even_without_asking)
{
    for (const uint32_t id : {3U, 4U}) {
        EXPECT_EQ(name_bound_by(id, 0), own("cli1")) << id;
        EXPECT_EQ(name_bound_by(id, 1), own("cli1")) << id;
    }
}

TEST(Start, opens_one_datagram_socket_and_binds_the_whole_address)
{
    bool had_attributes = true;
    const Hooked noted(calls::lc_pthread_create,
                       [&](auto &next, auto *thread, auto *attributes, auto... rest) {
                           had_attributes = attributes != nullptr;
                           return next(thread, attributes, rest...);
                       });
    ASSERT_EQ(start_mm(), IPC_SUCCESS);
    EXPECT_EQ(notes().socket_domain, AF_UNIX);
    EXPECT_EQ(notes().socket_type, SOCK_DGRAM);
    EXPECT_EQ(notes().socket_protocol, 0);
    EXPECT_EQ(notes().bind_size, 110U);
    EXPECT_FALSE(had_attributes);
    EXPECT_NE(fcntl(notes().last_socket, F_GETFD) & FD_CLOEXEC, 0)
        << "a program started from here must not keep the name bound";
    ipc_msg_fin();
}

TEST(Start, unknown_module_gives_1)
{
    ErrorLog log;
    const Holdings before;
    EXPECT_EQ(ipc_msg_init(8, nullptr, nullptr, nullptr, 0), IPC_ERR_PARAM);
    EXPECT_EQ(ipc_msg_init(UINT32_MAX, nullptr, nullptr, nullptr, 1), IPC_ERR_PARAM);
    EXPECT_EQ(log.lines(), (Lines{from_msg("Para module_id invalid! module_id=&lu.\n"),
                                  from_msg("Para module_id invalid! module_id=&lu.\n")}));
    EXPECT_TRUE(gives_back(before));
}

TEST(Start, a_second_start_gives_0_and_changes_nothing)
{
    ErrorLog log;
    const Endpoint endpoint;
    ASSERT_TRUE(until_rounds(1));
    const Holdings before;
    const auto discard = [](ipc_msg_hdr *, uint32_t) -> uint32_t { return 0; };
    EXPECT_EQ(ipc_msg_init(IPC_MODULE_WM, nullptr, discard, nullptr, 1), IPC_SUCCESS);
    EXPECT_EQ(ipc_msg_init(8, nullptr, nullptr, nullptr, 0), IPC_SUCCESS) << "not even a check";
    EXPECT_TRUE(gives_back(before));
    EXPECT_EQ(log.lines(), Lines{});
    const Peer peer("peer");
    ASSERT_TRUE(peer.send(kMmName, datagram({0, 10, 0, 0})));
    EXPECT_NE(take(endpoint.queue, 60000), nullptr) << "no handler came in between";
}

TEST(Start, the_endpoint_is_running_before_the_starting_call_returns)
{
    static std::atomic<uint32_t> sent{UINT32_MAX};
    const auto answer = [](ipc_msg_hdr *msg, uint32_t) -> uint32_t {
        const MessagePtr reply = make_message(11);
        sent = ipc_msg_send_asy(ipc_msg_sender(msg), reply.get(), 0);
        return 0;
    };
    Peer peer("peer");
    const Hooked delayed(calls::lc_pthread_create, [&](auto &next, auto... arguments) {
        const int result = next(arguments...);
        EXPECT_TRUE(peer.send(kMmName, datagram({0, 10, 0, 0})));
        EXPECT_TRUE(eventually([] { return sent != UINT32_MAX; }));
        return result;
    });
    ASSERT_EQ(ipc_msg_init(IPC_MODULE_MM, nullptr, answer, nullptr, 0), IPC_SUCCESS);
    EXPECT_EQ(sent, IPC_SUCCESS);
    EXPECT_EQ(header_of(peer.receive()).msg_id, 11U);
    ipc_msg_fin();
}

TEST(Start, signal_that_was_blocked_before_is_left_to_its_waiter)
{
    expect_signal_is_left_to_its_waiter([] { ASSERT_EQ(start_mm(), IPC_SUCCESS); },
                                        [] {
                                            deliver(Peer(), kMmName, datagram({0, 10, 0, 0}));
                                        });
    ipc_msg_fin();
}

TEST(Start, signal_that_is_blocked_afterwards_is_taken_by_the_receive_thread)
{
    expect_signal_is_taken_by_started_thread([] { ASSERT_EQ(start_mm(), IPC_SUCCESS); });
    ipc_msg_fin();
}

TEST(Start, is_not_over_while_the_thread_is_being_made)
{
    const auto notice = make_message(10);
    const Hooked not_yet(calls::lc_pthread_create, [&](auto &, auto...) {
        EXPECT_EQ(ipc_msg_notify(notice.get(), notice->length), IPC_ERR_NOT_INIT);
        return EAGAIN;
    });
    EXPECT_EQ(start_mm(), IPC_ERR_RESOURCE);
}

// What tests/faults does not see: a start that failed has left the endpoint not initialised.
TEST(Start, with_any_failing_step_gives_11_and_can_be_tried_again)
{
    ErrorLog log;
    const Holdings before;
    const std::string no_thread = "Start message receiving thread failed! ret=";
    const struct {
        std::function<void()> fail;
        std::string line;
    } kSteps[] = {
        {[] { calls::socket.fail_nth(1, ENFILE); }, from_msg("Create socket common failed!", ENFILE)},
        {[] { calls::bind.fail_nth(1, EACCES); }, from_msg("Bind socket common failed!", EACCES)},
        {[] { calls::lc_pthread_create.fail_nth(1); }, from_msg(no_thread + "11.\n")},
        {[] { memory().fail(kList); }, from_msg("Create list failed!\n")},
        {[] { memory().fail(kList.number(2)); }, from_msg("Create list failed!\n")},
        {[] { memory().fail(kThreadArguments); }, from_msg(no_thread + "12.\n")},
    };
    for (const auto &[fail, line] : kSteps) {
        fail();
        expect_failed_start(log, {line}, before);
    }
}

TEST(Start, with_a_descriptor_too_large_to_be_waited_for_gives_11)
{
    ErrorLog log;
    const Holdings before;
    rlimit limit = {FD_SETSIZE + 16, FD_SETSIZE + 16};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    bool once = true;
    const Hooked enlarged(calls::socket, [&once](auto &next, auto... arguments) {
        const int fd = next(arguments...);
        if (!std::exchange(once, false)) {
            return fd;
        }
        const int large = fcntl(fd, F_DUPFD_CLOEXEC, FD_SETSIZE);
        close(fd);
        return large;
    });
    expect_failed_start(log, {from_msg("Create socket common failed!", EMFILE)}, before);
}

TEST(Start, with_a_name_in_use_gives_11_until_its_owner_is_gone)
{
    ErrorLog log;
    {
        const Peer owner(kMmName);
        const size_t descriptors = open_descriptors();
        EXPECT_EQ(start_mm(), IPC_ERR_RESOURCE);
        EXPECT_EQ(log.lines(), Lines{from_msg("Bind socket common failed!", EADDRINUSE)});
        EXPECT_EQ(open_descriptors(), descriptors);
        EXPECT_EQ(memory().blocks_in_use(), 0U);
    }
    EXPECT_EQ(start_mm(), IPC_SUCCESS);
    ipc_msg_fin();
}

TEST(Start, a_name_of_shorter_length_is_another_name)
{
    const Peer owner(abstract_address(kMmName), offsetof(sockaddr_un, sun_path) + 1 + strlen(kMmName));
    EXPECT_EQ(start_mm(), IPC_SUCCESS);
    ipc_msg_fin();
}

TEST(Start, allocates_with_the_tags_of_lists_and_synchronous_records)
{
    memory().take_allocations();
    ASSERT_EQ(start_mm(), IPC_SUCCESS);
    const std::vector<MemoryCall> allocations = memory().take_allocations();
    ASSERT_GE(allocations.size(), 3U);
    EXPECT_EQ(allocations[0].owner, 0x1000000U);
    EXPECT_EQ(allocations[1].owner, 0x1000000U);
    EXPECT_EQ(allocations[2].owner, 0x3000001U);
    ipc_msg_fin();
}

TEST(Start, is_silent_while_the_flag_file_is_absent)
{
    ErrorLog log;
    ErrorLog::switch_off();
    ipc_msg_init(8, nullptr, nullptr, nullptr, 0);
    calls::socket.fail_nth(1, ENFILE);
    EXPECT_EQ(start_mm(), IPC_ERR_RESOURCE);
    calls::bind.fail_nth(1, EACCES);
    EXPECT_EQ(start_mm(), IPC_ERR_RESOURCE);
    calls::lc_pthread_create.fail_nth(1);
    EXPECT_EQ(start_mm(), IPC_ERR_RESOURCE);
    memory().fail(kList);
    EXPECT_EQ(start_mm(), IPC_ERR_RESOURCE);
    EXPECT_EQ(log.lines(), Lines{});
}

TEST(Stop, without_a_start_does_nothing)
{
    ErrorLog log;
    ipc_msg_fin();
    EXPECT_EQ(take_sent().size(), 0U);
    EXPECT_EQ(log.lines(), Lines{});
}

TEST(Stop, sends_a_stop_message_to_its_own_name)
{
    ASSERT_EQ(start_mm(), IPC_SUCCESS);
    ipc_msg_fin();
    const std::vector<SentDatagram> sent = take_sent();
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0].bytes, datagram({0, 1, 0, 1}));
    const sockaddr_un address = abstract_address(kMmName);
    const auto *expected = reinterpret_cast<const uint8_t *>(&address);
    EXPECT_EQ(sent[0].address, Bytes(expected, expected + 110));
}

TEST(Stop, without_memory_for_its_message_waits_until_the_thread_is_stopped_by_another)
{
    const Holdings before;
    ASSERT_EQ(start_mm(), IPC_SUCCESS);
    const Hooked another(calls::lc_pthread_join, [](auto &next, pthread_t thread, void **result) {
        EXPECT_EQ(take_sent().size(), 0U);
        const ipc_addr self = address_record(kMmName);
        const MessagePtr stop = make_message(IPC_MSG_ID_STOP);
        EXPECT_EQ(ipc_msg_send_asy(&self, stop.get(), 0), IPC_SUCCESS);
        return next(thread, result);
    });
    memory().fail(kMessage);
    ipc_msg_fin();
    EXPECT_TRUE(gives_back(before));
}

TEST(Stop, gives_back_thread_socket_name_lists_and_registrations)
{
    const Holdings before;
    ASSERT_EQ(start_mm(), IPC_SUCCESS);
    Peer peer("peer");
    for (uint32_t id = 20; id < 23; ++id) {
        ASSERT_TRUE(peer.send(kMmName, register_request(id, id)));
        ASSERT_EQ(word_at(peer.receive(), 16), 0U);
    }
    EXPECT_GT(memory().blocks_in_use(), before.blocks);
    ipc_msg_fin();
    EXPECT_EQ(memory().blocks_in_use(), before.blocks);
    EXPECT_EQ(bound_sockets(), before.names);
    EXPECT_TRUE(eventually([&] { return running_threads() == before.threads; }));
}

TEST(Stop, the_endpoint_can_be_started_again_as_another_module)
{
    EXPECT_EQ(name_bound_by(IPC_MODULE_MM, 0), shared("mm"));
    EXPECT_EQ(name_bound_by(IPC_MODULE_CLI1, 0), own("cli1"));
    EXPECT_EQ(name_bound_by(IPC_MODULE_MM, 0), shared("mm"));
}

TEST(Stop, registrations_end_with_the_endpoint)
{
    ASSERT_EQ(start_mm(), IPC_SUCCESS);
    Peer peer("peer");
    ASSERT_TRUE(peer.send(kMmName, register_request(20, 1)));
    ASSERT_EQ(word_at(peer.receive(), 16), 0U);
    ipc_msg_fin();
    ASSERT_EQ(start_mm(), IPC_SUCCESS);
    const MessagePtr msg = make_message(20);
    EXPECT_EQ(ipc_msg_notify(msg.get(), 0), IPC_SUCCESS);
    EXPECT_TRUE(peer.has_nothing());
    ipc_msg_fin();
}

TEST(StartStop, a_thousand_cycles_leave_no_descriptor_thread_or_byte)
{
    const auto cycle = [](int times) {
        for (int i = 0; i < times; ++i) {
            ASSERT_EQ(start_mm(), IPC_SUCCESS) << i;
            ipc_msg_fin();
        }
        take_sent();
        memory().take_allocations();
    };
    cycle(50);
    const Holdings before;
#ifndef UNDER_SANITIZER
    const size_t bytes = mallinfo2().uordblks;
#endif
    cycle(1000);
#ifndef UNDER_SANITIZER
    EXPECT_LT(mallinfo2().uordblks, bytes + 1000) << "less than a byte each";
#endif
    EXPECT_TRUE(gives_back(before));
}

} // namespace start_stop_test
