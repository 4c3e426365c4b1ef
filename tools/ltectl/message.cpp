#include "ltectl/message.h"

#include "common/at.h"
#include "common/body.h"
#include "common/completion.h"
#include "common/program.h"
#include "common/wan_manager.h"
#include "lte_sdk/request_table.h"
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
    const char *name = message_name(msg_id);
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
    const char *name;
    uint32_t msg_id;
    BodyForm body;
};

// The macros use # themselves: as an argument of another macro a name is replaced by its number first.
#define REQUEST_KIND(function, message, module, its_body, its_answer, timeout_ms) \
    {#message, message, body::its_body},
#define NOTIFICATION_KIND(message, its_body) {#message, message, body::its_body},

// A message that two functions send stands here for each of its bodies.
constexpr Kind kKinds[] = {{"IPC_MSG_ID_REGISTER", IPC_MSG_ID_REGISTER, body::message_id},
                           {"IPC_MSG_ID_DEREGISTER", IPC_MSG_ID_DEREGISTER, body::message_id},
                           LCT_REQUESTS(REQUEST_KIND) LCT_NOTIFICATIONS(NOTIFICATION_KIND)};

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
bool may_hold_pin(uint32_t msg_id)
{
    return std::any_of(std::begin(kKinds), std::end(kKinds), [=](const Kind &kind) {
        const Fields fields = kind.body.fields;
        return kind.msg_id == msg_id &&
               (fields == Fields::kPin || fields == Fields::kPins || fields == Fields::kCommand);
    });
}

// False when the body is malformed.
bool add_form(Record &record, Fields fields, const Body &body)
{
    switch (fields) {
    case Fields::kNone:
        return true;
    case Fields::kNumber:
        return add_value(record, body);
    case Fields::kByte:
        return add_switch(record, body);
    case Fields::kRoaming:
        return add_roaming_switch(record, body);
    case Fields::kPin:
        return add_pin(record, body);
    case Fields::kPins:
        return add_pins(record, body);
    case Fields::kLink:
        return add_link_status(record, body);
    case Fields::kInterface:
        return add_interface_status(record, body);
    case Fields::kCommand:
        return add_command(record, body);
    case Fields::kText:
        return add_report(record, body);
    case Fields::kMessageId:
        return add_notification(record, body);
    }
    return false;
}

bool takes(const BodyForm &form, uint32_t length)
{
    return form.least <= length && length <= form.most;
}

bool add_fields(Record &record, uint32_t msg_id, const Body &body)
{
    for (const Kind &kind : kKinds) {
        if (kind.msg_id == msg_id && takes(kind.body, body.length)) {
            return add_form(record, kind.body.fields, body);
        }
    }
    return false;
}

// Every response begins with a result; the layout of the rest depends on the request.
void add_answer(Record &record, Body body)
{
    if (body.length >= sizeof(int32_t)) {
        record.number("result", body.record<int32_t>());
        body = {body.bytes + sizeof(int32_t), body.length - static_cast<uint32_t>(sizeof(int32_t))};
    }
    add_hex(record, body);
}

// Whether a request's answer is a result and a number.
bool has_value(uint32_t msg_id)
{
    return std::any_of(std::begin(kRequestRows), std::end(kRequestRows), [=](const RequestRow &row) {
        return row.msg_id == msg_id && row.answer.least == answer::value.least &&
               row.answer.has_one_length();
    });
}

// The value of a successful answer; nothing where its layout is not known.
void add_known_value(Record &record, uint32_t msg_id, const Body &answer)
{
    if (has_value(msg_id) && answer.length == answer::value.least) {
        record.number("value", answer.record<lct_value_rsp>().value);
    } else if (msg_id == WM_MSG_IMSI_GET_REQ && answer.length > answer::imsi.least) {
        record.field(
            "imsi", Body{answer.bytes + answer::imsi.least, answer.length - answer::imsi.least}.text());
    } else if (msg_id == WM_MSG_MODEM_AT_REQ && answer.length > answer::at.least) {
        record.field("text",
                     Body{answer.bytes + answer::at.least, answer.length - answer::at.least}.text());
    }
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

bool find_message(const char *name, uint32_t *msg_id)
{
    for (const Kind &kind : kKinds) {
        if (strcmp(kind.name, name) == 0) {
            *msg_id = kind.msg_id;
            return true;
        }
    }
    return false;
}

void offer_messages(Offer &offer)
{
    for (const Kind &kind : kKinds) {
        offer.add(kind.name);
    }
}

const char *message_name(uint32_t msg_id)
{
    for (const Kind &kind : kKinds) {
        if (kind.msg_id == msg_id) {
            return kind.name;
        }
    }
    return nullptr;
}

void add_message(Record &record, uint32_t msg_id)
{
    const char *name = message_name(msg_id);
    record.word("message", name != nullptr ? name : "unknown").number("id", msg_id, Hex(msg_id).text);
}

void print_answer(uint32_t msg_id, const Body &answer)
{
    Record record;
    record.event("answer").text("answer");
    add_message(record, msg_id);
    record.number("length", answer.length);
    add_answer(record, answer);
    add_known_value(record, msg_id, answer);
}

bool mask_secrets(Message *message)
{
    const ipc_msg_hdr &header = message->header;
    const Body body = {message->body, std::min<uint32_t>(header.length, sizeof(message->body))};
    if (g_show_secrets || body.length == 0 || header.type == IPC_MSG_TYPE_RESPONSE ||
        !may_hold_pin(header.msg_id)) {
        return false;
    }
    const std::string_view command =
        header.msg_id == WM_MSG_MODEM_AT_REQ ? at_command(body) : std::string_view();
    const size_t before = length_before_pin(command);
    if (!command.empty() && before == std::string_view::npos) {
        return false;
    }
    const size_t start = command.empty() ? 0 : sizeof(AtHead) + before;
    memset(message->body + start, kMasked[0], body.length - start);
    if (!command.empty()) {
        message->body[sizeof(AtHead) + command.size()] = '\r'; // it is a command all the same
    }
    return true;
}

void print_message(const Message &message)
{
    const ipc_msg_hdr &header = message.header;
    Record record;
    record.event("message");
    add_time(record, message.head.arrived_us / 1000);
    add_named(record, "type", kTypes, header.type);
    add_message(record, header.msg_id);
    record.number("session", header.session_id)
        .number("length", header.length)
        .field("from", socket_name(message.sender));
    const Body body = {message.body, std::min<uint32_t>(header.length, sizeof(message.body))};
    if (header.type == IPC_MSG_TYPE_RESPONSE) {
        add_answer(record, body);
    } else if (body.length != 0 && !add_fields(record, header.msg_id, body)) {
        if (may_hold_pin(header.msg_id) && !g_show_secrets) {
            record.field("body", kMasked);
        } else {
            add_hex(record, body);
        }
    }
}

} // namespace lterouter::tools
