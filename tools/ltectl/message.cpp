#include "ltectl/message.h"

#include "common/at.h"
#include "common/body.h"
#include "common/program.h"
#include "common/wan_manager.h"
#include "ltectl/secret.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <strings.h>

namespace lterouter::tools {
namespace {

constexpr const char *kTypes[] = {"async", "request", "response", "short"};
static_assert(IPC_MSG_TYPE_ASYNC == 0 && IPC_MSG_TYPE_REQUEST == 1);
static_assert(IPC_MSG_TYPE_RESPONSE == 2 && IPC_MSG_TYPE_SHORT == 3);

// A number of eight hexadecimal digits.
struct Hex {
    char text[11];

    explicit Hex(uint32_t number) { snprintf(text, sizeof(text), "0x%08" PRIx32, number); }
};

// ---- Bodies ---- each adds a body's fields; false when the body is malformed.

const char *name_of(uint32_t msg_id);

bool add_value(Record &record, const Body &body)
{
    record.number("value", body.record<uint32_t>());
    return true;
}

bool add_switch(Record &record, const Body &body)
{
    record.number("value", body.record<uint8_t>());
    return true;
}

bool add_roaming_switch(Record &record, const Body &body)
{
    add_roaming(record, body.record<uint32_t>());
    return true;
}

bool add_link_status(Record &record, const Body &body)
{
    add_link(record, body.record<lct_link_status>());
    return true;
}

bool add_interface_status(Record &record, const Body &body)
{
    add_interface(record, body.record<lct_iface_status>());
    return true;
}

bool add_report(Record &record, const Body &body)
{
    record.field("text", body.text());
    return true;
}

std::string_view shown(std::string_view secret) { return g_show_secrets ? secret : kMasked; }

bool add_pin(Record &record, const Body &body)
{
    record.field("pin", shown(bounded(body.record<lct_pin>().pin)));
    return true;
}

bool add_pins(Record &record, const Body &body)
{
    const auto change = body.record<lct_pin_change>();
    record.field("old_pin", shown(bounded(change.old_pin)))
        .field("new_pin", shown(bounded(change.new_pin)));
    return true;
}

// The length of an AT command up to the PIN in it; npos when it contains none.
size_t length_before_pin(std::string_view command)
{
    constexpr std::string_view kWithPin[] = {"CPIN", "CPWD", "CLCK"};
    for (size_t at = 0; at < command.size(); ++at) {
        for (const std::string_view name : kWithPin) {
            if (command.size() - at > name.size() &&
                strncasecmp(command.data() + at, name.data(), name.size()) == 0 &&
                command[at + name.size()] == '=') {
                return at + name.size() + 1;
            }
        }
    }
    return std::string_view::npos;
}

bool add_command(Record &record, const Body &body)
{
    const std::string_view command = at_command(body);
    if (command.empty()) {
        return false;
    }
    const size_t length = length_before_pin(command);
    if (g_show_secrets || length == std::string_view::npos) {
        record.field("command", command);
        return true;
    }
    char masked[IPC_MSG_MAX_BODY + sizeof(kMasked)];
    snprintf(masked, sizeof(masked), "%.*s%s", static_cast<int>(length), command.data(), kMasked);
    record.field("command", masked);
    return true;
}

bool add_notification(Record &record, const Body &body)
{
    const auto msg_id = body.record<uint32_t>();
    const char *name = name_of(msg_id);
    if (g_program.json) {
        record.word("notification", name != nullptr ? name : "unknown")
            .number("notification_id", msg_id);
    } else {
        record.field("notification", name != nullptr ? name : Hex(msg_id).text);
    }
    return true;
}

// ---- Messages ----

struct Kind {
    uint32_t msg_id;
    const char *name;
    uint32_t body_least = 1;
    uint32_t body_most = 0;
    bool (*add_body)(Record &record, const Body &body) = nullptr;
};

constexpr uint32_t kWord = sizeof(uint32_t);
constexpr uint32_t kPin = sizeof(lct_pin);
constexpr uint32_t kPins = sizeof(lct_pin_change);
constexpr uint32_t kLink = LCT_LINK_BODY_SIZE;
constexpr uint32_t kIface = LCT_IFACE_BODY_SIZE;
constexpr uint32_t kMost = IPC_MSG_MAX_BODY;

#define NAMED(id) id, #id

// clang-format off
//   message                               body          its fields
constexpr Kind kKinds[] = {
    {NAMED(IPC_MSG_ID_REGISTER),          kWord, kWord,   add_notification},
    {NAMED(IPC_MSG_ID_DEREGISTER),        kWord, kWord,   add_notification},
    {NAMED(SC_STATE_CHANGE_REQ),          kWord, kWord,   add_value},
    {NAMED(WM_MSG_CONNECT_REQ)},
    {NAMED(WM_MSG_DISCONNECT_REQ)},
    {NAMED(WM_MSG_LINK_STATUS_NOTIFY),    kLink, kLink,   add_link_status},
    {NAMED(WM_MSG_IFACE_STATUS_NOTIFY),   kIface, kIface, add_interface_status},
    {NAMED(WM_MSG_NETTYPE_GET_REQ)},
    {NAMED(WM_MSG_NETTYPE_SET_REQ),       kWord, kWord,   add_value},
    {NAMED(WM_MSG_ROAM_SWITCH_GET_REQ)},
    {NAMED(WM_MSG_ROAM_SWITCH_SET_REQ),   kWord, kWord,   add_roaming_switch},
    {NAMED(WM_MSG_PIN_DISABLE_REQ),       kPin, kPin,     add_pin},
    {NAMED(WM_MSG_PIN_MODIFY_REQ),        kPins, kPins,   add_pins},
    {NAMED(WM_MSG_PIN_MODIFY_EN_REQ),     1, 1,           add_switch},
    {NAMED(WM_MSG_NETLIST_SEARCH_REQ)},
    {NAMED(WM_MSG_MODEM_AT_REQ),          1, kMost,       add_command},
    {NAMED(WM_MSG_PIN_ENABLE_REQ),        kPin, kPin,     add_pin},
    {NAMED(WM_MSG_DUALMODE_SET_PREF_REQ), kWord, kWord,   add_value},
    {NAMED(WM_MSG_APN_SET_REQ)},
    {NAMED(WM_MSG_MODEM_NOTIFY),          1, kMost,       add_report},
    {NAMED(WM_MSG_IMSI_GET_REQ)},
    {NAMED(WM_MSG_IFACE_UPORDOWN_REQ),    kIface, kIface, add_interface_status},
    {NAMED(WM_MSG_DIAG_INFO_REQ)},
    {NAMED(WM_MSG_DIAG_HIDE_INFO_REQ)},
    {NAMED(WM_MSG_LTE_CHANNEL_REQ)},
    {NAMED(WM_MSG_SERIAL_PORT_SET_REQ),   kWord, kWord,   add_value},
    {NAMED(WM_MSG_AT_CFUN_OFF_REQ)},
    {NAMED(WM_MSG_SMS_DEL_ALL_REQ)},
};
// clang-format on

// nullptr: not in the table.
const Kind *find_kind(uint32_t msg_id)
{
    for (const Kind &kind : kKinds) {
        if (kind.msg_id == msg_id) {
            return &kind;
        }
    }
    return nullptr;
}

const char *name_of(uint32_t msg_id)
{
    const Kind *kind = find_kind(msg_id);
    return kind != nullptr ? kind->name : nullptr;
}

void add_hex(Record &record, const Body &body)
{
    if (body.length == 0) {
        return;
    }
    char text[2 * IPC_MSG_MAX_BODY + 1] = "";
    for (uint32_t i = 0; i < body.length; ++i) {
        snprintf(text + size_t{2} * i, 3, "%02x", body.bytes[i]);
    }
    record.field("body", text);
}

// Also a body of the wrong length.
bool may_hold_pin(const Kind *kind)
{
    return kind != nullptr &&
           (kind->add_body == add_pin || kind->add_body == add_pins || kind->add_body == add_command);
}

bool add_fields(Record &record, const Kind *kind, const Body &body)
{
    return kind != nullptr && body.length >= kind->body_least && body.length <= kind->body_most &&
           kind->add_body(record, body);
}

// Every response begins with a result; the layout behind it depends on the request.
void add_answer(Record &record, Body body)
{
    if (body.length >= sizeof(int32_t)) {
        record.number("result", body.record<int32_t>());
        body = {body.bytes + sizeof(int32_t), body.length - static_cast<uint32_t>(sizeof(int32_t))};
    }
    add_hex(record, body);
}

} // namespace

void copy_message(ipc_msg_hdr *received, Message *message)
{
    // Not ipc_msg_body: a message that was sent has the long header, whatever its type.
    const auto *body = reinterpret_cast<const uint8_t *>(received) + sizeof(*received);
    message->header = *received;
    message->sender = *ipc_msg_sender(received);
    memcpy(message->body, body, std::min<size_t>(received->length, sizeof(message->body)));
}

void print_message(const Message &message)
{
    const ipc_msg_hdr &header = message.header;
    const Kind *kind = find_kind(header.msg_id);
    Record record;
    record.event("message");
    add_time(record, message.head.arrived_ms);
    add_named(record, "type", kTypes, header.type);
    record.word("message", kind != nullptr ? kind->name : "unknown")
        .number("id", header.msg_id, Hex(header.msg_id).text)
        .number("session", header.session_id)
        .number("length", header.length)
        .field("from", socket_name(message.sender));
    const Body body = {message.body, std::min<uint32_t>(header.length, sizeof(message.body))};
    if (header.type == IPC_MSG_TYPE_RESPONSE) {
        add_answer(record, body);
    } else if (!add_fields(record, kind, body)) {
        if (body.length != 0 && may_hold_pin(kind) && !g_show_secrets) {
            record.field("body", kMasked);
        } else {
            add_hex(record, body);
        }
    }
}

} // namespace lterouter::tools
