// The memory of the send primitives: how it is tagged, and what happens without it.
#include "lc_ipc_msg.h"
#include "support/client.h"
#include "support/counted_memory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace send_memory_test {

using namespace testing_support;

namespace {

constexpr uint32_t kId = 0x12345678;
constexpr uint32_t kMessageOwner = 0x3000000;
constexpr uint32_t kClientOwner = 0x84080000;
const char kBody[20] = "body";

uint32_t request() { return send_request(1, kId, kBody, sizeof(kBody)); }
uint32_t notify() { return send_notify(kId, kBody, sizeof(kBody)); }
uint32_t send_syn()
{
    lct_value_rsp response = {};
    uint32_t length = sizeof(response);
    return send_request_syn(1, kId, kBody, sizeof(kBody), 20000, &response, &length);
}

// What this thread gave back since it was last asked; the receive thread may still do so for the start.
std::vector<MemoryCall> own_frees()
{
    std::vector<MemoryCall> frees = memory().take_frees();
    std::erase_if(frees,
                  [](const MemoryCall &freed) { return freed.thread_tag != current_thread_tag(); });
    return frees;
}

// The sizes of the messages that a call took and gave back, checked to be tagged as the client's.
template <typename Call> std::vector<size_t> messages_of(Call call)
{
    memory().take_frees();
    EXPECT_EQ(call(), 1U);
    std::vector<size_t> sizes;
    for (const MemoryCall &freed : memory().take_frees()) {
        if (freed.allocated_owner != kMessageOwner ||
            freed.allocated_thread_tag != current_thread_tag()) {
            continue;
        }
        EXPECT_EQ(freed.owner, kClientOwner);
        EXPECT_EQ(freed.thread_tag, current_thread_tag());
        EXPECT_NE(freed.line, 0U);
        sizes.push_back(freed.size);
    }
    std::sort(sizes.begin(), sizes.end());
    return sizes;
}

class SendMemory : public testing::Test {
protected:
    SendMemory() { EXPECT_EQ(lct_module_init(&kClientConfig), 0); }
    ~SendMemory() override
    {
        EXPECT_EQ(lct_module_fin(), 0);
        EXPECT_EQ(memory().blocks_in_use(), 0U);
    }

    // A call that there is no memory for: gives 0 and sends nothing.
    template <typename Call>
    void expect_failure(const Allocation &what, Call call, const std::string &trace)
    {
        unlink(kTraceFile);
        // Bound only now: nothing of the start is in its socket.
        Peer wan_manager(kWanManagerSocket);
        memory().fail_of_this_thread(what);
        EXPECT_EQ(call(), 0U) << what.name;
        memory().fail_nth_of_this_thread(0);
        EXPECT_EQ(trace_text(), trace) << what.name;
        EXPECT_TRUE(wan_manager.has_nothing()) << what.name;
    }
};

using SendTags = Client;

} // namespace

TEST_F(SendTags, messages_are_taken_and_freed_as_the_clients)
{
    AnsweringPeer wan_manager(
        [](Peer &peer, const WireMessage &request) { peer.respond(request, bytes_of(uint32_t{0})); });
    EXPECT_EQ(messages_of(request), std::vector<size_t>{36});
    EXPECT_EQ(messages_of(notify), std::vector<size_t>{36});
    EXPECT_EQ(messages_of(send_syn), (std::vector<size_t>{24, 36}));
}

TEST_F(SendMemory, that_is_missing_gives_0_and_for_a_message_a_trace_line)
{
    const auto no_message = [](const char *function) {
        return trace_entry(function, "Malloc memory failed.\n\n");
    };
    expect_failure(kMessage, request, no_message("send_request"));
    expect_failure(kMessage, notify, no_message("send_notify"));
    expect_failure(kMessage, send_syn, no_message("send_request_syn"));
    expect_failure(kMessage.number(2), send_syn, no_message("send_request_syn"));
    expect_failure(kWaiter, send_syn, "");
    expect_failure(kWaiterNode, send_syn, "");
}

TEST_F(SendMemory, message_that_no_memory_could_hold_gives_0_and_a_trace_line)
{
    EXPECT_EQ(send_request(1, kId, nullptr, 0xFFFFFFFF), 0U);
    EXPECT_EQ(trace_text(), trace_entry("send_request", "Malloc memory failed.\n\n"));
}

TEST_F(SendMemory, unknown_module_is_noticed_before_anything_is_taken)
{
    memory().take_frees();
    EXPECT_EQ(send_request(8, kId, kBody, 20), 0U);
    lct_value_rsp response = {};
    uint32_t length = sizeof(response);
    EXPECT_EQ(send_request_syn(8, kId, kBody, 20, 20000, &response, &length), 0U);
    EXPECT_EQ(own_frees().size(), 0U);
}

} // namespace send_memory_test
