// Request and response frames, and checking a response against its request.

#include "lc_up/serial.h"

#include "lct_trace/trace.h"
#include "support/byte_order.h"

#include <cstring>

namespace lterouter {
namespace {

static_assert(sizeof(lc_up_frame) == 2064 && offsetof(lc_up_frame, checksum) == 12 &&
              offsetof(lc_up_frame, payload) == 16);
static_assert(sizeof(lc_up_response) == 128 && offsetof(lc_up_response, status) == 16);

constexpr char kAccepted[] = "RSP_OK";
constexpr char kAgain[] = "RSP_FAILED";

// Whether the status begins with these characters; it need not be terminated.
template <size_t Size> bool says(const lc_up_response &response, const char (&text)[Size])
{
    return strncmp(response.status, text, Size - 1) == 0;
}

// Whether a response answers this type of request.
bool well_typed(uint32_t request, uint32_t response)
{
    return (request == UPGRADE_TLV_TYPE_COMMAND_REQ && response == UPGRADE_TLV_TYPE_COMMAND_RSP) ||
           (request == UPGRADE_TLV_TYPE_DATA_REQ && response == UPGRADE_TLV_TYPE_DATA_RSP);
}

} // namespace
} // namespace lterouter

using namespace lterouter;

int32_t lc_fill_head(lc_up_frame *head, uint32_t index, uint32_t type, uint32_t length)
{
    if (head == nullptr) {
        return LC_TRACE(-1, "param is NULL\n\n");
    }
    head->index = little32(index);
    head->type = little32(type);
    head->length = little32(length);
    return 0;
}

int32_t lc_data_chk(const lc_up_frame *request, const lc_up_response *response)
{
    if (request == nullptr || response == nullptr) {
        return LC_TRACE(-1, "param is NULL\n\n");
    }
    const uint32_t request_type = little32(request->type);
    const uint32_t response_type = little32(response->type);
    const int request_index = static_cast<int>(little32(request->index));
    const int response_index = static_cast<int>(little32(response->index));
    if (!well_typed(request_type, response_type) || request_index != response_index) {
        return LC_TRACE(1, "UP Comand error, request type:%d index:%d response type:%d index:%d\n\n",
                        static_cast<int>(request_type), request_index, static_cast<int>(response_type),
                        response_index);
    }
    if (says(*response, kAccepted)) {
        return 0;
    }
    constexpr int kWidth = sizeof(response->status);
    if (says(*response, kAgain)) {
        return LC_TRACE(1, "Up Response error:%.*s, index is %d, retry it...\n\n", kWidth,
                        response->status, request_index);
    }
    return LC_TRACE(-1, "Up Response error:%.*s, index is %d, exit...\n\n", kWidth, response->status,
                    request_index);
}

const char *lc_get_tlv_type_str(uint32_t value)
{
    switch (value) {
    case UPGRADE_TLV_TYPE_COMMAND_REQ:
        return "UPGRADE_TLV_TYPE_COMMAND_REQ";
    case UPGRADE_TLV_TYPE_COMMAND_RSP:
        return "UPGRADE_TLV_TYPE_COMMAND_RSP";
    case UPGRADE_TLV_TYPE_DATA_REQ:
        return "UPGRADE_TLV_TYPE_DATA_REQ";
    case UPGRADE_TLV_TYPE_DATA_RSP:
        return "UPGRADE_TLV_TYPE_DATA_RSP";
    case UPGRADE_TLV_TYPE_CMD_BEGIN:
        return "UPGRADE_TLV_TYPE_CMD_BEGIN";
    case UPGRADE_TLV_TYPE_CMD_END:
        return "UPGRADE_TLV_TYPE_CMD_END";
    default:
        return "UNKNOWN COMMD";
    }
}
