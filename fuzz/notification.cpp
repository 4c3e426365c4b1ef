// Notifications into the LTE client's handler: what the host is called with, and what is traced, held
// against the bytes that came. Input: a byte of choices and the body.
#include "lc_ipc_msg.h"
#include "lte_sdk/core.h"
#include "support.h"

#include <optional>

using namespace fuzzing;

namespace {

// Two bits for the message, two for its type; whether the host has a callback.
constexpr uint32_t kIds[] = {WM_MSG_LINK_STATUS_NOTIFY, WM_MSG_IFACE_STATUS_NOTIFY, WM_MSG_MODEM_NOTIFY,
                             WM_MSG_CONNECT_REQ};
constexpr int kTypeShift = 2;
enum Choice { kDeaf = 4 };

constexpr const char *kTrace = LCT_TRACE_FILE;
constexpr const char *kSource = "[lib/lte_sdk:sdk_msg_handler:";

// ---- The message ----

// As the endpoint hands it over: padded, with the sender's record after.
struct Message {
    Message(uint32_t type, uint32_t id, std::string_view body)
        : len(static_cast<uint32_t>((body.size() + 3) & ~size_t{3}))
    {
        const ipc_msg_hdr header = {type, id, static_cast<uint32_t>(body.size()), 0};
        std::string content(reinterpret_cast<const char *>(&header), sizeof(header));
        content += body;
        content.resize(sizeof(header) + len);
        bytes = content;
        copy = copy_of(content + std::string(sizeof(ipc_addr), 's'));
    }
    ipc_msg_hdr *header() const { return reinterpret_cast<ipc_msg_hdr *>(copy.get()); }

    // As much of a body as the host is promised.
    std::string body_of(size_t size) const
    {
        std::string body = bytes.substr(header()->type == IPC_MSG_TYPE_SHORT ? 8 : 16, size);
        body.resize(size);
        return body;
    }

    uint32_t len; // from the body of an ordinary header to the sender's record
    std::string bytes;
    Copy copy;
};

// ---- The host ----

struct Call {
    uint32_t event;
    std::string body;
};

std::optional<Call> g_call;

uint32_t note_call(const lct_event *event)
{
    require(!g_call, "the host is called once");
    require(event->reserved == 0, "an event is not marked");
    g_call = {event->event, std::string(static_cast<const char *>(event->data), event->len)};
    return 0;
}

void check_call(const Message &message)
{
    const uint32_t id = message.header()->msg_id;
    const bool is_link = id == WM_MSG_LINK_STATUS_NOTIFY;
    if (!is_link && id != WM_MSG_IFACE_STATUS_NOTIFY) {
        require(!g_call, "the host hears of link and interface alone");
        return;
    }
    require(g_call.has_value(), "the host is called");
    require(g_call->event == (is_link ? LCT_EVENT_LINK_STATUS : LCT_EVENT_IFACE_STATUS),
            "the host is told what it is");
    require(g_call->body == message.body_of(is_link ? LCT_LINK_BODY_SIZE : LCT_IFACE_BODY_SIZE),
            "the host gets the body, completed with zeros");
}

// ---- The trace ----

// What has been traced, line number by line number cut out.
class Trace {
public:
    Trace() : text_(read_file(kTrace)), rest_(text_) { unlink(kTrace); }
    ~Trace() { require(rest_.empty(), "nothing else is traced"); }
    Trace(const Trace &) = delete;
    Trace &operator=(const Trace &) = delete;

    void expect(const std::string &message)
    {
        require(rest_.starts_with(kSource), "a line is traced");
        rest_.remove_prefix(strlen(kSource));
        rest_.remove_prefix(std::min(rest_.find_first_not_of("0123456789"), rest_.size()));
        require(rest_.starts_with("]" + message), "the line is traced as it should be");
        rest_.remove_prefix(1 + message.size());
    }

private:
    const std::string text_;
    std::string_view rest_;
};

template <size_t Size> std::string field(const char (&text)[Size])
{
    return text_of({text, Size}) + "\n\n";
}

void expect_link(const Message &message, Trace *trace)
{
    lct_link_status link;
    memcpy(&link, message.body_of(sizeof(link)).data(), sizeof(link));
    const bool connected = link.link_status == LCT_LINK_CONNECTED;
    trace->expect("WM_MSG_LINK_STATUS_NOTIFY\n\n");
    trace->expect(std::string("link status:") + (connected ? "WM_CONNECTED " : "WM_DISCONNECTED ") +
                  (link.ip_status == 1 ? "WM_IP_UP " : "WM_IP_DOWN ") +
                  (link.iface_type == LCT_IFACE_TYPE_WCDMA ? "WM_WCDMA\n\n" : "Other type\n\n"));
    if (connected) {
        trace->expect("interface:" + field(link.interface_name));
        trace->expect("ip:" + field(link.ip));
        trace->expect("gateway:" + field(link.gateway));
        trace->expect("dns1:" + field(link.dns1));
        trace->expect("dns2:" + field(link.dns2));
        trace->expect("mask:" + field(link.mask));
    }
}

void check_trace(const Message &message)
{
    Trace trace;
    switch (message.header()->msg_id) {
    case WM_MSG_LINK_STATUS_NOTIFY:
        expect_link(message, &trace);
        break;
    case WM_MSG_IFACE_STATUS_NOTIFY: {
        lct_iface_status status;
        memcpy(&status, message.body_of(sizeof(status)).data(), sizeof(status));
        trace.expect("WM_MSG_IFACE_STATUS_NOTIFY\n\n");
        trace.expect(std::string("iface status:") +
                     (status.readiness == 1 ? "WM_READY\n\n" : "WM_NOT_READY\n\n"));
        break;
    }
    case WM_MSG_MODEM_NOTIFY:
        trace.expect("WM_MSG_MODEM_NOTIFY\n\n");
        break;
    default:
        break;
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const Input input(data, size);
    const Message message(input.choice >> kTypeShift & 3, kIds[input.choice & 3],
                          input.rest.substr(0, IPC_MSG_MAX_BODY));
    const lct_config config = {{}, input.chooses(kDeaf) ? nullptr : note_call};
    g_sdk_config = &config;
    g_call.reset();
    unlink(kTrace);
    const uint32_t result = sdk_msg_handler(message.header(), message.len);
    if (config.callback == nullptr) {
        require(result == 0, "nobody wants the message");
        Trace().expect("sdk callback func is NULL\n");
    } else {
        require(result == 1, "somebody does");
        check_call(message);
        check_trace(message);
    }
    require(memcmp(message.header(), message.bytes.data(), message.bytes.size()) == 0,
            "the message is left as it was");
    return 0;
}
