// The steps before and after the image: its size, the start of the transfer, the status.
#include "lc_up.h"
#include "support/serial_modem.h"

#include <sys/stat.h>

namespace start_test {

using namespace testing_support;

namespace {

using UpgradeSize = SerialModem;
using UpgradeStart = SerialModem;
using UpgradeStatus = SerialModem;

const Steps kStartCommand = joined(
    {kOpenAt, {"write 29 to at", "pause 2000000 us", "read 128 from at", "close at", "sleep 10 s"}});
const Steps kStatusCommand = joined(
    {kOpenAt, {"write 28 to at", "pause 2000000 us", "read 128 from at", "close at", "sleep 10 s"}});
const std::string kCommandOk = up_entries("lc_at_snd_wait", {"enter", "ok"});

std::string entry(const std::string &text) { return up_entry("lc_up_start", text); }

} // namespace

TEST_F(UpgradeSize, must_be_more_than_one_piece)
{
    for (const int32_t size : {2048, 2047, 1, 0, -1, INT32_MIN}) {
        EXPECT_EQ(lc_set_img_size(size), -1);
        EXPECT_EQ(take_trace(),
                  up_entry("lc_set_img_size", "img file size error:" + std::to_string(size)));
    }
}

TEST_F(UpgradeSize, is_split_into_pieces_of_2048_bytes)
{
    const std::pair<int32_t, int32_t> sizes[] = {{2049, 2},   {4095, 2},      {4096, 2},
                                                 {4097, 3},   {5000, 3},      {65536, 32},
                                                 {65537, 33}, {1000003, 489}, {INT32_MAX, 1048576}};
    for (const auto &[size, pieces] : sizes) {
        EXPECT_EQ(lc_set_img_size(size), 0);
        EXPECT_EQ(take_trace(),
                  up_entry("lc_set_img_size", "img file len:" + std::to_string(size) + ", split into " +
                                                  std::to_string(pieces) + " pic"));
    }
}

TEST_F(UpgradeSize, touches_no_port)
{
    lc_set_img_size(5000);
    EXPECT_EQ(take_steps(), Steps());
}

TEST_F(UpgradeStart, sends_the_command_and_the_begin_frame)
{
    g_modem.hears("OK");
    g_modem.hears(response(kBegin, kCommandResponse, "RSP_OK"));
    EXPECT_EQ(lc_up_start(), 0);
    EXPECT_EQ(take_steps(), joined({kStartCommand, kOpenData, kSend, kReadData}));
    EXPECT_EQ(take_written(),
              (std::vector<Bytes>{text("at+syscmd=sys_upgrade_start\r\n"), command_frame(kBegin)}));
    EXPECT_EQ(take_trace(), entry("modem up start") + kCommandOk + entry("send transfer begin cmd") +
                                up_entries("lc_open_tty", {"enter", "end"}));
}

TEST_F(UpgradeStart, begin_frame_has_no_byte_but_its_code_and_type)
{
    g_modem.hears("OK");
    answers();
    lc_up_start();
    Bytes expected(kFrame);
    const uint8_t head[] = {0x49, 0x47, 0x45, 0x42, 1};
    std::copy(std::begin(head), std::end(head), expected.begin());
    EXPECT_EQ(g_modem.written.back(), expected);
}

TEST_F(UpgradeStart, goes_no_further_when_the_command_fails)
{
    g_modem.hears("ERROR");
    EXPECT_EQ(lc_up_start(), -1);
    EXPECT_EQ(take_steps(), kStartCommand);
    EXPECT_EQ(take_trace(),
              entry("modem up start") + up_entry("lc_at_snd_wait", "enter") +
                  up_entry("lc_at_snd_wait", "result of at+syscmd=sys_upgrade_start\r\n error:ERROR") +
                  entry("send at cmd of sys_upgrade_start error"));
}

TEST_F(UpgradeStart, fails_when_the_begin_frame_is_not_accepted)
{
    g_modem.hears("OK");
    g_modem.hears(response(kBegin, kCommandResponse, "busy"));
    EXPECT_EQ(lc_up_start(), -1);
    EXPECT_EQ(take_trace(),
              entry("modem up start") + kCommandOk + entry("send transfer begin cmd") +
                  up_entries("lc_open_tty", {"enter", "end"}) +
                  up_entry("lc_data_chk", "Up Response error:busy, index is 1111836489, exit...") +
                  up_entry("lc_data_snd", "check data failure") + entry("send img data failure"));
    EXPECT_EQ(g_modem.ports.size(), 1U) << "the data port stays open";
}

TEST_F(UpgradeStart, repeats_the_begin_frame_like_any_other)
{
    g_modem.hears("OK");
    g_modem.hears(response(kBegin, kCommandResponse, "RSP_FAILED"));
    g_modem.hears(response(kBegin, kDataResponse, "RSP_OK"));
    g_modem.hears(response(kBegin, kCommandResponse, "RSP_OK"));
    EXPECT_EQ(lc_up_start(), 0);
    EXPECT_EQ(count_steps("write 2064 to data"), 3U);
}

TEST_F(UpgradeStart, fails_at_once_when_the_at_port_is_missing)
{
    unplug();
    EXPECT_EQ(lc_up_start(), -1);
    EXPECT_EQ(take_steps(), Steps{"open at: fails"});
    EXPECT_EQ(take_trace(), entry("modem up start") +
                                up_entries("lc_at_snd_wait", {"enter", "open /dev/ttyUSB3 error"}) +
                                entry("send at cmd of sys_upgrade_start error"));
}

TEST_F(UpgradeStatus, is_whether_the_modem_answers_ok)
{
    g_modem.hears("\r\nstate 2\r\nOK\r\n");
    EXPECT_EQ(lc_up_status(), 0);
    EXPECT_EQ(take_steps(), kStatusCommand);
    EXPECT_EQ(take_written(), std::vector<Bytes>{text("at+syscmd=sys_upgrader_get\r\n")});
    EXPECT_EQ(take_trace(), up_entry("lc_up_status", "modem up get status") + kCommandOk);
}

TEST_F(UpgradeStatus, fails_on_any_other_answer)
{
    g_modem.hears("upgrading");
    EXPECT_EQ(lc_up_status(), -1);
    EXPECT_EQ(take_trace(), up_entry("lc_up_status", "modem up get status") +
                                up_entry("lc_at_snd_wait", "enter") +
                                up_entry("lc_at_snd_wait",
                                         "result of at+syscmd=sys_upgrader_get\r\n error:upgrading"));
}

TEST_F(UpgradeStatus, needs_no_transfer)
{
    unlink(kDataPort);
    g_modem.hears("OK");
    EXPECT_EQ(lc_up_status(), 0);
}

TEST_F(UpgradeStart, and_all_the_rest_do_without_a_trace_file)
{
    ASSERT_EQ(mkdir(kTraceFile, 0755), 0);
    g_modem.on_write = [](const Bytes &bytes) {
        bytes.size() == kFrame ? g_modem.hears(answer(bytes)) : g_modem.hears("OK");
    };
    const Bytes image = pattern(5000);
    EXPECT_EQ(lc_set_img_size(5000), 0);
    EXPECT_EQ(lc_up_start(), 0);
    EXPECT_EQ(lc_up_img(image.data(), 5000), 0);
    EXPECT_EQ(lc_up_status(), 0);
    EXPECT_EQ(g_modem.ports.size(), 1U);
    EXPECT_EQ(count_steps("open data"), 1U);
}

} // namespace start_test
