// The upgrade: image size, start, pieces, end, status. Its state is global and never reset, since a
// process performs one upgrade.

#include "lc_up/serial.h"
#include "lc_up/transfer.h"

#include "lc_nv.h"
#include "lct_trace/trace.h"
#include "support/byte_order.h"

#include <algorithm>
#include <cstring>

namespace lterouter {
namespace {

int32_t g_pic_count = 0; // pieces of the image
int32_t g_index = 0;     // of the next piece
uint8_t g_up_buf[LC_UP_PIECE_SIZE];
int32_t g_up_pos = 0; // bytes in g_up_buf

constexpr int32_t kPieceSize = LC_UP_PIECE_SIZE;

int32_t send_command(uint32_t command)
{
    lc_up_frame frame = {};
    lc_fill_head(&frame, command, UPGRADE_TLV_TYPE_COMMAND_REQ, 0);
    return lc_data_snd(&frame);
}

// Sends the buffer as the next piece. length: of the header; too large in the last piece, on purpose.
int32_t send_piece(int32_t length)
{
    lc_up_frame frame = {};
    lc_fill_head(&frame, static_cast<uint32_t>(g_index), UPGRADE_TLV_TYPE_DATA_REQ,
                 static_cast<uint32_t>(length));
    memcpy(frame.payload, g_up_buf, static_cast<size_t>(std::min(length, kPieceSize)));
    frame.checksum = little32(nv_crc32_update(0, frame.payload, sizeof(frame.payload)));
    return lc_data_snd(&frame);
}

void buffer(const uint8_t *data, int32_t len)
{
    memcpy(g_up_buf + g_up_pos, data, static_cast<size_t>(len));
}

// Fills and sends pieces while there is more data than fits into the buffer; the rest is left to the
// caller. g_up_pos does not advance for a piece that fails, so its data can be passed again.
int32_t send_full_pieces(const uint8_t **data, int32_t *len)
{
    int32_t room;
    while (*len > (room = kPieceSize - g_up_pos)) {
        buffer(*data, room);
        if (const int32_t result = send_piece(kPieceSize); result != 0) {
            return result;
        }
        *data += room;
        *len -= room;
        memset(g_up_buf, 0, sizeof(g_up_buf));
        g_up_pos = 0;
        ++g_index;
    }
    return 0;
}

// g_tty_fd deliberately keeps its value: the process's upgrade is over.
int32_t abandon(int32_t result)
{
    close_port(g_tty_fd);
    return result;
}

} // namespace
} // namespace lterouter

using namespace lterouter;

int32_t lc_set_img_size(int32_t size)
{
    if (size <= kPieceSize) {
        return LC_TRACE(-1, "img file size error:%d\n\n", size);
    }
    g_pic_count = size / kPieceSize + (size % kPieceSize != 0 ? 1 : 0);
    return LC_TRACE(0, "img file len:%d, split into %d pic\n\n", size, g_pic_count);
}

int32_t lc_up_start()
{
    LC_TRACE(void(), "modem up start\n\n");
    if (const int32_t result = lc_at_snd_wait(LC_UP_AT_START); result != 0) {
        return LC_TRACE(result, "send at cmd of sys_upgrade_start error\n\n");
    }
    LC_TRACE(void(), "send transfer begin cmd\n\n");
    const int32_t result = send_command(UPGRADE_TLV_TYPE_CMD_BEGIN);
    return result == 0 ? result : LC_TRACE(result, "send img data failure\n\n");
}

int32_t lc_up_img(const void *data, int32_t len)
{
    if (data == nullptr || len < 1) {
        LC_TRACE(void(), "param is invalid\n\n");
        return abandon(LC_TRACE(-1, "update img failure\n\n"));
    }
    const uint8_t *bytes = static_cast<const uint8_t *>(data);
    int32_t result = send_full_pieces(&bytes, &len);
    if (result == 0) {
        buffer(bytes, len);
        g_up_pos += len;
        if (g_index != g_pic_count - 1) {
            return 0;
        }
        LC_TRACE(void(), "send last img data\n\n");
        // The rest of this call's data is deliberately counted twice: modems in the field expect it.
        result = send_piece(g_up_pos + len);
    }
    if (result == 0) {
        ++g_index;
        LC_TRACE(void(), "send transfer end cmd\n\n");
        result = send_command(UPGRADE_TLV_TYPE_CMD_END);
    }
    if (result == 0) {
        return 0;
    }
    LC_TRACE(void(), "send img data failure\n\n");
    return abandon(LC_TRACE(result, "update img failure\n\n"));
}

int32_t lc_up_status()
{
    LC_TRACE(void(), "modem up get status\n\n");
    return lc_at_snd_wait(LC_UP_AT_STATUS);
}

const char *lc_get_status_str(int32_t status)
{
    switch (status) {
    case LCT_UP_FAIL:
        return "LCT_UP_FAIL";
    case LCT_UP_NONE:
        return "LCT_UP_NONE";
    case LCT_UP_OK:
        return "LCT_UP_OK";
    case LCT_UP_GO:
        return "LCT_UP_GO";
    case LCT_UP_CHKOK:
        return "LCT_UP_CHKOK";
    default:
        return "UNKNOWN STATUS";
    }
}
