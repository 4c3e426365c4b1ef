#include "ltectl/request.h"

#include "common/wan_manager.h"
#include "ltectl/clock.h"
#include "ltectl/endpoints.h"

#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace lterouter::tools {
namespace {

constexpr Request kPing = {kWanManager, WM_MSG_LINK_STATUS_NOTIFY, "answer"};

Outcome not_sent(const Peer &peer)
{
    return is_bound(peer) ? Outcome::kNotSent : Outcome::kNobodyBound;
}

void take_ping_back()
{
    const ipc_addr address = wan_manager_address();
    ipc_deregister_notify(&address, kPing.msg_id);
}

// Every WAN manager answers a subscription, so this finds out whether one runs; it is cancelled at
// once.
Outcome ping()
{
    const ipc_addr address = wan_manager_address();
    at_end({.farewell = take_ping_back, .close = ipc_msg_fin});
    const Waiting waiting({&kWanManager, kPing.what});
    const uint32_t result = ipc_register_notify(&address, kPing.msg_id, kBeyondAnyDeadlineMs);
    if (result == IPC_ERR_SOCKET) {
        return not_sent(kWanManager);
    }
    take_ping_back();
    at_end({.farewell = nullptr, .close = ipc_msg_fin});
    return Outcome::kSuccess;
}

struct SimHint {
    const char *status;
    const char *any; // after the refusal of any request
    const char *pin; // after the refusal of a request about the PIN
};

constexpr char kWrongPin[] = "the PIN may be wrong, and three wrong ones in a row lock the SIM";
constexpr char kLocked[] =
    "the SIM is locked; ltectl pin change PUK NEW unlocks it, with the operator's PUK";
constexpr char kDead[] = "the SIM is locked for good; the operator has to replace it";
constexpr char kAbsent[] = "there is no SIM";

constexpr SimHint kSimHints[] = {
    {"sim_ready", nullptr, kWrongPin},
    {"pin_enable", nullptr, kWrongPin},
    {"sim_pin", "the SIM asks for its PIN, which ltectl pin enable PIN gives", kWrongPin},
    {"sim_puk", kLocked, kLocked},
    {"sim_locked", kDead, kDead},
    {"sim_absent", kAbsent, kAbsent},
};

int tell_refusal(const Request &request, int32_t result)
{
    const char *hint =
        request.peer.module_id == kWanManager.module_id ? sim_hint(request.about_pin) : nullptr;
    return fail(kFailed, "the %s did not %s (result %d)%s%s", request.peer.title, request.what, result,
                hint != nullptr ? "; " : "", hint != nullptr ? hint : "");
}

// ---- Messages ----

struct Datagram {
    ipc_msg_hdr header = {};
    uint8_t body[IPC_MSG_MAX_BODY] = {};
};

uint32_t send_and_wait(const Request &request, Datagram *sent, Datagram *received, uint32_t *length)
{
    const ipc_addr address = module_address(request.peer.module_id);
    if (request.limit_ms != 0) {
        return ipc_msg_send_syn(&address, &sent->header, sent->header.length,
                                whole_timeout(request.limit_ms), received, length);
    }
    const Waiting waiting({&request.peer, request.what});
    return ipc_msg_send_syn(&address, &sent->header, sent->header.length, kBeyondAnyDeadlineMs,
                            received, length);
}

int32_t call_and_wait(int32_t (*call)(lct_value_rsp *out), const Request &request,
                      lct_value_rsp *answer)
{
    const Waiting waiting({&request.peer, request.what});
    return call(answer);
}

uint8_t last_byte(uint32_t value)
{
    uint8_t bytes[sizeof(value)];
    memcpy(bytes, &value, sizeof(value));
    return bytes[sizeof(value) - 1];
}

Outcome judge(const Request &request, uint32_t code, const Datagram &received, Reply *reply)
{
    if (code == IPC_ERR_SOCKET) {
        return not_sent(request.peer);
    }
    if (code == IPC_ERR_TIMEOUT) {
        return Outcome::kTimeout;
    }
    if (code != IPC_SUCCESS && code != IPC_ERR_TOO_SMALL) {
        return Outcome::kNotSent;
    }
    if ((code == IPC_ERR_TOO_SMALL && !request.may_be_longer) ||
        reply->length < sizeof(reply->result)) {
        return Outcome::kMalformed;
    }
    reply->cut = code == IPC_ERR_TOO_SMALL;
    memcpy(&reply->result, received.body, sizeof(reply->result));
    if (reply->result != 0) {
        return Outcome::kRefused;
    }
    return reply->length < request.answer_len ? Outcome::kNoValue : Outcome::kSuccess;
}

} // namespace

const Option kTimeoutOptions[] = {kTimeoutOption, {}};

Reply exchange(const Request &request, const void *body, uint32_t body_len, void *answer, uint32_t room)
{
    Datagram sent;
    sent.header = {IPC_MSG_TYPE_REQUEST, request.msg_id, body_len, 0};
    ipc_gen_seesion_id(&sent.header);
    if (body_len != 0) {
        memcpy(sent.body, body, body_len);
    }
    Datagram received;
    Reply reply = {Outcome::kNotSent, 0, room};
    const uint32_t code = send_and_wait(request, &sent, &received, &reply.length);
    reply.outcome = judge(request, code, received, &reply);
    memcpy(answer, received.body, room);
    return reply;
}

Reply exchange_by(int32_t (*call)(lct_value_rsp *out), const Request &request, lct_value_rsp *answer)
{
    // Behind the end of an answer stays what was there before. A value that ends the same is asked for
    // again.
    constexpr uint32_t kBefore[] = {UINT32_MAX, 0};
    Reply reply = {Outcome::kNoValue, 0, sizeof(*answer)};
    for (const uint32_t before : kBefore) {
        *answer = {0, before};
        const int32_t failed = call_and_wait(call, request, answer);
        reply.result = answer->result;
        if (reply.result != 0) {
            reply.outcome = Outcome::kRefused;
        } else if (failed != 0) {
            reply.outcome = is_bound(request.peer) ? Outcome::kMalformed : Outcome::kNobodyBound;
        } else if (last_byte(answer->value) != last_byte(before)) {
            reply.outcome = Outcome::kSuccess;
        } else {
            continue;
        }
        break;
    }
    return reply;
}

int explain(const Request &request, const Reply &reply)
{
    switch (reply.outcome) {
    case Outcome::kSuccess:
        return kDone;
    case Outcome::kNoValue:
        return fail(kFailed, "the %s agreed to %s, but its answer has no value", request.peer.title,
                    request.what);
    case Outcome::kRefused:
        return tell_refusal(request, reply.result);
    case Outcome::kMalformed:
        return fail(kFailed, "the %s did not %s: its answer has the wrong length", request.peer.title,
                    request.what);
    case Outcome::kNobodyBound:
        return tell_nobody(request.peer);
    case Outcome::kTimeout:
        return fail(kNoAnswer, "the %s did not %s in time", request.peer.title, request.what);
    case Outcome::kNotSent:
        break;
    }
    return fail(kFailed, "cannot send to the %s", request.peer.title);
}

int ask(const Request &request, const void *body, uint32_t body_len, void *answer, uint32_t room)
{
    return explain(request, exchange(request, body, body_len, answer, room));
}

int tell(const Request &request)
{
    int32_t result;
    return ask(request, &result);
}

int send_to_manager(const Request &request, const void *body, uint32_t body_len)
{
    Reply reply = {ping(), 0, 0};
    if (reply.outcome == Outcome::kSuccess) {
        const Waiting waiting({&request.peer, request.what});
        if (send_request(request.peer.module_id, request.msg_id, body, body_len) == 0) {
            reply.outcome = not_sent(request.peer);
        }
    }
    return explain(request, reply);
}

bool is_bound(const Peer &peer)
{
    const auto socket = socket_at(module_address(peer.module_id));
    return !socket || *socket != 0;
}

int tell_nobody(const Peer &peer)
{
    return fail(kNobody, "no %s is bound to %s; start %s", peer.title, BoundName(peer).text,
                peer.starter);
}

SimStatus::SimStatus()
{
    const Waiting waiting(kStoreWait);
    if (lct_sim_status_get_req(text, sizeof(text)) != 0) {
        text[0] = '\0';
    }
}

int fail_to_open(uint32_t result)
{
    return fail(
        kFailed,
        "cannot start the endpoint lc_socket_cli1_%u_common (code %u); ltectl bus list shows whether "
        "its name is taken",
        static_cast<unsigned int>(getpid()), result);
}

const char *sim_hint(bool about_pin)
{
    const SimStatus sim;
    for (const SimHint &row : kSimHints) {
        if (strcmp(sim.text, row.status) == 0) {
            return about_pin ? row.pin : row.any;
        }
    }
    return nullptr;
}

int open_endpoint()
{
    at_end({.farewell = nullptr, .close = ipc_msg_fin});
    const int32_t result = lct_ipc_init_for_sc_msg();
    return result == 0 ? kDone : fail_to_open(static_cast<uint32_t>(result));
}

} // namespace lterouter::tools
