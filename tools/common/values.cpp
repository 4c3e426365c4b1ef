// The kinds of values that options take.

#include "common/command.h"
#include "common/completion.h"

#include <arpa/inet.h>
#include <cstdlib>
#include <cstring>

namespace lterouter::tools {
namespace {

bool parse_switch(const char *, void *target)
{
    *static_cast<bool *>(target) = true;
    return true;
}

bool parse_on_off(const char *text, void *target)
{
    const bool on = strcmp(text, "on") == 0;
    if (!on && strcmp(text, "off") != 0) {
        return false;
    }
    *static_cast<uint32_t *>(target) = on ? 1 : 0;
    return true;
}

// Fills up with zeros, so that a notification contains nothing of an earlier value.
template <size_t Size> void store_text(const char *text, char (&target)[Size])
{
    memset(target, 0, Size);
    memcpy(target, text, strlen(text));
}

bool parse_ipv4(const char *text, void *target)
{
    static_assert(INET_ADDRSTRLEN <= sizeof(AddressText));
    in_addr address;
    if (inet_pton(AF_INET, text, &address) != 1) {
        return false;
    }
    store_text(text, *static_cast<AddressText *>(target));
    return true;
}

bool is_name_character(char ch) { return ch > ' ' && ch < 0x7f && ch != '/'; }

bool parse_interface(const char *text, void *target)
{
    const size_t length = strlen(text);
    if (length == 0 || length >= sizeof(InterfaceText)) {
        return false;
    }
    for (size_t i = 0; i < length; ++i) {
        if (!is_name_character(text[i])) {
            return false;
        }
    }
    store_text(text, *static_cast<InterfaceText *>(target));
    return true;
}

} // namespace

const ValueType kSwitch = {"no value", parse_switch};
const ValueType kOnOff = {"on or off", parse_on_off,
                          [](Offer &offer) { offer.add_each("on off", ' '); }};
const ValueType kCount = {"a number from 1 to 1000000", parse_number_in<1, 1000000>};
const ValueType kSeconds = {"a number of seconds from 1 to 86400", parse_number_in<1, 86400>};
const ValueType kIpv4Address = {"a dotted IPv4 address", parse_ipv4};
const ValueType kInterfaceName = {"an interface name of at most 15 characters", parse_interface,
                                  [](Offer &offer) { offer.add_interfaces(); }};

bool parse_number(const char *text, uint32_t min, uint32_t max, uint32_t *value)
{
    // strtoul would accept blanks and signs.
    if (*text < '0' || *text > '9') {
        return false;
    }
    char *end = nullptr;
    // A number that is too large becomes UINT32_MAX, which no range includes.
    const unsigned long number = strtoul(text, &end, 10);
    if (*end != '\0' || number < min || number > max) {
        return false;
    }
    *value = static_cast<uint32_t>(number);
    return true;
}

bool parse_number(std::string_view text, uint32_t min, uint32_t max, uint32_t *value)
{
    char digits[12] = "";
    if (text.size() >= sizeof(digits)) {
        return false;
    }
    memcpy(digits, text.data(), text.size());
    return parse_number(digits, min, max, value);
}

bool parse_digit_text(const char *digits, size_t min, size_t max, DigitText &text)
{
    const size_t length = strspn(digits, "0123456789");
    if (digits[length] != '\0' || length < min || length > max) {
        return false;
    }
    store_text(digits, text);
    return true;
}

} // namespace lterouter::tools
