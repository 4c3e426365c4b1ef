// Sending a frame to the modem: the exchange with its response, and retries until it is accepted.

#include "lc_up/transfer.h"

#include "lc_up/serial.h"
#include "lct_trace/trace.h"
#include "support/byte_order.h"

#include <cstring>

namespace lterouter {
namespace {

constexpr int kReads = 10;
constexpr int kAttempts = 11;
constexpr useconds_t kPauseMicroseconds = 5000;
constexpr int kResponseHead = 16;

} // namespace

int g_tty_fd = -1;

} // namespace lterouter

using namespace lterouter;

int32_t lc_data_trans(int fd, const lc_up_frame *request, lc_up_response *response)
{
    if (request == nullptr || response == nullptr) {
        return LC_TRACE(-1, "param is NULL\n\n");
    }
    const int type = static_cast<int>(little32(request->type));
    const uint32_t index = little32(request->index);
    const ssize_t written = write(fd, request, sizeof(*request));
    if (written != static_cast<ssize_t>(sizeof(*request))) {
        // Not a failure yet: the reads below find out whether the modem answers.
        LC_TRACE(void(),
                 "write tty dev failed, type:%d index:%d need write:%d real write:%d, need check "
                 "callback\n\n",
                 type, static_cast<int>(index), static_cast<int>(sizeof(*request)),
                 static_cast<int>(written));
    }
    for (int reads = 0; reads < kReads; ++reads) {
        // A short response must not be completed by bytes of an earlier one.
        memset(response, 0, sizeof(*response));
        const int32_t count = lc_read_tty(fd, response, sizeof(*response));
        if (count < 0) {
            return LC_TRACE(-1, "read tty dev failed\n\n");
        }
        if (count == 0) {
            LC_TRACE(void(), "read nothing, trans type:%d index:%d\n\n", type, static_cast<int>(index));
            usleep(kPauseMicroseconds);
            continue;
        }
        const uint32_t response_index = little32(response->index);
        if (count < kResponseHead || response_index != index - 1) {
            return count;
        }
        LC_TRACE(void(), "misplacement, req index:%d rsp index:%d,continue read...\n\n",
                 static_cast<int>(index), static_cast<int>(response_index));
    }
    return LC_TRACE(-1, "retry read time out\n\n");
}

int32_t lc_data_snd(const lc_up_frame *frame)
{
    if (frame == nullptr) {
        return LC_TRACE(-1, "param is NULL\n\n");
    }
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        if (g_tty_fd < 1) {
            g_tty_fd = lc_open_tty();
            if (g_tty_fd < 0) {
                return LC_TRACE(-1, "open tty dev failed\n\n");
            }
        }
        lc_up_response response;
        if (lc_data_trans(g_tty_fd, frame, &response) < 0) {
            LC_TRACE(void(), "tranlate data from tty dev failure,req index:%d\n\n",
                     static_cast<int>(little32(frame->index)));
            close_port(g_tty_fd);
            g_tty_fd = -1;
            continue;
        }
        switch (lc_data_chk(frame, &response)) {
        case 0:
            return 0;
        case 1:
            LC_TRACE(void(), "transfer this package again\n\n");
            break;
        default:
            return LC_TRACE(-1, "check data failure\n\n");
        }
    }
    return LC_TRACE(-1, "retry transform time out\n\n");
}
