// pin: the SIM's PIN.

#include "common/program.h"
#include "common/record.h"
#include "lte_sdk.h"
#include "ltectl/client.h"
#include "ltectl/commands.h"
#include "ltectl/request.h"
#include "ltectl/secret.h"

namespace lterouter::tools {
namespace {

constexpr ValueType kPin = {"4 to 8 digits", parse_digits<4, 8>};

// What a request left of the SIM, which the WAN manager keeps in the RAM store.
void show_done(const char *what)
{
    char status[64] = "";
    lct_sim_status_get_req(status, sizeof(status));
    Record().word("event", "pin").word("status", what).field("sim", status);
}

int switch_asking(const char *text, int32_t (*request)(const lct_pin *pin), const char *done,
                  const char *not_done)
{
    lct_pin pin = {};
    if (const int code = parse_secret("PIN", text, kPin, pin.pin); code != kDone) {
        return code;
    }
    return with_client([&] {
        if (request(&pin) != 0) {
            return refused(not_done);
        }
        show_done(done);
        return kDone;
    });
}

} // namespace

int pin_enable(char *const *operands)
{
    return switch_asking(operands[0], lct_enable_pin, "enabled", "have the SIM ask for its PIN");
}

int pin_disable(char *const *operands)
{
    return switch_asking(operands[0], lct_disenable_pin, "disabled",
                         "keep the SIM from asking for its PIN");
}

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
    return with_client([&] {
        if (lct_modify_pin(&change) != 0) {
            return refused("change the PIN");
        }
        show_done("changed");
        return kDone;
    });
}

} // namespace lterouter::tools
