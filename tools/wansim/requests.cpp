#include "wansim/requests.h"

#include "common/wan_manager.h"
#include "wansim/control.h"
#include "wansim/ending.h"
#include "wansim/mailbox.h"
#include "wansim/request.h"

#include <cinttypes>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>

namespace lterouter::tools {
namespace {

// More than any client has room for.
constexpr uint32_t kTooLong = 600;

// A request that is not in the table.
constexpr Request kUnknown = {"unknown", 0, 0, 0, sizeof(int32_t), nullptr};

const RequestTable &table_of(const Settings &settings)
{
    return settings.sms_store ? kSmsStoreRequests : kWanManagerRequests;
}

const Request &find_request(const RequestTable &table, uint32_t msg_id)
{
    for (const Request &request : table) {
        if (request.msg_id == msg_id) {
            return request;
        }
    }
    return kUnknown;
}

bool fits(const Request &request, uint32_t length)
{
    return request.run != nullptr && length >= request.body_least && length <= request.body_most;
}

void send_answer(ipc_msg_hdr *message, const Answer &answer)
{
    const Message response = make_message(IPC_MSG_TYPE_RESPONSE, message->msg_id, answer.length);
    if (response != nullptr) {
        response->session_id = message->session_id;
        memcpy(ipc_msg_body(response.get()), answer.body, answer.length);
        ipc_msg_send_asy(ipc_msg_sender(message), response.get(), answer.length);
    }
}

// The answer, changed by the fault.
void send_faulty(ipc_msg_hdr *message, Answer *answer, const FaultRule &rule)
{
    switch (rule.fault) {
    case Fault::kSilent:
        return;
    case Fault::kDie:
        raise(SIGKILL);
        return;
    case Fault::kLate:
        wait_unless_ending(rule.late_ms);
        break;
    case Fault::kShort:
        answer->length = sizeof(int32_t) - 1;
        break;
    case Fault::kLong:
        answer->length = kTooLong;
        break;
    case Fault::kTwice:
        send_answer(message, *answer);
        break;
    case Fault::kNone:
    case Fault::kRefuse:
        break;
    }
    send_answer(message, *answer);
}

void print_request(ipc_msg_hdr *message, const Request &request)
{
    char id[11];
    snprintf(id, sizeof(id), "0x%08" PRIx32, message->msg_id);
    Record()
        .word("event", "request")
        .word("request", request.name)
        .number("id", message->msg_id, id)
        .field("from", socket_name(*ipc_msg_sender(message)));
}

void print_refusal(const Request &request, int32_t result)
{
    Record().word("event", "refused").word("request", request.name).number("result", result);
}

void serve_request(State &state, ipc_msg_hdr *message)
{
    const Request &request = find_request(table_of(state.settings), message->msg_id);
    const FaultRule rule = state.faults.of(request.name);
    print_request(message, request);
    Answer answer;
    answer.length = request.answer_len;
    int32_t result = kRefused;
    if (fits(request, message->length) && rule.fault != Fault::kRefuse) {
        const Body body = {static_cast<const uint8_t *>(ipc_msg_body(message)), message->length};
        result = request.run(state, body, &answer);
    }
    answer.put_result(result);
    if (result != 0) {
        print_refusal(request, result);
    }
    if (state.modem != nullptr) {
        state.modem->publish_sim();
    }
    if (message->type == IPC_MSG_TYPE_REQUEST || rule.fault == Fault::kDie) {
        send_faulty(message, &answer, rule);
    }
}

} // namespace

std::string_view find_request_name(std::string_view name)
{
    for (const RequestTable *table : {&kWanManagerRequests, &kSmsStoreRequests}) {
        for (const Request &request : *table) {
            if (request.name == name) {
                return request.name;
            }
        }
    }
    return {};
}

void each_request(void (*visit)(std::string_view name, void *context), void *context)
{
    for (const RequestTable *table : {&kWanManagerRequests, &kSmsStoreRequests}) {
        for (const Request &request : *table) {
            visit(request.name, context);
        }
    }
}

void list_requests()
{
    for (const RequestTable *table : {&kWanManagerRequests, &kSmsStoreRequests}) {
        for (const Request &request : *table) {
            char id[11];
            snprintf(id, sizeof(id), "0x%08" PRIx32, request.msg_id);
            Record()
                .event("request")
                .word("request", request.name)
                .number("id", request.msg_id, id)
                .field("module", table == &kWanManagerRequests ? "wan-manager" : "sms-store");
        }
    }
}

uint32_t module_of(const Settings &settings)
{
    return settings.sms_store ? IPC_MODULE_SMS_PB : IPC_MODULE_MM;
}

void *serve(void *settings)
{
    const auto &given = *static_cast<const Settings *>(settings);
    std::optional<Modem> modem;
    if (!given.sms_store) {
        modem.emplace(given);
    }
    State state = {.settings = given,
                   .modem = modem ? &*modem : nullptr,
                   .roaming = given.roaming,
                   .messages = given.messages,
                   .faults = given.faults};
    begin_controls(state);
    Record()
        .word("event", "ready")
        .text("at")
        .word("socket", socket_name(module_address(module_of(given))));
    for (;;) {
        const Message message = receive();
        if (message->msg_id == kMsgControl) {
            serve_controls();
            continue;
        }
        wait_unless_ending(0); // for the end of a hang
        switch (message->msg_id) {
        case kMsgEnd:
            return nullptr;
        case kMsgAlarm:
            if (modem) { // an alarm may come from outside, to the SMS store too
                modem->alarm();
            }
            break;
        default:
            serve_request(state, message.get());
            break;
        }
    }
}

} // namespace lterouter::tools
