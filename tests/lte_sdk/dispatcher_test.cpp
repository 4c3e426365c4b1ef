// The handler of received messages: its trace lines, the event record, and messages of odd length.
#include "lte_sdk/core.h"

#include "support/bytes.h"
#include "support/trace_file.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace dispatcher_test {

using namespace testing_support;

namespace {

int g_calls = 0;
lct_event g_event = {};
Bytes g_data; // what the event points at, at its announced length
uint32_t g_callback_result = 0;

uint32_t keep_event(const lct_event *event)
{
    ++g_calls;
    g_event = *event;
    const auto *start = static_cast<const uint8_t *>(event->data);
    g_data.assign(start, start + event->len);
    return g_callback_result;
}

// A message in a block of exactly its size, so that reading past its end is noticed.
class Message {
public:
    Message(uint32_t msg_id, const Bytes &body, size_t header_size = sizeof(ipc_msg_hdr))
        : size_(header_size + body.size()), block_(new uint8_t[size_]()), header_size_(header_size)
    {
        const ipc_msg_hdr header = {header_size == sizeof(ipc_msg_hdr) ? IPC_MSG_TYPE_ASYNC
                                                                       : IPC_MSG_TYPE_SHORT,
                                    msg_id, static_cast<uint32_t>(body.size()), 3};
        memcpy(block_.get(), &header, header_size);
        if (!body.empty()) {
            memcpy(block_.get() + header_size, body.data(), body.size());
        }
    }

    uint32_t handle()
    {
        return sdk_msg_handler(reinterpret_cast<ipc_msg_hdr *>(block_.get()),
                               static_cast<uint32_t>(size_ - sizeof(ipc_msg_hdr)));
    }
    const void *body() const { return block_.get() + header_size_; }

private:
    size_t size_;
    std::unique_ptr<uint8_t[]> block_;
    size_t header_size_;
};

lct_link_status connected_link()
{
    lct_link_status link = {};
    link.iface_type = 2;
    link.link_status = 2;
    link.ip_status = 1;
    strcpy(link.interface_name, "wwan0");
    strcpy(link.ip, "10.1.2.3");
    strcpy(link.gateway, "10.1.2.1");
    strcpy(link.dns1, "192.168.100.101");
    strcpy(link.dns2, "9.9.9.9");
    strcpy(link.mask, "255.255.255.0");
    return link;
}

Bytes numbered_bytes(size_t size)
{
    Bytes bytes(size);
    for (size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<uint8_t>(i % 251 + 1);
    }
    return bytes;
}

std::string line(const std::string &text) { return trace_entry("sdk_msg_handler", text + "\n\n"); }

std::string link_lines(const std::string &status)
{
    return line("WM_MSG_LINK_STATUS_NOTIFY") + line("link status:" + status);
}

std::string iface_lines(const std::string &status)
{
    return line("WM_MSG_IFACE_STATUS_NOTIFY") + line("iface status:" + status);
}

const std::string kConnectedLines = link_lines("WM_CONNECTED WM_IP_UP WM_WCDMA") +
                                    line("interface:wwan0") + line("ip:10.1.2.3") +
                                    line("gateway:10.1.2.1") + line("dns1:192.168.100.101") +
                                    line("dns2:9.9.9.9") + line("mask:255.255.255.0");

// The lines that a link status body leaves in an empty trace file.
std::string lines_of_link(const lct_link_status &link)
{
    unlink(kTraceFile);
    EXPECT_EQ(Message(WM_MSG_LINK_STATUS_NOTIFY, bytes_of(link)).handle(), 1U);
    return trace_text();
}

std::string lines_of_iface(uint32_t readiness)
{
    unlink(kTraceFile);
    lct_iface_status iface = {};
    iface.readiness = readiness;
    EXPECT_EQ(Message(WM_MSG_IFACE_STATUS_NOTIFY, bytes_of(iface)).handle(), 1U);
    return trace_text();
}

// A body of `size` bytes reaches the host followed by zeros up to the announced length.
void expect_completed(uint32_t msg_id, size_t size, size_t announced)
{
    g_calls = 0;
    Bytes expected = numbered_bytes(size);
    EXPECT_EQ(Message(msg_id, expected).handle(), 1U);
    expected.resize(announced);
    EXPECT_EQ(g_calls, 1) << size;
    EXPECT_EQ(g_event.len, announced) << size;
    EXPECT_EQ(g_data, expected) << size;
}

class Dispatcher : public testing::Test {
protected:
    Dispatcher()
    {
        config_.callback = keep_event;
        g_sdk_config = &config_;
    }
    ~Dispatcher() override { g_sdk_config = nullptr; }

    lct_config config_ = {};
};

using DispatcherShort = Dispatcher;
using DispatcherWithoutCallback = Dispatcher;

} // namespace

TEST_F(Dispatcher, connected_link_writes_these_lines_in_order)
{
    EXPECT_EQ(lines_of_link(connected_link()), kConnectedLines);
}

TEST_F(Dispatcher, link_is_connected_with_2_its_ip_up_with_1_and_its_interface_wcdma_with_2_alone)
{
    const auto lines_of = [](uint32_t link_status, uint32_t ip_status, uint32_t type) {
        lct_link_status link = connected_link();
        link.link_status = link_status;
        link.ip_status = ip_status;
        link.iface_type = type;
        return lines_of_link(link);
    };
    for (const uint32_t status : {0U, 1U, 3U, 0xFFFFFFFFU}) {
        EXPECT_EQ(lines_of(status, 1, 2), link_lines("WM_DISCONNECTED WM_IP_UP WM_WCDMA")) << status;
    }
    for (const uint32_t status : {0U, 2U, 0xFFFFFFFFU}) {
        EXPECT_EQ(lines_of(0, status, 2), link_lines("WM_DISCONNECTED WM_IP_DOWN WM_WCDMA")) << status;
    }
    for (const uint32_t type : {0U, 1U, 3U, 0xFFFFFFFFU}) {
        EXPECT_EQ(lines_of(0, 1, type), link_lines("WM_DISCONNECTED WM_IP_UP Other type")) << type;
    }
}

TEST_F(Dispatcher, event_points_at_the_body_as_received)
{
    const struct {
        uint32_t msg_id;
        Bytes body;
        uint32_t event;
        uint32_t len;
    } messages[] = {
        {WM_MSG_LINK_STATUS_NOTIFY, bytes_of(connected_link()), 0xAF001, 656},
        {WM_MSG_LINK_STATUS_NOTIFY, Bytes(656), 0xAF001, 656},
        {WM_MSG_IFACE_STATUS_NOTIFY, numbered_bytes(688), 0xAF002, 688},
    };
    for (const auto &[msg_id, body, event, len] : messages) {
        g_calls = 0;
        Message message(msg_id, body);
        EXPECT_EQ(message.handle(), 1U);
        EXPECT_EQ(g_calls, 1);
        EXPECT_EQ(g_event.event, event);
        EXPECT_EQ(g_event.len, len);
        EXPECT_EQ(g_event.reserved, 0U);
        EXPECT_EQ(g_event.data, message.body());
        EXPECT_EQ(g_data, body);
    }
}

TEST_F(Dispatcher, interface_is_ready_only_with_1)
{
    EXPECT_EQ(lines_of_iface(1), iface_lines("WM_READY"));
    for (const uint32_t readiness : {0U, 2U, 0xFFFFFFFFU}) {
        EXPECT_EQ(lines_of_iface(readiness), iface_lines("WM_NOT_READY")) << readiness;
    }
}

TEST_F(Dispatcher, interface_readiness_is_the_second_word)
{
    Bytes body(688);
    body[0] = body[3] = 1;
    EXPECT_EQ(Message(WM_MSG_IFACE_STATUS_NOTIFY, body).handle(), 1U);
    EXPECT_EQ(trace_text(), iface_lines("WM_NOT_READY"));
}

TEST_F(Dispatcher, trace_is_written_before_the_host_is_called)
{
    static std::string seen;
    config_.callback = [](const lct_event *) -> uint32_t {
        seen = trace_text();
        return 0;
    };
    lines_of_link(connected_link());
    EXPECT_EQ(seen, kConnectedLines);
}

TEST_F(Dispatcher, modem_notification_writes_one_line_and_never_reaches_the_host)
{
    EXPECT_EQ(Message(WM_MSG_MODEM_NOTIFY, numbered_bytes(700)).handle(), 1U);
    EXPECT_EQ(Message(WM_MSG_MODEM_NOTIFY, {}).handle(), 1U);
    EXPECT_EQ(trace_text(), line("WM_MSG_MODEM_NOTIFY") + line("WM_MSG_MODEM_NOTIFY"));
    EXPECT_EQ(g_calls, 0);
}

TEST_F(Dispatcher, any_other_message_is_ignored)
{
    for (const uint32_t id : {0U, 2U, 3U, WM_MSG_ROAM_SWITCH_GET_REQ, WM_MSG_LINK_STATUS_NOTIFY - 1,
                              WM_MSG_IFACE_STATUS_NOTIFY + 1, 0xFFFFFFFFU}) {
        EXPECT_EQ(Message(id, Bytes(656)).handle(), 1U) << id;
    }
    EXPECT_EQ(trace_text(), "");
    EXPECT_EQ(g_calls, 0);
}

TEST_F(Dispatcher, null_message_is_ignored)
{
    EXPECT_EQ(sdk_msg_handler(nullptr, 0), 1U);
    EXPECT_EQ(trace_text(), "");
    EXPECT_EQ(g_calls, 0);
}

TEST_F(Dispatcher, result_of_the_callback_is_ignored)
{
    for (const uint32_t result : {0U, 1U, 7U}) {
        g_callback_result = result;
        EXPECT_EQ(Message(WM_MSG_LINK_STATUS_NOTIFY, Bytes(656)).handle(), 1U);
        EXPECT_EQ(Message(WM_MSG_IFACE_STATUS_NOTIFY, Bytes(688)).handle(), 1U);
    }
}

TEST_F(Dispatcher, longer_body_is_announced_with_the_fixed_length)
{
    const Bytes body = numbered_bytes(1008);
    for (const auto &[id, length] :
         {std::pair{WM_MSG_LINK_STATUS_NOTIFY, 656U}, std::pair{WM_MSG_IFACE_STATUS_NOTIFY, 688U}}) {
        Message message(id, body);
        EXPECT_EQ(message.handle(), 1U);
        EXPECT_EQ(g_event.len, length);
        EXPECT_EQ(g_event.data, message.body());
    }
}

TEST_F(Dispatcher, body_of_a_short_form_message_is_8_bytes_in)
{
    constexpr size_t kShortHeader = 8;
    Message message(WM_MSG_LINK_STATUS_NOTIFY, bytes_of(connected_link()), kShortHeader);
    EXPECT_EQ(message.handle(), 1U);
    EXPECT_EQ(trace_text(), kConnectedLines);
    EXPECT_EQ(g_event.data, message.body());
}

TEST_F(Dispatcher, texts_without_terminator_end_with_their_fields)
{
    lct_link_status link = {};
    link.link_status = 2;
    memset(link.interface_name, 'n', sizeof(link.interface_name));
    memset(link.ip, 'i', sizeof(link.ip));
    memset(link.gateway, 'g', sizeof(link.gateway));
    memset(link.dns1, '1', sizeof(link.dns1));
    memset(link.dns2, '2', sizeof(link.dns2));
    memset(link.mask, 'm', sizeof(link.mask));
    memset(link.reserved3, 'r', sizeof(link.reserved3));
    EXPECT_EQ(lines_of_link(link),
              link_lines("WM_CONNECTED WM_IP_DOWN Other type") +
                  line("interface:" + std::string(16, 'n')) + line("ip:" + std::string(18, 'i')) +
                  line("gateway:" + std::string(18, 'g')) + line("dns1:" + std::string(18, '1')) +
                  line("dns2:" + std::string(18, '2')) + line("mask:" + std::string(18, 'm')));
}

TEST_F(Dispatcher, percent_signs_in_a_text_are_only_text)
{
    lct_link_status link = connected_link();
    strcpy(link.interface_name, "%s%n%d");
    EXPECT_NE(lines_of_link(link).find(line("interface:%s%n%d")), std::string::npos);
}

TEST_F(DispatcherShort, body_is_completed_with_zeros)
{
    for (const size_t size : {0U, 4U, 12U, 20U, 36U, 128U, 655U}) {
        expect_completed(WM_MSG_LINK_STATUS_NOTIFY, size, 656);
    }
    for (const size_t size : {0U, 4U, 8U, 200U, 687U}) {
        expect_completed(WM_MSG_IFACE_STATUS_NOTIFY, size, 688);
    }
}

TEST_F(DispatcherShort, fields_that_did_not_arrive_are_traced_as_zero)
{
    EXPECT_EQ(Message(WM_MSG_LINK_STATUS_NOTIFY, {}).handle(), 1U);
    EXPECT_EQ(Message(WM_MSG_IFACE_STATUS_NOTIFY, Bytes(4)).handle(), 1U);
    EXPECT_EQ(trace_text(),
              link_lines("WM_DISCONNECTED WM_IP_DOWN Other type") + iface_lines("WM_NOT_READY"));
}

TEST_F(DispatcherShort, text_that_arrived_in_part_is_traced_in_part)
{
    Bytes body = bytes_of(connected_link());
    // Up to the third character of the interface name.
    body.resize(23);
    EXPECT_EQ(Message(WM_MSG_LINK_STATUS_NOTIFY, body).handle(), 1U);
    EXPECT_EQ(trace_text(), link_lines("WM_CONNECTED WM_IP_UP WM_WCDMA") + line("interface:wwa") +
                                line("ip:") + line("gateway:") + line("dns1:") + line("dns2:") +
                                line("mask:"));
}

TEST_F(DispatcherWithoutCallback, every_message_writes_one_line_with_one_line_feed_and_gives_0)
{
    config_.callback = nullptr;
    const std::string expected = trace_entry("sdk_msg_handler", "sdk callback func is NULL\n");
    for (const lct_config *config : {&config_, static_cast<lct_config *>(nullptr)}) {
        g_sdk_config = config;
        for (const uint32_t id :
             {WM_MSG_LINK_STATUS_NOTIFY, WM_MSG_IFACE_STATUS_NOTIFY, WM_MSG_MODEM_NOTIFY, 5U}) {
            unlink(kTraceFile);
            EXPECT_EQ(Message(id, Bytes(688)).handle(), 0U);
            EXPECT_EQ(trace_text(), expected) << id;
        }
        unlink(kTraceFile);
        EXPECT_EQ(sdk_msg_handler(nullptr, 0), 0U);
        EXPECT_EQ(trace_text(), expected);
    }
}

TEST_F(DispatcherWithoutCallback, callback_is_the_tenth_word_of_the_record)
{
    uintptr_t words[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 0};
    g_sdk_config = reinterpret_cast<const lct_config *>(words);
    EXPECT_EQ(Message(WM_MSG_MODEM_NOTIFY, {}).handle(), 0U);
    words[9] = reinterpret_cast<uintptr_t>(keep_event);
    EXPECT_EQ(Message(WM_MSG_MODEM_NOTIFY, {}).handle(), 1U);
}

} // namespace dispatcher_test
