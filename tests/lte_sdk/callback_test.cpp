// Notifications of a WAN manager in a process of its own reach the host's callback.
#include "lc_ipc_msg.h"
#include "support/child_process.h"
#include "support/client.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <string>
#include <sys/syscall.h>
#include <vector>

namespace callback_test {

using namespace testing_support;

namespace {

struct Seen {
    uint32_t event;
    std::string interface_name;
    long thread;
};

const lct_config kConfigWithoutCallback = {};

std::mutex g_mutex;
std::condition_variable g_arrived;
std::vector<Seen> g_seen;

long thread_id() { return syscall(SYS_gettid); }

uint32_t keep(const lct_event *event)
{
    const std::lock_guard<std::mutex> guard(g_mutex);
    std::string name;
    if (event->event == LCT_EVENT_LINK_STATUS) {
        name = static_cast<const lct_link_status *>(event->data)->interface_name;
    }
    g_seen.push_back({event->event, name, thread_id()});
    g_arrived.notify_all();
    return 0;
}

std::vector<Seen> wait_for_events(size_t count)
{
    std::unique_lock<std::mutex> guard(g_mutex);
    g_arrived.wait_for(guard, std::chrono::seconds(20), [count] { return g_seen.size() >= count; });
    return g_seen;
}

void publish(uint32_t msg_id, const Bytes &body)
{
    const MessagePtr message = make_message(msg_id, body);
    ipc_msg_notify(message.get(), message->length);
}

void publish_all()
{
    publish(WM_MSG_MODEM_NOTIFY, text("signal"));
    lct_iface_status iface = {};
    iface.readiness = 1;
    publish(WM_MSG_IFACE_STATUS_NOTIFY, bytes_of(iface));
    lct_link_status link = {};
    link.iface_type = LCT_IFACE_TYPE_WCDMA;
    link.link_status = LCT_LINK_CONNECTED;
    link.ip_status = 1;
    strcpy(link.interface_name, "wwan0");
    publish(WM_MSG_LINK_STATUS_NOTIFY, bytes_of(link));
}

std::atomic<int> g_registrations{0};

// Publishes once the client has subscribed, and ends when the client closes its end of the pipe.
int run_wan_manager(int ready, int end)
{
    const ipc_reg_check_fn count_and_accept = [](uint32_t) -> uint32_t {
        ++g_registrations;
        return 1;
    };
    if (ipc_msg_init(IPC_MODULE_MM, nullptr, nullptr, count_and_accept, 0) != 0) {
        return 1;
    }
    char byte = 'r';
    if (write(ready, &byte, 1) != 1) {
        return 2;
    }
    // The client says when it has started.
    if (read(end, &byte, 1) != 1 || g_registrations != 3) {
        return 3;
    }
    publish_all();
    const ssize_t ended = read(end, &byte, 1);
    ipc_msg_fin();
    return ended == 0 ? 0 : 4;
}

} // namespace

TEST(Callback, gets_link_and_interface_events_of_another_process_on_the_receive_thread)
{
    int ready[2];
    int end[2];
    ASSERT_EQ(pipe(ready), 0);
    ASSERT_EQ(pipe(end), 0);
    ChildProcess wan_manager([&] {
        close(end[1]);
        return run_wan_manager(ready[1], end[0]);
    });
    char byte;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);

    lct_config config = {};
    config.callback = keep;
    ASSERT_EQ(lct_module_init(&config), 0);
    ASSERT_EQ(write(end[1], "s", 1), 1);
    const std::vector<Seen> seen = wait_for_events(2);
    ASSERT_EQ(lct_module_fin(), 0);
    close(end[1]);
    EXPECT_EQ(wan_manager.wait(), 0);

    ASSERT_EQ(seen.size(), 2U);
    EXPECT_EQ(seen[0].event, LCT_EVENT_IFACE_STATUS);
    EXPECT_EQ(seen[1].event, LCT_EVENT_LINK_STATUS);
    EXPECT_EQ(seen[1].interface_name, "wwan0");
    EXPECT_NE(seen[0].thread, thread_id());
    EXPECT_EQ(seen[0].thread, seen[1].thread);
    // The modem notification came too, and went no further.
    EXPECT_EQ(trace_text().find(trace_entry("sdk_msg_handler", "WM_MSG_MODEM_NOTIFY\n\n")), 0U);
    EXPECT_EQ(g_seen.size(), 2U);
}

TEST(Callback, that_is_missing_is_traced_once_per_message)
{
    ASSERT_EQ(lct_module_init(&kConfigWithoutCallback), 0);
    Peer wan_manager(kWanManagerSocket);
    send_to_client(wan_manager, IPC_MSG_TYPE_ASYNC, WM_MSG_LINK_STATUS_NOTIFY,
                   bytes_of(lct_link_status{}));
    // The endpoint takes its own stop message after the notification.
    ASSERT_EQ(lct_module_fin(), 0);
    EXPECT_EQ(trace_text(), trace_entry("sdk_msg_handler", "sdk callback func is NULL\n"));
}

TEST(Callback, that_is_missing_is_traced_for_responses_too)
{
    AnsweringPeer wan_manager;
    ASSERT_EQ(lct_module_init(&kConfigWithoutCallback), 0);
    ASSERT_EQ(lct_module_fin(), 0);
    // One for each of the three registrations.
    const std::string line = trace_entry("sdk_msg_handler", "sdk callback func is NULL\n");
    EXPECT_EQ(trace_text(), line + line + line);
}

TEST(Callback, gets_a_body_that_arrived_short_completed_with_zeros)
{
    static std::vector<uint8_t> data;
    lct_config config = {};
    config.callback = [](const lct_event *event) -> uint32_t {
        const auto *start = static_cast<const uint8_t *>(event->data);
        data.assign(start, start + event->len);
        return 0;
    };
    ASSERT_EQ(lct_module_init(&config), 0);
    Peer wan_manager(kWanManagerSocket);
    send_to_client(wan_manager, IPC_MSG_TYPE_ASYNC, WM_MSG_IFACE_STATUS_NOTIFY, {1, 2, 3, 4, 5});
    ASSERT_EQ(lct_module_fin(), 0);
    std::vector<uint8_t> expected = {1, 2, 3, 4, 5};
    expected.resize(688);
    EXPECT_EQ(data, expected);
}

} // namespace callback_test
