// Commands as tables: parsing, help, completion and usage errors are made from one description of a
// program's commands. A row either runs or has children, so a program is a tree of rows.
//
// Every command also understands --json, --help and --version.
#pragma once

#include "lte_sdk.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace lterouter::tools {

class Offer;

// The type of an option's argument.
struct ValueType {
    const char *expects;                           // for the usage error: "a number from 1 to 9"
    bool (*parse)(const char *text, void *target); // false: text is no such value
    void (*offer)(Offer &offer) = nullptr; // completion: offers the values, if they can be listed
};

// A switch, which has no argument. Target: bool.
extern const ValueType kSwitch;
// Target: uint32_t, 1 for on.
extern const ValueType kOnOff;
// A number of repetitions. Target: uint32_t.
extern const ValueType kCount;

// A duration of long operations. Target: uint32_t.
extern const ValueType kSeconds;
// What options of texts fill, zeros after the text: as long as in the records that are sent.
using AddressText = decltype(lct_link_status::ip);
using InterfaceText = decltype(lct_link_status::interface_name);
using DigitText = decltype(lct_pin::pin);

// For a ValueType of paths. Target: char[Size].
template <size_t Size> bool parse_path(const char *text, void *target)
{
    const size_t length = strlen(text);
    if (length == 0 || length >= Size) {
        return false;
    }
    memcpy(target, text, length + 1);
    return true;
}

// A dotted IPv4 address. Target: AddressText.
extern const ValueType kIpv4Address;
// Target: InterfaceText.
extern const ValueType kInterfaceName;

// max: below UINT32_MAX.
bool parse_number(const char *text, uint32_t min, uint32_t max, uint32_t *value);
bool parse_number(std::string_view text, uint32_t min, uint32_t max, uint32_t *value);

// For a ValueType of numbers. Target: uint32_t.
template <uint32_t Min, uint32_t Max> bool parse_number_in(const char *text, void *target)
{
    static_assert(Max < UINT32_MAX);
    return parse_number(text, Min, Max, static_cast<uint32_t *>(target));
}

// min to max digits.
bool parse_digit_text(const char *digits, size_t min, size_t max, DigitText &text);

// For a ValueType of digits. Target: DigitText.
template <size_t Min, size_t Max> bool parse_digits(const char *text, void *target)
{
    static_assert(Max < sizeof(DigitText));
    return parse_digit_text(text, Min, Max, *static_cast<DigitText *>(target));
}

struct Option {
    const char *name = nullptr;
    const char *argument = nullptr; // its name in the help; none for a switch
    const char *help = nullptr;
    const ValueType *type = &kSwitch;
    void *target = nullptr;
    char letter = '\0'; // the short form, if it has one
};

// Operands are NULL-terminated.
using Run = int (*)(char *const *operands);

// The meaning of an exit code. A table ends with a row without a meaning.
struct Exit {
    int code = 0;
    const char *meaning = nullptr;
};

struct Command {
    const char *name = nullptr;
    // As the usage line shows them, optional ones in brackets: "NAME [VALUE]". They fix the number,
    // unless the last one may be repeated: "NAME...", "[NAME...]".
    const char *operands = "";
    const char *help = nullptr;
    Run run = nullptr;
    // Completion: offers what may follow these operands, which end with a NULL. Not needed for operands
    // that their names describe: "on|off", "FILE".
    void (*offer)(Offer &offer, const char *const *before) = nullptr;
    const Option *options = nullptr;   // ends with a row without a name
    const Command *children = nullptr; // likewise
    const Exit *exits = nullptr;       // shown by the help, if there are any
};

// Runs what the command line asks for. Returns the program's exit code.
int run_program(const Command &root, int argc, char **argv);

// Returns code; or, after an error message, kFailed when output could not be written or a field of
// --get was in no object.
int judge_output(int code);

// Prints why the value of an option or operand is wrong; returns the exit code.
int bad_value(const char *what, const ValueType &type, const char *text);

} // namespace lterouter::tools
