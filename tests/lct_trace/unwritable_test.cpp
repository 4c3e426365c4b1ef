// The client works the same when the trace file cannot be written.
#include "lte_sdk.h"
#include "support/peer.h"
#include "support/scoped_mount.h"
#include "support/trace_file.h"

#include <gtest/gtest.h>

#include <atomic>
#include <sys/stat.h>
#include <unistd.h>

namespace unwritable_test {

using namespace testing_support;

namespace {

const lct_config kConfig = {};

// The RAM store's directory is there; nothing can be created.
class Unwritable : public testing::Test {
protected:
    Unwritable()
    {
        mkdir("/tmp/nv", 0777);
        tmp_.make_read_only();
    }
    ~Unwritable() override { EXPECT_NE(access(kTraceFile, F_OK), 0); }

    ScopedMount tmp_{"/tmp"};
};

} // namespace

TEST_F(Unwritable, start_up_still_fails_as_it_should) { EXPECT_EQ(lct_module_init(nullptr), -1); }

TEST_F(Unwritable, start_up_and_shut_down_still_succeed)
{
    EXPECT_EQ(lct_module_init(&kConfig), 0);
    EXPECT_EQ(lct_module_fin(), 0);
}

TEST_F(Unwritable, requests_still_give_their_results)
{
    std::atomic<int32_t> result = 0;
    AnsweringPeer wan_manager([&](Peer &peer, const WireMessage &request) {
        peer.respond(request, bytes_of(lct_value_rsp{result.load(), 5}));
    });
    ASSERT_EQ(lct_module_init(&kConfig), 0);
    lct_value_rsp response = {};
    EXPECT_EQ(lct_get_roam_switch(&response), 0);
    EXPECT_EQ(response.value, 5U);
    result = 1;
    EXPECT_EQ(lct_get_roam_switch(&response), -1);
    wan_manager.stop();
    EXPECT_EQ(lct_module_fin(), 0);
}

TEST_F(Unwritable, request_to_nobody_still_fails)
{
    ASSERT_EQ(lct_module_init(&kConfig), 0);
    lct_value_rsp response = {};
    EXPECT_EQ(lct_connect(), 0);
    EXPECT_EQ(lct_get_roam_switch(&response), -1);
    EXPECT_EQ(lct_module_fin(), 0);
}

} // namespace unwritable_test
