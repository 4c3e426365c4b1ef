#include "lte_sdk/core.h"

#include "lct_trace/trace.h"

#include <cstring>

namespace {

using namespace lterouter;

// What tells one synchronous request to the WAN manager from another.
struct Request {
    uint32_t msg_id;
    uint32_t body_len;
    uint32_t response_room;
    uint32_t timeout_ms;
};

constexpr Request kGetRoaming{WM_MSG_ROAM_SWITCH_GET_REQ, 0, sizeof(lct_value_rsp), 400000};
constexpr Request kSetRoaming{WM_MSG_ROAM_SWITCH_SET_REQ, 4, sizeof(int32_t), 400000};

// Makes a request whose response starts with the result word, on behalf of the function that the trace
// is to name. A response that does not fill its record is no success.
int32_t ask(const char *function, const Request &request, const void *body, void *response,
            int line = __builtin_LINE())
{
    uint32_t length = request.response_room;
    if (send_request_syn(IPC_MODULE_MM, request.msg_id, body, request.body_len, request.timeout_ms,
                         response, &length) == 0) {
        trace("[%s:%s:%d]ipc msg send failure.\n\n", kUnit, function, line);
        return -1;
    }
    int32_t result;
    memcpy(&result, response, sizeof(result));
    if (length != request.response_room || result != 0) {
        trace("[%s:%s:%d]result error.\n\n", kUnit, function, line);
        return -1;
    }
    return 0;
}

} // namespace

int32_t lct_get_roam_switch(lct_value_rsp *out)
{
    if (ask(__func__, kGetRoaming, nullptr, out) != 0) {
        return -1;
    }
    return LCT_TRACE(0, "get roam switch value:%d\n\n", static_cast<int>(out->value));
}

int32_t lct_set_roam_switch(const uint32_t *value)
{
    int32_t result = 0;
    return ask(__func__, kSetRoaming, value, &result);
}
