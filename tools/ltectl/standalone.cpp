// state-change, sms clear, ussd-test: requests without the LTE client.

#include "common/program.h"
#include "common/record.h"
#include "lc_ipc_msg.h"
#include "lte_sdk.h"
#include "lte_sdk/sim.h"
#include "ltectl/commands.h"
#include "ltectl/parameter.h"
#include "ltectl/request.h"

#include <cstring>

namespace lterouter::tools {
namespace {

constexpr Request kChangeState = request_for(SC_STATE_CHANGE_REQ, "change the state");
constexpr Request kClearMessages = request_for(WM_MSG_SMS_DEL_ALL_REQ, "delete its messages");
constexpr Request kInject = request_for(WM_MSG_MODEM_NOTIFY, "take the answer");

constexpr char kFlag[] = LCT_PARAM_USSD_TEST;
constexpr ValueType kSlot = {"a number from 1 to 3", parse_number_in<1, 3>};

bool sim_is_usable()
{
    const SimStatus sim;
    return lterouter::sim_is_usable([&](const char *text) { return strcmp(sim.text, text) == 0; });
}

int request_done(const Request &request, const char *event)
{
    const int code = tell(request);
    if (code == kDone) {
        Record().word("event", event).text("done");
    }
    return code;
}

int tell_unusable()
{
    const char *hint = sim_hint(false);
    return fail(kFailed, "the SIM cannot be used: %s; nothing is done",
                hint != nullptr ? hint : "its state is not known");
}

// Like the library's calls for tools, which send nothing while the SIM cannot be used.
template <typename Run> int with_usable_sim(const Peer &peer, Run run)
{
    return with_endpoint([&] {
        if (sim_is_usable()) {
            return run();
        }
        return is_bound(peer) ? tell_unusable() : tell_nobody(peer);
    });
}

int clear_messages()
{
    {
        const Waiting waiting({&kWanManager, "take the state change that goes with it"});
        // A failure does not matter: the messages can be deleted without it.
        send_request(kWanManager.module_id, SC_STATE_CHANGE_REQ, nullptr, 0);
    }
    return request_done(kClearMessages, "sms-clear");
}

int choose_answer(const char *slot)
{
    const int code = make_volatile_store();
    return code == kDone ? store_value(kVolatileStore, kFlag, slot) : code;
}

// Needs an endpoint, but no WAN manager.
int inject(const char *slot, uint32_t number)
{
    if (const int code = choose_answer(slot); code != kDone) {
        return code;
    }
    Reply reply = {Outcome::kSuccess, 0, 0};
    {
        const Waiting waiting({&kInject.peer, kInject.what});
        if (lct_test_ussd_notify_req() != 0) {
            reply.outcome = Outcome::kNobodyBound;
        }
    }
    if (reply.outcome == Outcome::kSuccess) {
        Record().word("event", "ussd").number("answer", number);
    }
    return explain(kInject, reply);
}

} // namespace

int state_change(char *const *)
{
    return with_usable_sim(kWanManager, [] { return request_done(kChangeState, "state-change"); });
}

int sms_clear(char *const *) { return with_usable_sim(kSmsStore, clear_messages); }

int ussd_test(char *const *operands)
{
    const char *slot = operands[0] == nullptr ? "1" : operands[0];
    uint32_t number = 0;
    if (!kSlot.parse(slot, &number)) {
        return bad_value("ussd-test", kSlot, slot);
    }
    return with_endpoint([=] { return inject(slot, number); });
}

} // namespace lterouter::tools
