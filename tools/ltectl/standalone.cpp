// state-change, sms clear, ussd-test: what tools do without being a client.

#include "common/program.h"
#include "common/record.h"
#include "lc_ipc_msg.h"
#include "lc_nv.h"
#include "lte_sdk.h"
#include "ltectl/client.h"
#include "ltectl/commands.h"
#include "ltectl/request.h"

#include <cstring>

namespace lterouter::tools {
namespace {

constexpr char kFlag[] = "test_ussd_flg";
constexpr ValueType kSlot = {"a number from 1 to 3", parse_number_in<1, 3>};

bool sim_is_usable()
{
    return nvram_match("wm_wcdma_modem_status_tmp", "sim_ready") == NV_SUCCESS ||
           nvram_match("wm_wcdma_modem_status_tmp", "pin_enable") == NV_SUCCESS;
}

// Without a SIM the library leaves the request out, and calls that success.
int run(int32_t (*request)(), const char *what, const char *not_done)
{
    if (nvmram_init() != NV_SUCCESS) {
        return fail(kFailed, "cannot make %s", NVMRAM_DIR);
    }
    return without_client([=] {
        const bool usable = sim_is_usable();
        if (request() != 0) {
            return refused(not_done);
        }
        if (!usable) {
            return fail(kFailed, "the SIM cannot be used: nothing is done");
        }
        Record().word("event", what).text("done");
        return kDone;
    });
}

// Needs an endpoint, but no WAN manager.
int inject(const char *slot, uint32_t number)
{
    if (nvmram_init() != NV_SUCCESS ||
        nvmram_writenv(kFlag, slot, static_cast<uint32_t>(strlen(slot)) + 1) != NV_SUCCESS) {
        return fail(kFailed, "cannot write to %s", NVMRAM_DIR);
    }
    if (lct_ipc_init_for_sc_msg() != 0) {
        return fail(kFailed, "cannot start the endpoint; see /tmp/ltelog.1");
    }
    const bool sent = lct_test_ussd_notify_req() == 0;
    ipc_msg_fin();
    if (!sent) {
        return fail(kNobody,
                    "no SMS store takes the answer; start wansim --sms-store or the SMS store");
    }
    Record().word("event", "ussd").number("answer", number);
    return kDone;
}

} // namespace

int state_change(char *const *)
{
    return run(lct_state_change_req, "state-change", "change the state, or is not there");
}

int sms_clear(char *const *)
{
    return run(lct_sms_del_dev_all_msg, "sms-clear", "have the SMS store delete its messages");
}

int ussd_test(char *const *operands)
{
    const char *slot = operands[0] == nullptr ? "1" : operands[0];
    uint32_t number = 0;
    if (!kSlot.parse(slot, &number)) {
        return bad_value("ussd-test", kSlot, slot);
    }
    return inject(slot, number);
}

} // namespace lterouter::tools
