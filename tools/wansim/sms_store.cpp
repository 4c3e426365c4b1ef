// The SMS store's requests.

#include "common/record.h"
#include "wansim/request.h"

namespace lterouter::tools {
namespace {

int32_t delete_all(State &state, const Body &, Answer *)
{
    Record().word("event", "deleted").number("messages", state.messages);
    state.messages = 0;
    return 0;
}

// What the modem reports, such as the network's answer to a USSD code: text, padded with NULs.
int32_t report(State &, const Body &body, Answer *)
{
    Record().word("event", "modem").word("report", body.text());
    return 0;
}

constexpr Request kRequests[] = {
    row(IPC_MODULE_SMS_PB, "delete-all", WM_MSG_SMS_DEL_ALL_REQ, delete_all),
    row(IPC_MODULE_SMS_PB, "report", WM_MSG_MODEM_NOTIFY, report),
};

#define SERVED(function, message, module, its_body, its_answer, timeout_ms)  \
    static_assert(module != IPC_MODULE_SMS_PB || serves(kRequests, message), \
                  "wansim --sms-store does not serve " #message);
LCT_REQUESTS(SERVED)
#undef SERVED

} // namespace

const RequestTable kSmsStoreRequests = {kRequests, std::size(kRequests)};

} // namespace lterouter::tools
