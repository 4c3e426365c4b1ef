// The layout of frames, filling their heads, and the names of types and commands.
#include "lc_up.h"
#include "support/guarded.h"
#include "support/serial_modem.h"

#include <cstddef>

namespace frame_test {

using namespace testing_support;

static_assert(sizeof(lc_up_frame) == 2064);
static_assert(offsetof(lc_up_frame, index) == 0 && offsetof(lc_up_frame, type) == 4);
static_assert(offsetof(lc_up_frame, length) == 8 && offsetof(lc_up_frame, checksum) == 12);
static_assert(offsetof(lc_up_frame, payload) == 16 && sizeof(lc_up_frame::payload) == 2048);
static_assert(sizeof(lc_up_response) == 128);
static_assert(offsetof(lc_up_response, index) == 0 && offsetof(lc_up_response, type) == 4);
static_assert(offsetof(lc_up_response, status) == 16);

using FrameHead = SerialModem;

TEST_F(FrameHead, is_three_little_endian_words_and_nothing_else)
{
    Guarded<lc_up_frame> frame;
    const std::string before = frame.bytes();
    EXPECT_EQ(lc_fill_head(frame.get(), 0x01020304, 0x05060708, 0x090A0B0C), 0);
    const std::string after = frame.bytes();
    EXPECT_EQ(after.substr(0, 12), "\x04\x03\x02\x01\x08\x07\x06\x05\x0C\x0B\x0A\x09");
    EXPECT_EQ(after.substr(12), before.substr(12)) << "the caller's checksum and payload";
    EXPECT_EQ(take_trace(), "");
}

TEST_F(FrameHead, of_the_two_commands_is_what_the_modem_knows)
{
    lc_up_frame frame = {};
    lc_fill_head(&frame, UPGRADE_TLV_TYPE_CMD_BEGIN, UPGRADE_TLV_TYPE_COMMAND_REQ, 0);
    EXPECT_EQ(memcmp(&frame, "\x49\x47\x45\x42\x01\0\0\0\0\0\0\0", 12), 0);
    lc_fill_head(&frame, UPGRADE_TLV_TYPE_CMD_END, UPGRADE_TLV_TYPE_COMMAND_REQ, 0);
    EXPECT_EQ(memcmp(&frame, "\x4C\x44\x4E\x45\x01\0\0\0\0\0\0\0", 12), 0);
}

TEST_F(FrameHead, that_is_null_is_refused)
{
    EXPECT_EQ(lc_fill_head(nullptr, 1, 2, 3), -1);
    EXPECT_EQ(take_trace(), up_entry("lc_fill_head", "param is NULL"));
}

TEST(FrameNames, are_those_of_the_values)
{
    EXPECT_STREQ(lc_get_tlv_type_str(1), "UPGRADE_TLV_TYPE_COMMAND_REQ");
    EXPECT_STREQ(lc_get_tlv_type_str(2), "UPGRADE_TLV_TYPE_COMMAND_RSP");
    EXPECT_STREQ(lc_get_tlv_type_str(0x10), "UPGRADE_TLV_TYPE_DATA_REQ");
    EXPECT_STREQ(lc_get_tlv_type_str(0x20), "UPGRADE_TLV_TYPE_DATA_RSP");
    EXPECT_STREQ(lc_get_tlv_type_str(0x42454749), "UPGRADE_TLV_TYPE_CMD_BEGIN");
    EXPECT_STREQ(lc_get_tlv_type_str(0x454E444C), "UPGRADE_TLV_TYPE_CMD_END");
}

TEST(FrameNames, of_other_values_are_unknown)
{
    for (const uint32_t value :
         {0U, 3U, 10U, 15U, 17U, 20U, 33U, 0x49474542U, 0x4C444E45U, 0xFFFFFFFFU}) {
        EXPECT_STREQ(lc_get_tlv_type_str(value), "UNKNOWN COMMD") << value;
    }
}

TEST(UpgradeStatusNames, are_those_of_the_values)
{
    EXPECT_STREQ(lc_get_status_str(-1), "LCT_UP_FAIL");
    EXPECT_STREQ(lc_get_status_str(0), "LCT_UP_NONE");
    EXPECT_STREQ(lc_get_status_str(1), "LCT_UP_OK");
    EXPECT_STREQ(lc_get_status_str(2), "LCT_UP_GO");
    EXPECT_STREQ(lc_get_status_str(3), "LCT_UP_CHKOK");
    for (const int32_t status : {-2, 4, 7, INT32_MAX, INT32_MIN}) {
        EXPECT_STREQ(lc_get_status_str(status), "UNKNOWN STATUS") << status;
    }
}

} // namespace frame_test
