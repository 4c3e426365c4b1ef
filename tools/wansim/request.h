// A request as a row of data.
#pragma once

#include "common/body.h"
#include "lte_sdk/request_table.h"
#include "wansim/answer.h"
#include "wansim/modem.h"

#include <algorithm>
#include <iterator>

namespace lterouter::tools {

// The result of a refusal.
constexpr int32_t kRefused = -1;

// The whole state; used by the worker only.
struct State {
    const Settings &settings;
    Modem *modem; // none in the SMS store
    uint32_t roaming;
    uint32_t nettype = 3;    // 4G
    uint32_t preference = 7; // LTE
    uint32_t port = 0;
    uint32_t messages; // in the SMS store
    FaultRules faults;
};

// A request's properties. A synchronous request is answered with the result, and with what run puts
// after it.
struct Request {
    const char *name;
    uint32_t msg_id;
    uint32_t body_least;
    uint32_t body_most;
    uint32_t answer_len;
    int32_t (*run)(State &state, const Body &body, Answer *answer);
};

// Only declared: calling it is no constant expression, so that a message without a row does not
// compile.
void no_function_of_the_client_sends_this();

// Body and answer are those of the client's functions that send the message.
consteval Request row(uint32_t module_id, const char *name, uint32_t msg_id,
                      int32_t (*run)(State &state, const Body &body, Answer *answer))
{
    Request request = {name, msg_id, UINT32_MAX, 0, sizeof(int32_t), run};
    for (const RequestRow &of_client : kRequestRows) {
        if (of_client.msg_id == msg_id && of_client.module_id == module_id) {
            request.body_least = std::min(request.body_least, of_client.body.least);
            request.body_most = std::max(request.body_most, of_client.body.most);
            if (of_client.answer.has_one_length()) {
                request.answer_len = std::max(request.answer_len, of_client.answer.least);
            }
        }
    }
    if (request.body_least == UINT32_MAX) {
        no_function_of_the_client_sends_this();
    }
    return request;
}

template <size_t Count> consteval bool serves(const Request (&requests)[Count], uint32_t msg_id)
{
    return std::any_of(std::begin(requests), std::end(requests),
                       [=](const Request &request) { return request.msg_id == msg_id; });
}

struct RequestTable {
    const Request *begin_;
    size_t count;

    const Request *begin() const { return begin_; }
    const Request *end() const { return begin_ + count; }
};

extern const RequestTable kWanManagerRequests;
extern const RequestTable kSmsStoreRequests;

} // namespace lterouter::tools
