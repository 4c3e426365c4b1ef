// AT commands to the modem, through the WAN manager.

#include "lte_sdk/request.h"

#include "lc_file/stream.h"
#include "lct_trace/trace.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace lterouter {
namespace {

// The response overwrites the request: a field of its head that does not arrive keeps the request's.
struct AtBuffer {
    uint8_t bytes[IPC_MSG_MAX_BODY] = {};

    // Returns the length of the body.
    uint16_t put_request(const char *cmd, size_t length)
    {
        AtHead head = kAtHead;
        head.length = static_cast<uint32_t>(length);
        memcpy(bytes, &head, sizeof(head));
        char *command = reinterpret_cast<char *>(bytes) + sizeof(head);
        memcpy(command, cmd, length + 1);
        if (length != 0) {
            command[length - 1] = '\r';
        }
        return static_cast<uint16_t>(sizeof(head) + length + 1);
    }

    // The text is cut at the end of the answer, so that the request's markers do not become part of it.
    AtAnswer response(uint32_t length) const
    {
        AtAnswer response = {};
        memcpy(&response, bytes, std::clamp<size_t>(length, offsetof(AtAnswer, text), kAtAnswerMax));
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
    if (length <= kAtCommandMax) {
        Request request = request::lct_ext_at_req;
        request.body_len = buffer.put_request(cmd, length);
        answer = deliver(request, buffer.bytes, buffer.bytes);
    }
    const AtAnswer response = buffer.response(answer.length);
    if (!is_success(answer, response.result)) {
        return LC_TRACE(-1, "call WM_MSG_MODEM_AT_REQ failed. ret=%d rsp->err_code=%d\n\n",
                        answer.delivered ? 1 : 0, static_cast<int>(response.result));
    }
    LC_TRACE(void(), "rsp_len:%d\n\n", static_cast<int>(response.length));
    LC_TRACE(void(), "type:%d\n\n", static_cast<int>(response.type));
    LC_TRACE(void(), "%s\n\n", response.text);
    strncpy(out, response.text, out_len); // without a terminator when the text fills it
    if (response.type == kAtTypeFile) {
        print_file(response.text);
    }
    return 0;
}
