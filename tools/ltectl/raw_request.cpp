// request: any message to any module.

#include "common/completion.h"
#include "common/program.h"
#include "common/wan_manager.h"
#include "lte_sdk/request_table.h"
#include "ltectl/commands.h"
#include "ltectl/message.h"
#include "ltectl/request.h"
#include "ltectl/storage.h"
#include "support/fd.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

constexpr uint32_t kOwnModule = UINT32_MAX; // that of the message's row

struct MessageBody {
    uint8_t bytes[IPC_MSG_MAX_BODY];
    uint32_t length;
    const char *file; // whose content it is to be, or nullptr
};

bool g_async = false;
uint32_t g_module = kOwnModule;
uint32_t g_room = IPC_MSG_MAX_BODY;
MessageBody g_body = {};

// ---- The command line ----

// In decimal, in hexadecimal after 0x, or by name.
bool parse_message(const char *text, void *target)
{
    auto *msg_id = static_cast<uint32_t *>(target);
    if (find_message(text, msg_id)) {
        return true;
    }
    if (*text < '0' || *text > '9') { // strtoull would accept blanks and signs
        return false;
    }
    char *end = nullptr;
    const int base = strncmp(text, "0x", 2) == 0 ? 16 : 10;
    const unsigned long long number = strtoull(text, &end, base);
    *msg_id = static_cast<uint32_t>(number);
    return *end == '\0' && number <= UINT32_MAX;
}

// False when it is no even number of digits.
bool parse_hex(const char *text, MessageBody *body)
{
    const size_t length = strspn(text, "0123456789abcdefABCDEF");
    if (text[length] != '\0' || length % 2 != 0 || length / 2 > sizeof(body->bytes)) {
        return false;
    }
    for (size_t i = 0; i < length / 2; ++i) {
        sscanf(text + 2 * i, "%2hhx", &body->bytes[i]);
    }
    body->length = static_cast<uint32_t>(length / 2);
    return true;
}

bool parse_body(const char *text, void *target)
{
    auto *body = static_cast<MessageBody *>(target);
    body->file = parse_hex(text, body) ? nullptr : text;
    return true;
}

// Standard error says why it cannot be read, or is too long.
int read_body(MessageBody *body)
{
    const Fd fd(open(body->file, O_RDONLY | O_CLOEXEC));
    if (!fd) {
        return fail(kFailed, "cannot read %s, which is no even number of hexadecimal digits: %s",
                    body->file, strerror(errno));
    }
    size_t length = 0;
    for (;;) {
        uint8_t beyond;
        const bool full = length == sizeof(body->bytes);
        const ssize_t count = full ? read(fd.get(), &beyond, 1)
                                   : read(fd.get(), body->bytes + length, sizeof(body->bytes) - length);
        if (count < 0) {
            return fail(kFailed, "cannot read %s: %s", body->file, strerror(errno));
        }
        if (count == 0) {
            body->length = static_cast<uint32_t>(length);
            return kDone;
        }
        if (full) {
            return fail(kFailed, "%s is longer than a body can be, %u bytes", body->file,
                        IPC_MSG_MAX_BODY);
        }
        length += static_cast<size_t>(count);
    }
}

// ---- The request ----

uint32_t module_for(uint32_t msg_id)
{
    if (g_module != kOwnModule) {
        return g_module;
    }
    for (const RequestRow &row : kRequestRows) {
        if (row.msg_id == msg_id) {
            return row.module_id;
        }
    }
    return IPC_MODULE_MM;
}

// The process that serves a module.
struct Module {
    explicit Module(uint32_t module_id)
        : peer(module_id == kWanManager.module_id ? kWanManager
               : module_id == kSmsStore.module_id
                   ? kSmsStore
                   : Peer{module_id, title, "the process that serves it"})
    {
        snprintf(title, sizeof(title), "module %u", module_id);
    }

    char title[24];
    const Peer peer;
};

int send_only(const Peer &peer, uint32_t msg_id)
{
    struct {
        ipc_msg_hdr header;
        uint8_t body[IPC_MSG_MAX_BODY];
    } message;
    message.header = {IPC_MSG_TYPE_ASYNC, msg_id, g_body.length, 0};
    memcpy(message.body, g_body.bytes, g_body.length);
    const ipc_addr address = module_address(peer.module_id);
    uint32_t result;
    {
        const Waiting waiting({&peer, kTakeTheRequest});
        result = ipc_msg_send_asy(&address, &message.header, g_body.length);
    }
    if (result != IPC_SUCCESS) {
        return is_bound(peer) ? fail(kFailed, "cannot send to the %s (code %u)", peer.title, result)
                              : tell_nobody(peer);
    }
    Record record;
    record.event("sent").text("sent");
    add_message(record, msg_id);
    record.number("length", g_body.length);
    return kDone;
}

int send_and_show(const Peer &peer, uint32_t msg_id)
{
    const Request request = {
        .peer = peer, .msg_id = msg_id, .what = "answer", .answer_len = 0, .may_be_longer = true};
    alignas(uint32_t) uint8_t answer[IPC_MSG_MAX_BODY];
    const Reply reply = exchange(request, g_body.bytes, g_body.length, answer, g_room);
    if (reply.outcome == Outcome::kNobodyBound || reply.outcome == Outcome::kNotSent) {
        return explain(request, reply);
    }
    print_answer(msg_id, {answer, reply.length});
    if (reply.cut) {
        note("the answer is longer than the %u bytes of --reply-room", g_room);
    }
    return kDone;
}

int request(uint32_t msg_id)
{
    if (g_body.file != nullptr) {
        if (const int code = read_body(&g_body); code != kDone) {
            return code;
        }
    }
    const Module module(module_for(msg_id));
    const Peer &peer = module.peer;
    return with_endpoint(
        [&] { return g_async ? send_only(peer, msg_id) : send_and_show(peer, msg_id); });
}

constexpr ValueType kMessage = {"the number or the name of a message, such as WM_MSG_IMSI_GET_REQ",
                                parse_message};
static_assert(IPC_MODULE_COUNT == 8 && IPC_MSG_MAX_BODY == 1008);
constexpr ValueType kModule = {"a module's number, from 0 to 7",
                               parse_number_in<0, IPC_MODULE_COUNT - 1>};
constexpr ValueType kBody = {"an even number of hexadecimal digits, or a file", parse_body,
                             [](Offer &offer) { offer.add_files(); }};
constexpr ValueType kRoom = {"a number of bytes from 4 to 1008",
                             parse_number_in<sizeof(int32_t), IPC_MSG_MAX_BODY>};

} // namespace

const Option kRawRequestOptions[] = {
    {"module", "N", "the module that serves it (that of a known message, else 1, the WAN manager)",
     &kModule, &g_module},
    {"body", "HEX|FILE", "what it carries: hexadecimal digits, or a file's content", &kBody, &g_body},
    {"reply-room", "N", "take at most N bytes of the answer", &kRoom, &g_room},
    {"async", nullptr, "send it, and wait for no answer", &kSwitch, &g_async},
    kTimeoutOption,
    {},
};

void offer_message(Offer &offer, const char *const *before)
{
    if (before[0] == nullptr) {
        offer_messages(offer);
    }
}

int raw_request(char *const *operands)
{
    uint32_t msg_id;
    return kMessage.parse(operands[0], &msg_id) ? request(msg_id)
                                                : bad_value("ID", kMessage, operands[0]);
}

} // namespace lterouter::tools
