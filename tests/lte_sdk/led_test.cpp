// The status LEDs: the commands that the shell is given, and what they do.
#include "lte_sdk.h"
#include "support/calls.h"
#include "support/scoped_mount.h"
#include "support/trace_file.h"

#include <gtest/gtest.h>

#include <map>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace led_test {

using namespace testing_support;

namespace {

const std::vector<uint32_t> kColours = {0, 1, 2, 3};

const std::map<uint32_t, std::string> kFiles = {
    {LCT_LED_SIGNAL, "/proc/lte_signal_flag"},
    {LCT_LED_INTERNET, "/proc/internet_flag"},
    {LCT_LED_SIM, "/proc/lte_sim_flag"},
    {0, ""},
    {4, ""},
    {257, ""},
    {0xFFFFFFFF, ""},
};

const std::map<uint32_t, std::string> kDigits = {{4, "0"},  {8, "1"},  {9, "1"},
                                                 {10, "2"}, {11, "3"}, {12, "4"}};

std::string led_trace(const std::string &text) { return trace_entry("lte_set_led_status", text); }

// The shell is not asked unless it is to be the real one.
class Led : public testing::Test {
protected:
    bool real_ = false;
    int status_ = 0;
    std::vector<std::string> commands_;

private:
    const Hooked shell_{calls::system, [this](auto &next, const char *command) {
                            commands_.emplace_back(command);
                            return real_ ? next(command) : status_;
                        }};
};

} // namespace

TEST_F(Led, every_led_colour_and_flash_gives_one_command)
{
    for (const auto &[led, file] : kFiles) {
        for (const uint32_t colour : kColours) {
            for (const auto &[flash, digit] : kDigits) {
                commands_.clear();
                EXPECT_EQ(lte_set_led_status(led, colour, flash), 0);
                EXPECT_EQ(commands_, std::vector<std::string>{"echo " + digit + " > " + file});
            }
        }
    }
    EXPECT_EQ(trace_text(), "");
}

TEST_F(Led, numbers_are_those_of_the_board)
{
    EXPECT_EQ(LCT_LED_SIGNAL, 1U);
    EXPECT_EQ(LCT_LED_INTERNET, 2U);
    EXPECT_EQ(LCT_LED_SIM, 3U);
}

TEST_F(Led, colour_above_3_and_flash_without_a_digit_are_traced_and_nothing_is_run)
{
    const auto expect_error = [](uint32_t colour, uint32_t flash, const char *what, uint32_t value) {
        unlink(kTraceFile);
        EXPECT_NE(lte_set_led_status(LCT_LED_SIM, colour, flash), 0) << value;
        EXPECT_EQ(trace_text(),
                  led_trace(what + std::to_string(static_cast<int32_t>(value)) + ".\n\n"));
    };
    for (const uint32_t flash : {0U, 1U, 2U, 3U, 5U, 6U, 7U, 13U, 14U, 260U, 0x80000004U}) {
        expect_error(0, flash, "led flash error:", flash);
    }
    for (const uint32_t colour : {4U, 5U, 256U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        expect_error(colour, 8, "led color error:", colour);
        expect_error(colour, 5, "led color error:", colour); // is looked at before the flash
    }
    EXPECT_TRUE(commands_.empty());
}

TEST_F(Led, status_of_the_shell_is_the_result)
{
    for (const int status : {0, 2 << 8, 127 << 8, 9, -1}) {
        status_ = status;
        EXPECT_EQ(lte_set_led_status(LCT_LED_SIM, 0, 8), status);
    }
    EXPECT_EQ(trace_text(), "");
}

TEST_F(Led, control_file_gets_the_digit_and_a_line_feed)
{
    const ScopedMount proc("/proc");
    real_ = true;
    for (const auto &[led, file] : kFiles) {
        for (const auto &[flash, digit] : kDigits) {
            if (!file.empty()) {
                EXPECT_EQ(lte_set_led_status(led, 0, flash), 0);
                EXPECT_EQ(read_text(file), digit + "\n");
            }
        }
    }
}

TEST_F(Led, only_the_control_file_of_the_led_is_written)
{
    const ScopedMount proc("/proc");
    real_ = true;
    EXPECT_EQ(lte_set_led_status(LCT_LED_INTERNET, 3, 12), 0);
    EXPECT_EQ(read_text("/proc/internet_flag"), "4\n");
    constexpr int kSelfAndParent = 2; // "." and ".."
    EXPECT_EQ(count_entries("/proc"), kSelfAndParent + 1) << "something else was written";
}

TEST_F(Led, without_a_control_file_the_shells_error_is_the_result)
{
    real_ = true;
    for (const uint32_t led : {LCT_LED_SIM, 4U}) {
        const int32_t status = lte_set_led_status(led, 0, 8);
        EXPECT_TRUE(WIFEXITED(status));
        EXPECT_EQ(WEXITSTATUS(status), 2);
    }
    EXPECT_EQ(trace_text(), "");
}

} // namespace led_test
