// A request as a row of data.
#pragma once

#include "common/body.h"
#include "wansim/answer.h"
#include "wansim/modem.h"

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
};

// A request's properties. A synchronous request is answered with the result, and with what run puts
// behind it.
struct Request {
    const char *name;
    uint32_t msg_id;
    uint32_t body_least;
    uint32_t body_most;
    uint32_t answer_len;
    int32_t (*run)(State &state, const Body &body, Answer *answer);
};

struct RequestTable {
    const Request *begin_;
    size_t count;

    const Request *begin() const { return begin_; }
    const Request *end() const { return begin_ + count; }
};

extern const RequestTable kWanManagerRequests;
extern const RequestTable kSmsStoreRequests;

} // namespace lterouter::tools
