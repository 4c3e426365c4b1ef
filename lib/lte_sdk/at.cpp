// AT commands to the modem, through the WAN manager.

#include "lte_sdk/request.h"

#include "lc_file/stream.h"
#include "lct_trace/trace.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace lterouter {
namespace {

// The request's body up to the command.
struct AtHead {
    uint32_t command_len; // without the terminator
    uint32_t type;
    uint32_t modem_timeout_ms; // how long the WAN manager waits for the modem
    uint32_t marker_count;     // texts that end the modem's answer
    char marker1[16];
    char marker2[16];
    char marker3[48];
};
static_assert(sizeof(AtHead) == 96 && offsetof(AtHead, marker1) == 16);
static_assert(offsetof(AtHead, marker2) == 32 && offsetof(AtHead, marker3) == 48);

constexpr AtHead kHead = {0, 0, 5000, 3, "OK", "ERROR", "+CME ERROR"};
constexpr uint32_t kTimeoutMs = 20000;
constexpr size_t kCommandMax = IPC_MSG_MAX_BODY - sizeof(AtHead) - 1;

constexpr uint32_t kResponseRoom = 128;
constexpr uint32_t kTypeFile = 1;

struct AtResponse {
    int32_t err_code;
    uint32_t type; // kTypeFile: text is the path of a file that holds the answer
    uint32_t rsp_len;
    char text[kResponseRoom - 12 + 1]; // room for a terminator if the answer has none
};
static_assert(offsetof(AtResponse, text) == 12);

// The response overwrites the request: a field of its head that does not arrive keeps the request's.
struct AtBuffer {
    uint8_t bytes[IPC_MSG_MAX_BODY] = {};

    // Returns the length of the body.
    uint32_t put_request(const char *cmd, size_t length)
    {
        AtHead head = kHead;
        head.command_len = static_cast<uint32_t>(length);
        memcpy(bytes, &head, sizeof(head));
        char *command = reinterpret_cast<char *>(bytes) + sizeof(head);
        memcpy(command, cmd, length + 1);
        if (length != 0) {
            command[length - 1] = '\r';
        }
        return static_cast<uint32_t>(sizeof(head) + length + 1);
    }

    // The text is cut at the end of the answer, so that the request's markers do not become part of it.
    AtResponse response(uint32_t length) const
    {
        constexpr size_t kHeadSize = offsetof(AtResponse, text);
        AtResponse response = {};
        memcpy(&response, bytes, std::clamp<size_t>(length, kHeadSize, kResponseRoom));
        return response;
    }
};

void print_file(const char *path)
{
    const Stream file(lc_fopen(path, "re"));
    if (!file) {
        return;
    }
    char piece[128];
    for (size_t size; (size = lc_fread(piece, 1, sizeof(piece), file.get())) > 0;) {
        fwrite(piece, 1, size, stdout);
    }
}

} // namespace
} // namespace lterouter

using namespace lterouter;

int32_t lct_ext_at_req(const char *cmd, char *out, uint32_t out_len)
{
    AtBuffer buffer;
    const size_t length = strlen(cmd);
    Answer answer = {false, 0};
    if (length <= kCommandMax) {
        const uint32_t body_len = buffer.put_request(cmd, length);
        answer = deliver({WM_MSG_MODEM_AT_REQ, body_len, kResponseRoom, kTimeoutMs}, buffer.bytes,
                         buffer.bytes);
    }
    const AtResponse response = buffer.response(answer.length);
    if (!is_success(answer, response.err_code)) {
        return LC_TRACE(-1, "call WM_MSG_MODEM_AT_REQ failed. ret=%d rsp->err_code=%d\n\n",
                        answer.delivered ? 1 : 0, static_cast<int>(response.err_code));
    }
    LC_TRACE(void(), "rsp_len:%d\n\n", static_cast<int>(response.rsp_len));
    LC_TRACE(void(), "type:%d\n\n", static_cast<int>(response.type));
    LC_TRACE(void(), "%s\n\n", response.text);
    strncpy(out, response.text, out_len); // without a terminator when the text fills it
    if (response.type == kTypeFile) {
        print_file(response.text);
    }
    return 0;
}
