// Start-up steps that fail for real, and the state that remains.
#include "lc_ipc_mq.h"
#include "lc_ipc_msg.h"
#include "support/calls.h"
#include "support/client.h"
#include "support/counted_memory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <sys/stat.h>

namespace startup_failure_test {

using namespace testing_support;

namespace {

uint32_t queue_count()
{
    ipc_mq_usg usage[64];
    uint32_t count = 64;
    EXPECT_EQ(ipc_mq_usg_state(usage, &count), 0U);
    return count;
}

} // namespace

TEST(StartupFailure, no_ram_store_leaves_no_queue_and_no_endpoint)
{
    calls::mkdir.fail_nth(1, ENOSPC);
    EXPECT_EQ(lct_module_init(&kClientConfig), -1);
    EXPECT_EQ(trace_text(), trace_entry("lct_module_init", "init radom nv failed\n\n"));
    ipc_mq_usg usage;
    uint32_t count = 1;
    EXPECT_EQ(ipc_mq_usg_state(&usage, &count), 2U);
    EXPECT_FALSE(socket_exists(own_socket()));
}

TEST(StartupFailure, too_many_queues_leaves_the_store_but_no_endpoint)
{
    ipc_mq_init();
    mq_cb queue = nullptr;
    for (int i = 0; i < 64; ++i) {
        ASSERT_EQ(ipc_mq_create(1, &queue), 0U);
    }
    EXPECT_EQ(lct_module_init(&kClientConfig), -1);
    EXPECT_EQ(trace_text(), trace_entry("lct_module_init", "ipc_mq_create err\n\n"));
    EXPECT_EQ(access("/tmp/nv", F_OK), 0);
    EXPECT_FALSE(socket_exists(own_socket()));
    ipc_mq_destroy();
}

TEST(StartupFailure, name_that_is_taken_gives_11_and_leaves_the_queue)
{
    const Peer squatter(own_socket());
    Peer wan_manager(kWanManagerSocket);
    EXPECT_EQ(lct_module_init(&kClientConfig), 11);
    EXPECT_EQ(trace_text(), trace_entry("lct_module_init", "ipc init failled, ret=11\n\n"));
    EXPECT_EQ(queue_count(), 1U);
    EXPECT_EQ(access("/tmp/nv", F_OK), 0);
    EXPECT_TRUE(wan_manager.has_nothing());
    EXPECT_EQ(lct_module_fin(), 0);
}

TEST(StartupFailure, start_succeeds_once_the_name_is_free)
{
    {
        const Peer squatter(own_socket());
        ASSERT_EQ(lct_module_init(&kClientConfig), 11);
    }
    EXPECT_EQ(lct_module_init(&kClientConfig), 0);
    // The queue of the failed start is still there beside the new one.
    EXPECT_EQ(queue_count(), 2U);
    EXPECT_EQ(lct_module_fin(), 0);
}

TEST(StartupFailure, of_any_allocation_is_reported_or_harmless_and_the_next_start_succeeds)
{
    bool all_succeeded = false;
    int nth = 0;
    while (!all_succeeded && nth < 100) {
        unlink(kTraceFile);
        memory().fail_nth_of_this_thread(++nth);
        const int32_t result = lct_module_init(&kClientConfig);
        all_succeeded = memory().asked() < nth;
        const std::string trace = trace_text();
        if (result == -1) {
            EXPECT_EQ(trace, trace_entry("lct_module_init", "ipc_mq_create err\n\n")) << nth;
        } else if (result == 11) {
            EXPECT_EQ(trace, trace_entry("lct_module_init", "ipc init failled, ret=11\n\n")) << nth;
        } else {
            EXPECT_EQ(result, 0) << nth;
            EXPECT_EQ(trace, "") << nth;
        }
        memory().fail_nth_of_this_thread(0);
        EXPECT_EQ(lct_module_init(&kClientConfig), 0) << nth;
        EXPECT_EQ(lct_module_fin(), 0);
        EXPECT_EQ(memory().blocks_in_use(), 0U) << nth;
    }
    // The queue, the endpoint and three registrations allocate more than this.
    EXPECT_GT(nth, 10);
    EXPECT_TRUE(all_succeeded);
}

} // namespace startup_failure_test
