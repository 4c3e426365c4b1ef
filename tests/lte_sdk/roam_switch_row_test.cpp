// How the roaming switch requests use the synchronous primitive, and what the primitive hands on.
#include "lc_ipc_msg.h"
#include "support/client.h"
#include "support/interpose.h"

#include <gtest/gtest.h>

#include <optional>
#include <vector>

using namespace testing_support;

namespace {

struct Row {
    uint32_t module_id;
    uint32_t msg_id;
    std::vector<uint8_t> body;
    uint32_t timeout;
    uint32_t room;

    bool operator==(const Row &) const = default;
};

// What a taken-over primitive was asked; it answers delivered, result 0.
bool g_taken = false;
std::optional<Row> g_row;
std::optional<uint32_t> g_endpoint_timeout;

} // namespace

uint32_t send_request_syn(uint32_t module_id, uint32_t msg_id, const void *body, uint32_t body_len,
                          uint32_t timeout, void *rsp, uint32_t *rsp_len)
{
    if (!g_taken) {
        return next_definition<decltype(send_request_syn)>("send_request_syn")(
            module_id, msg_id, body, body_len, timeout, rsp, rsp_len);
    }
    const auto *start = static_cast<const uint8_t *>(body);
    g_row = Row{module_id, msg_id, {}, timeout, *rsp_len};
    if (start != nullptr) {
        g_row->body.assign(start, start + body_len);
    }
    memset(rsp, 0, *rsp_len);
    return 1;
}

uint32_t ipc_msg_send_syn(const ipc_addr *, ipc_msg_hdr *, uint32_t, uint32_t timeout, void *,
                          uint32_t *)
{
    g_endpoint_timeout = timeout;
    return IPC_ERR_TIMEOUT;
}

TEST(RoamSwitchRow, get_waits_400_seconds_for_8_bytes)
{
    g_taken = true;
    lct_value_rsp out = {};
    EXPECT_EQ(lct_get_roam_switch(&out), 0);
    EXPECT_EQ(g_row, (Row{1, 0x1040006a, {}, 400000, 8}));
}

TEST(RoamSwitchRow, set_waits_400_seconds_for_4_bytes)
{
    g_taken = true;
    const uint32_t value = 0xA1B2C3D4;
    EXPECT_EQ(lct_set_roam_switch(&value), 0);
    EXPECT_EQ(g_row, (Row{1, 0x1040006c, bytes_of(value), 400000, 4}));
}

TEST(RoamSwitchRow, primitive_hands_the_time_out_on)
{
    uint32_t result = 0;
    uint32_t length = sizeof(result);
    EXPECT_EQ(send_request_syn(1, 5, nullptr, 0, 123456, &result, &length), 0U);
    EXPECT_EQ(g_endpoint_timeout, 123456U);
}
