// pin: the SIM's PIN.

#include "common/program.h"
#include "common/record.h"
#include "lte_sdk.h"
#include "ltectl/commands.h"
#include "ltectl/request.h"
#include "ltectl/secret.h"

namespace lterouter::tools {
namespace {

constexpr Request kEnable = request_for(WM_MSG_PIN_ENABLE_REQ, "have the SIM ask for its PIN");
constexpr Request kDisable =
    request_for(WM_MSG_PIN_DISABLE_REQ, "keep the SIM from asking for its PIN");
constexpr Request kChange = request_for(WM_MSG_PIN_MODIFY_REQ, "change the PIN");

constexpr ValueType kPin = {"4 to 8 digits", parse_digits<4, 8>};

// body: the record of the request. done: what became of the PIN.
template <typename Body> int request_pin(const Request &request, const Body &body, const char *done)
{
    return with_endpoint([&] {
        const int code = tell(request, body);
        if (code == kDone) {
            Record().word("event", "pin").word("status", done).field("sim", SimStatus().text);
        }
        return code;
    });
}

int switch_asking(const char *text, const Request &request, const char *done)
{
    lct_pin pin = {};
    const int code = parse_secret("PIN", text, kPin, pin.pin);
    return code == kDone ? request_pin(request, pin, done) : code;
}

} // namespace

int pin_enable(char *const *operands) { return switch_asking(operands[0], kEnable, "enabled"); }

int pin_disable(char *const *operands) { return switch_asking(operands[0], kDisable, "disabled"); }

int pin_change(char *const *operands)
{
    lct_pin_change change = {};
    if (const int code = parse_secret("OLD", operands[0], kPin, change.old_pin); code != kDone) {
        return code;
    }
    const char *const new_pin = operands[0] == nullptr ? nullptr : operands[1];
    if (const int code = parse_secret("NEW", new_pin, kPin, change.new_pin); code != kDone) {
        return code;
    }
    return request_pin(kChange, change, "changed");
}

} // namespace lterouter::tools
