// led: the router's status LEDs. They need no WAN manager.

#include "common/completion.h"
#include "common/program.h"
#include "common/record.h"
#include "lte_sdk.h"
#include "ltectl/commands.h"

#include <cstring>

namespace lterouter::tools {
namespace {

uint32_t g_colour = 0;

constexpr ValueType kColour = {"a colour from 0 to 3", parse_number_in<0, 3>,
                               [](Offer &offer) { offer.add_numbers(0, 3); }};

struct LedName {
    const char *name;
    uint32_t led;
};

constexpr LedName kLeds[] = {
    {"signal", LCT_LED_SIGNAL}, {"internet", LCT_LED_INTERNET}, {"sim", LCT_LED_SIM}};

constexpr ValueType kLed = {"signal, internet or sim", [](const char *text, void *target) {
                                for (const LedName &known : kLeds) {
                                    if (strcmp(known.name, text) == 0) {
                                        *static_cast<uint32_t *>(target) = known.led;
                                        return true;
                                    }
                                }
                                return false;
                            }};

constexpr ValueType kFlash = {
    "a pattern, which is 4, 8, 9, 10, 11 or 12", [](const char *text, void *target) {
        uint32_t *flash = static_cast<uint32_t *>(target);
        return parse_number(text, 4, 12, flash) && (*flash == 4 || *flash >= 8);
    }};

} // namespace

const Option kLedOptions[] = {
    {"colour", "N", "0 to 3 (0)", &kColour, &g_colour},
    {},
};

void offer_led(Offer &offer, const char *const *before)
{
    if (before[0] == nullptr) {
        for (const LedName &known : kLeds) {
            offer.add(known.name);
        }
    } else if (before[1] == nullptr) {
        offer.add("4");
        offer.add_numbers(8, 12);
    }
}

int led(char *const *operands)
{
    uint32_t number = 0;
    if (!kLed.parse(operands[0], &number)) {
        return bad_value("led", kLed, operands[0]);
    }
    uint32_t flash = 0;
    if (!kFlash.parse(operands[1], &flash)) {
        return bad_value("led", kFlash, operands[1]);
    }
    if (lte_set_led_status(number, g_colour, flash) != 0) {
        return fail(kFailed, "the LED's control file under /proc cannot be written");
    }
    Record().event("led").word("led", operands[0]).number("flash", flash);
    return kDone;
}

} // namespace lterouter::tools
