// Checking a response against its request.
#include "lc_up.h"
#include "support/serial_modem.h"

#include <memory>

namespace check_test {

using namespace testing_support;

namespace {

std::string mismatch(uint32_t request_type, uint32_t request_index, uint32_t response_type,
                     uint32_t response_index)
{
    const auto number = [](uint32_t value) { return std::to_string(static_cast<int32_t>(value)); };
    return up_entry("lc_data_chk", "UP Comand error, request type:" + number(request_type) +
                                       " index:" + number(request_index) + " response type:" +
                                       number(response_type) + " index:" + number(response_index));
}

class ResponseCheck : public SerialModem {
protected:
    static int32_t check(uint32_t request_type, uint32_t request_index, const Bytes &response)
    {
        Bytes request(kFrame);
        put_little(&request, 0, request_index);
        put_little(&request, 4, request_type);
        // On the heap and exactly as large, so that sanitizers see what is read behind it.
        const auto exact = std::make_unique<lc_up_response>(record_of<lc_up_response>(response));
        const auto frame = record_of<lc_up_frame>(request);
        return lc_data_chk(&frame, exact.get());
    }
    static int32_t check_status(const std::string &status)
    {
        return check(kDataRequest, 7, response(7, kDataResponse, status));
    }
};

} // namespace

TEST_F(ResponseCheck, accepts_only_a_well_typed_response_of_the_same_index)
{
    const uint32_t types[] = {0, 1, 2, 3, 0x10, 0x11, 0x20, 0x21, 0x01000000, 0x20000000, 0xFFFFFFFF};
    const uint32_t indexes[] = {0, 1, 2, 0x01000000, 0x80000000, 0xFFFFFFFF, kBegin, kEnd};
    for (const uint32_t request_type : types) {
        for (const uint32_t response_type : types) {
            const bool well_typed = (request_type == 1 && response_type == 2) ||
                                    (request_type == 16 && response_type == 32);
            for (const uint32_t request_index : indexes) {
                for (const uint32_t response_index : indexes) {
                    const bool right = well_typed && request_index == response_index;
                    const int32_t result = check(request_type, request_index,
                                                 response(response_index, response_type, "RSP_OK"));
                    const std::string trace = take_trace();
                    ASSERT_EQ(result, right ? 0 : 1);
                    ASSERT_EQ(trace, right ? ""
                                           : mismatch(request_type, request_index, response_type,
                                                      response_index));
                }
            }
        }
    }
}

TEST_F(ResponseCheck, mismatched_response_is_sent_again_whatever_its_text)
{
    for (const char *status : {"RSP_FAILED", "no", ""}) {
        EXPECT_EQ(check(kDataRequest, 7, response(8, kDataResponse, status)), 1) << status;
        EXPECT_EQ(take_trace(), mismatch(kDataRequest, 7, kDataResponse, 8)) << status;
    }
    EXPECT_EQ(check(kCommandRequest, kBegin, response(kBegin, kDataResponse, "RSP_OK")), 1);
}

TEST_F(ResponseCheck, begin_of_the_text_decides)
{
    for (const char *status : {"RSP_OK", "RSP_OK\r\n", "RSP_OKAY", "RSP_OK FAILED"}) {
        EXPECT_EQ(check_status(status), 0) << status;
        EXPECT_EQ(take_trace(), "") << status;
    }
    for (const std::string status : {"RSP_FAILED", "RSP_FAILED\r\n", "RSP_FAILED: RSP_OK"}) {
        EXPECT_EQ(check_status(status), 1) << status;
        EXPECT_EQ(take_trace(),
                  up_entry("lc_data_chk", "Up Response error:" + status + ", index is 7, retry it..."));
    }
    for (const std::string status :
         {"", "RSP_O", "RSP_FAILE", "rsp_ok", " RSP_OK", "OK", "FLASH WORN"}) {
        EXPECT_EQ(check_status(status), -1) << status;
        EXPECT_EQ(take_trace(),
                  up_entry("lc_data_chk", "Up Response error:" + status + ", index is 7, exit..."));
    }
}

TEST_F(ResponseCheck, text_that_fills_the_response_needs_no_terminator)
{
    std::string failed(112, 'x');
    EXPECT_EQ(check_status(failed), -1);
    EXPECT_EQ(take_trace(),
              up_entry("lc_data_chk", "Up Response error:" + failed + ", index is 7, exit..."));
    failed.replace(0, 10, "RSP_FAILED");
    EXPECT_EQ(check_status(failed), 1);
    EXPECT_EQ(take_trace(),
              up_entry("lc_data_chk", "Up Response error:" + failed + ", index is 7, retry it..."));
    failed.replace(0, 6, "RSP_OK");
    EXPECT_EQ(check_status(failed), 0);
    EXPECT_EQ(take_trace(), "");
}

TEST_F(ResponseCheck, of_a_command_tells_its_code_in_decimal)
{
    EXPECT_EQ(check(kCommandRequest, kBegin, response(kBegin, kCommandResponse, "busy")), -1);
    EXPECT_EQ(take_trace(),
              up_entry("lc_data_chk", "Up Response error:busy, index is 1111836489, exit..."));
}

TEST_F(ResponseCheck, null_is_refused)
{
    const lc_up_frame request = {};
    const lc_up_response response = {};
    EXPECT_EQ(lc_data_chk(nullptr, &response), -1);
    EXPECT_EQ(lc_data_chk(&request, nullptr), -1);
    EXPECT_EQ(lc_data_chk(nullptr, nullptr), -1);
    EXPECT_EQ(take_trace(),
              up_entries("lc_data_chk", {"param is NULL", "param is NULL", "param is NULL"}));
}

} // namespace check_test
