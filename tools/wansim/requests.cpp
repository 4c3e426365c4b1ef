#include "wansim/requests.h"

#include "common/wan_manager.h"
#include "wansim/mailbox.h"
#include "wansim/modem.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>

namespace lterouter::tools {
namespace {

constexpr int32_t kRefused = -1;

// All there is to know; the worker's alone.
struct State {
    Modem modem;
    uint32_t roaming;
};

// What tells one request from another. A request that came synchronously is answered with the result,
// and the value where it has one.
struct Request {
    const char *name;
    uint32_t msg_id;
    uint32_t body_len;
    uint32_t answer_len;
    int32_t (*run)(State &state, const void *body, uint32_t *value);
};

int32_t connect(State &state, const void *, uint32_t *)
{
    state.modem.connect();
    return 0;
}

int32_t disconnect(State &state, const void *, uint32_t *)
{
    state.modem.disconnect();
    return 0;
}

int32_t get_roaming(State &state, const void *, uint32_t *value)
{
    *value = state.roaming;
    return 0;
}

int32_t set_roaming(State &state, const void *body, uint32_t *)
{
    uint32_t value;
    memcpy(&value, body, sizeof(value));
    if (value > 1) {
        return kRefused;
    }
    state.roaming = value;
    print_roaming(value);
    return 0;
}

constexpr uint32_t kResult = sizeof(lct_value_rsp::result);
constexpr uint32_t kResultAndValue = sizeof(lct_value_rsp);

constexpr Request kRequests[] = {
    {"connect", WM_MSG_CONNECT_REQ, 0, kResult, connect},
    {"disconnect", WM_MSG_DISCONNECT_REQ, 0, kResult, disconnect},
    {"get-roaming", WM_MSG_ROAM_SWITCH_GET_REQ, 0, kResultAndValue, get_roaming},
    {"set-roaming", WM_MSG_ROAM_SWITCH_SET_REQ, 4, kResult, set_roaming},
};

// Whatever is not in the table.
constexpr Request kUnknown = {"unknown", 0, 0, kResult, nullptr};

const Request &find_request(uint32_t msg_id)
{
    for (const Request &request : kRequests) {
        if (request.msg_id == msg_id) {
            return request;
        }
    }
    return kUnknown;
}

void answer(ipc_msg_hdr *message, const lct_value_rsp &body, uint32_t length)
{
    const Message response = make_message(IPC_MSG_TYPE_RESPONSE, message->msg_id, length);
    if (response != nullptr) {
        response->session_id = message->session_id;
        memcpy(ipc_msg_body(response.get()), &body, length);
        ipc_msg_send_asy(ipc_msg_sender(message), response.get(), length);
    }
}

void print_request(ipc_msg_hdr *message, const Request &request)
{
    char id[11];
    snprintf(id, sizeof(id), "0x%08" PRIx32, message->msg_id);
    Record()
        .word("event", "request")
        .word("request", request.name)
        .field("id", id)
        .field("from", socket_name(*ipc_msg_sender(message)));
}

void print_refusal(const Request &request)
{
    Record().word("event", "refused").word("request", request.name);
}

void serve_request(State &state, ipc_msg_hdr *message)
{
    const Request &request = find_request(message->msg_id);
    print_request(message, request);
    lct_value_rsp body = {kRefused, 0};
    if (request.run != nullptr && message->length == request.body_len) {
        body.result = request.run(state, ipc_msg_body(message), &body.value);
    }
    if (body.result != 0) {
        print_refusal(request);
    }
    if (message->type == IPC_MSG_TYPE_REQUEST) {
        answer(message, body, request.answer_len);
    }
}

} // namespace

void *serve(void *settings)
{
    const auto &given = *static_cast<const Settings *>(settings);
    State state{Modem(given), given.roaming};
    Record().word("event", "ready").text("at").word("socket", socket_name(wan_manager_address()));
    for (;;) {
        const Message message = receive();
        switch (message->msg_id) {
        case kMsgEnd:
            return nullptr;
        case kMsgAlarm:
            state.modem.alarm();
            break;
        default:
            serve_request(state, message.get());
            break;
        }
    }
}

} // namespace lterouter::tools
