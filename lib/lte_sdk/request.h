// Requests: the numbers of the table that sending one takes, and the functions that make one.
#pragma once

#include "lte_sdk/core.h"
#include "lte_sdk/request_table.h"

#include <type_traits>

namespace lterouter {

// The parameters of a request; room and time-out of a synchronous one.
struct Request {
    uint32_t msg_id;
    uint32_t room; // for the response
    uint32_t timeout_ms;
    uint16_t body_len;
    uint8_t module_id;
};

// The rows of the table, by function.
namespace request {
#define LCT_REQUEST(function, message, module, its_body, its_answer, timeout_ms)       \
    static_assert(std::is_function_v<decltype(::function)>);                           \
    inline constexpr Request function = {message, answer::its_answer.room, timeout_ms, \
                                         body::its_body.most, module};
LCT_REQUESTS(LCT_REQUEST)
#undef LCT_REQUEST
} // namespace request

// Result word of a response record before an answer arrives: a failure.
constexpr int32_t kUnanswered = 1;

// Sends an asynchronous request: 1 when the receiver's socket took it, else 0.
inline uint32_t post(const Request &request, const void *body)
{
    return send_request(request.module_id, request.msg_id, body, request.body_len);
}

struct Answer {
    bool delivered;
    uint32_t length;
};

// Delivered, with the result word 0. An answer may be shorter than its record, but one without a result
// word is a failure, whatever the record held before.
inline bool is_success(const Answer &answer, int32_t result)
{
    return answer.delivered && answer.length >= sizeof(result) && result == 0;
}

// Sends a request and waits for the response. Bytes of response that the answer does not contain keep
// their values.
Answer deliver(const Request &request, const void *body, void *response);

// Makes a request whose response starts with the result word: 0 when it is a success, else -1. A
// failure is traced with the function and the line of the caller.
int32_t ask(const char *function, const Request &request, const void *body, void *response,
            unsigned line = __builtin_LINE());

} // namespace lterouter
