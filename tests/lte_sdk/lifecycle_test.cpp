// Starting and stopping again and again leaves nothing behind.
#include "support/client.h"
#include "support/counted_memory.h"
#include "support/endpoint.h"

#include <gtest/gtest.h>

namespace lifecycle_test {

using namespace testing_support;

namespace {

constexpr int kCycles = 100;

void cycle()
{
    ASSERT_EQ(lct_module_init(&kClientConfig), 0);
    lct_value_rsp response = {};
    lct_get_roam_switch(&response);
    lct_connect();
    ASSERT_EQ(lct_module_fin(), 0);
}

void expect_nothing_left_by_cycles()
{
    const size_t threads = running_threads();
    cycle();
    const int descriptors = count_descriptors();
    for (int i = 0; i < kCycles; ++i) {
        cycle();
        EXPECT_EQ(memory().blocks_in_use(), 0U);
    }
    EXPECT_EQ(count_descriptors(), descriptors);
    // One that has been joined can be seen a moment longer.
    EXPECT_TRUE(eventually([threads] { return running_threads() == threads; }));
}

} // namespace

TEST(Lifecycle, cycles_without_a_wan_manager_leave_nothing) { expect_nothing_left_by_cycles(); }

TEST(Lifecycle, cycles_beside_a_wan_manager_leave_nothing)
{
    AnsweringPeer wan_manager([](Peer &peer, const WireMessage &request) {
        peer.respond(request, bytes_of(lct_value_rsp{0, 1}));
    });
    expect_nothing_left_by_cycles();
    // Three registrations, a request and a connect message each time.
    EXPECT_EQ(wan_manager.stop().size(), 5U * (kCycles + 1));
}

TEST(Lifecycle, second_start_uses_the_record_it_is_given)
{
    static int events_of_second = 0;
    lct_config first = {};
    first.callback = [](const lct_event *) -> uint32_t {
        ADD_FAILURE() << "the first record is no longer in use";
        return 0;
    };
    lct_config second = {};
    second.callback = [](const lct_event *) -> uint32_t {
        ++events_of_second;
        return 0;
    };
    ASSERT_EQ(lct_module_init(&first), 0);
    ASSERT_EQ(lct_module_fin(), 0);
    ASSERT_EQ(lct_module_init(&second), 0);
    Peer wan_manager(kWanManagerSocket);
    send_to_client(wan_manager, IPC_MSG_TYPE_ASYNC, WM_MSG_LINK_STATUS_NOTIFY,
                   bytes_of(lct_link_status{}));
    // The endpoint takes its own stop message after the notification.
    ASSERT_EQ(lct_module_fin(), 0);
    EXPECT_EQ(events_of_second, 1);
}

} // namespace lifecycle_test
