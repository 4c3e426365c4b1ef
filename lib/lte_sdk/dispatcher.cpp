#include "lte_sdk/core.h"

#include "lct_trace/trace.h"

#include <cstddef>
#include <cstring>

namespace lterouter {
namespace {

constexpr uint32_t kReady = 1;
constexpr uint32_t kIpUp = 1;

// A notification body of the full size that the host relies on. One that arrived shorter is completed
// with zeros, so that neither the host nor the trace reads past the message.
template <typename T> class Body {
public:
    Body(ipc_msg_hdr *msg, uint32_t len)
    {
        const auto *start = static_cast<const uint8_t *>(ipc_msg_body(msg));
        const auto *end = reinterpret_cast<const uint8_t *>(msg) + sizeof(ipc_msg_hdr) + len;
        const auto size = static_cast<size_t>(end - start);
        if (size < sizeof(T)) {
            memset(&completed_, 0, sizeof(completed_));
            memcpy(&completed_, start, size);
            body_ = &completed_;
        } else {
            body_ = reinterpret_cast<const T *>(start);
        }
    }
    Body(const Body &) = delete;
    Body &operator=(const Body &) = delete;

    const T *operator->() const { return body_; }
    const T *get() const { return body_; }

private:
    T completed_;
    const T *body_;
};

// The texts of a link status, at most as long as their fields.
struct LinkText {
    char label[10];
    uint8_t offset;
    uint8_t size;
};

#define LINK_TEXT(label, field) \
    LinkText { label, offsetof(lct_link_status, field), sizeof(lct_link_status::field) }
constexpr LinkText kLinkTexts[] = {
    LINK_TEXT("interface", interface_name),
    LINK_TEXT("ip", ip),
    LINK_TEXT("gateway", gateway),
    LINK_TEXT("dns1", dns1),
    LINK_TEXT("dns2", dns2),
    LINK_TEXT("mask", mask),
};
#undef LINK_TEXT

void call_host(uint32_t event, const void *body, uint32_t len)
{
    const lct_event record = {event, body, len, 0};
    g_sdk_config->callback(&record);
}

} // namespace
} // namespace lterouter

using namespace lterouter;

uint32_t sdk_msg_handler(ipc_msg_hdr *msg, uint32_t len)
{
    if (g_sdk_config == nullptr || g_sdk_config->callback == nullptr) {
        return LC_TRACE(0U, "sdk callback func is NULL\n");
    }
    switch (msg == nullptr ? 0 : msg->msg_id) {
    case WM_MSG_IFACE_STATUS_NOTIFY: {
        LC_TRACE(void(), "WM_MSG_IFACE_STATUS_NOTIFY\n\n");
        const Body<lct_iface_status> body(msg, len);
        LC_TRACE(void(), "iface status:%s\n\n",
                 body->readiness == kReady ? "WM_READY" : "WM_NOT_READY");
        call_host(LCT_EVENT_IFACE_STATUS, body.get(), LCT_IFACE_BODY_SIZE);
        break;
    }
    case WM_MSG_MODEM_NOTIFY:
        LC_TRACE(void(), "WM_MSG_MODEM_NOTIFY\n\n");
        break;
    case WM_MSG_LINK_STATUS_NOTIFY: {
        LC_TRACE(void(), "WM_MSG_LINK_STATUS_NOTIFY\n\n");
        const Body<lct_link_status> body(msg, len);
        const bool connected = body->link_status == LCT_LINK_CONNECTED;
        LC_TRACE(void(), "link status:%s %s %s\n\n", connected ? "WM_CONNECTED" : "WM_DISCONNECTED",
                 body->ip_status == kIpUp ? "WM_IP_UP" : "WM_IP_DOWN",
                 body->iface_type == LCT_IFACE_TYPE_WCDMA ? "WM_WCDMA" : "Other type");
        if (connected) {
            for (const LinkText &text : kLinkTexts) {
                LC_TRACE(void(), "%s:%.*s\n\n", text.label, static_cast<int>(text.size),
                         reinterpret_cast<const char *>(body.get()) + text.offset);
            }
        }
        call_host(LCT_EVENT_LINK_STATUS, body.get(), LCT_LINK_BODY_SIZE);
        break;
    }
    default:
        break;
    }
    return 1;
}
