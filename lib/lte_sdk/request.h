// Synchronous requests: a request's row of data, and the functions that make one.
#pragma once

#include "lte_sdk/core.h"

namespace lterouter {

// The parameters of a request.
struct Request {
    uint32_t msg_id;
    uint32_t body_len;
    uint32_t room; // for the response
    uint32_t timeout_ms;
};

// Result word of a response record before an answer arrives: a failure.
constexpr int32_t kUnanswered = 1;

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

// Sends a request to the WAN manager and waits for the response. Bytes of response that the answer does
// not contain keep their values.
Answer deliver(const Request &request, const void *body, void *response);

// Makes a request whose response starts with the result word: 0 when it is a success, else -1. A
// failure is traced with the function and the line of the caller.
int32_t ask(const char *function, const Request &request, const void *body, void *response,
            unsigned line = __builtin_LINE());

} // namespace lterouter
