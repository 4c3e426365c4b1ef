// The router's status LEDs: the board's driver has a control file for each, which takes one digit.

#include "lte_sdk/core.h"

#include "lct_trace/trace.h"

#include <cstdio>
#include <cstdlib>

namespace lterouter {
namespace {

constexpr uint32_t kColours = 4;
constexpr char kNoDigit = '\0';

const char *control_file(uint32_t led)
{
    switch (led) {
    case LCT_LED_SIGNAL:
        return "/proc/lte_signal_flag";
    case LCT_LED_INTERNET:
        return "/proc/internet_flag";
    case LCT_LED_SIM:
        return "/proc/lte_sim_flag";
    default:
        return "";
    }
}

char digit_of(uint32_t flash)
{
    switch (flash) {
    case 4:
        return '0';
    case 8:
    case 9:
        return '1';
    case 10:
        return '2';
    case 11:
        return '3';
    case 12:
        return '4';
    default:
        return kNoDigit;
    }
}

} // namespace
} // namespace lterouter

using namespace lterouter;

int32_t lte_set_led_status(uint32_t led, uint32_t colour, uint32_t flash)
{
    if (colour >= kColours) {
        return LC_TRACE(-1, "led color error:%d.\n\n", static_cast<int>(colour));
    }
    const char digit = digit_of(flash);
    if (digit == kNoDigit) {
        return LC_TRACE(-1, "led flash error:%d.\n\n", static_cast<int>(flash));
    }
    // Through the shell, whose status is the result; the shell also reports a missing file.
    char command[64];
    snprintf(command, sizeof(command), "echo %c > %s", digit, control_file(led));
    return system(command);
}
