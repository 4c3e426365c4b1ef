// Many threads of one process ask one server at once. The server answers the pending
// requests in reverse order, and those marked as slow long after their time-out.

#include "support/child_process.h"
#include "support/endpoint.h"
#include "support/eventually.h"

#include <algorithm>
#include <atomic>
#include <deque>
#include <thread>

using namespace testing_support;

#if defined(__SANITIZE_THREAD__)
#define UNDER_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define UNDER_THREAD_SANITIZER 1
#endif
#endif

namespace {

constexpr const char *kServer = kWmName;
constexpr uint32_t kThreads = 8;
#ifdef UNDER_THREAD_SANITIZER
constexpr uint32_t kEach = 1000;
#else
constexpr uint32_t kEach = 10000;
#endif
constexpr uint32_t kSlowEvery = 50;
constexpr uint32_t kMinute = 60000;

constexpr uint32_t kAsk = 50;
constexpr uint32_t kAskSlowly = 51;
constexpr uint32_t kQuit = 52;

// Runs in a process of its own.
class Server {
public:
    int run()
    {
        for (;;) {
            std::vector<Bytes> batch = {peer_.receive(static_cast<int>(kMinute))};
            while (batch.size() < kThreads && !peer_.has_nothing()) {
                batch.push_back(peer_.receive());
            }
            std::reverse(batch.begin(), batch.end());
            for (const Bytes &request : batch) {
                const uint32_t id = header_of(request).msg_id;
                if (id == kQuit || request.empty()) {
                    return id == kQuit ? 0 : 1;
                }
                if (id == kAskSlowly) {
                    slow_.push_back(request);
                } else {
                    answer(request);
                }
            }
            if (slow_.size() > kThreads) {
                answer(slow_.front());
                slow_.pop_front();
            }
        }
    }

private:
    void answer(const Bytes &request) const
    {
        ipc_msg_hdr header = header_of(request);
        header.type = IPC_MSG_TYPE_RESPONSE;
        peer_.reply(datagram(header, body_of(request)));
    }

    Peer peer_{kServer};
    std::deque<Bytes> slow_;
};

struct Tally {
    std::atomic<uint32_t> answered{0};
    std::atomic<uint32_t> timed_out{0};
    std::atomic<uint32_t> foreign{0};
    std::atomic<uint32_t> failed{0};
};

void ask_many(uint32_t thread, Tally &tally)
{
    const ipc_addr to = address_record(kServer);
    for (uint32_t i = 0; i < kEach; ++i) {
        const bool slow = i % kSlowEvery == 0;
        Bytes body = word(thread);
        const Bytes number = word(i);
        body.insert(body.end(), number.begin(), number.end());
        const MessagePtr request = make_message(slow ? kAskSlowly : kAsk, body);
        ipc_gen_seesion_id(request.get());
        Bytes out(16 + 8);
        uint32_t out_len = 8;
        const uint32_t result =
            ipc_msg_send_syn(&to, request.get(), 8, slow ? 1 : kMinute, out.data(), &out_len);
        if (result == IPC_SUCCESS) {
            ++(body_of(out) == body && out_len == 8 ? tally.answered : tally.foreign);
        } else if (slow && result == IPC_ERR_TIMEOUT) {
            ++tally.timed_out;
        } else {
            ++tally.failed;
        }
    }
}

} // namespace

TEST(SyncLoad, each_of_8_threads_gets_its_own_answers_or_its_own_time_outs)
{
    ChildProcess server([] { return Server().run(); });
    const Endpoint endpoint;
    ASSERT_TRUE(eventually([] { return bound_sockets().size() == 2; }));

    Tally tally;
    std::vector<std::thread> threads;
    for (uint32_t i = 0; i < kThreads; ++i) {
        threads.emplace_back(ask_many, i, std::ref(tally));
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(tally.foreign, 0U);
    EXPECT_EQ(tally.failed, 0U);
    EXPECT_EQ(tally.answered + tally.timed_out, kThreads * kEach);
    EXPECT_GT(tally.timed_out, 0U);
    EXPECT_EQ(queued(), 0U) << "no response was taken for an ordinary message";

    const MessagePtr quit = make_message(kQuit);
    const ipc_addr to = address_record(kServer);
    ASSERT_EQ(ipc_msg_send_asy(&to, quit.get(), 0), IPC_SUCCESS);
    EXPECT_EQ(server.wait(), 0);
}
