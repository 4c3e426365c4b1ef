// Requests of short-lived tools that have not started the client: each starts a bare endpoint for the
// duration of the call, and sends nothing while the SIM cannot be used.

#include "lte_sdk/request.h"

#include "lc_nv.h"
#include "lct_trace/trace.h"
#include "lte_sdk/sim.h"

#include <cstring>

namespace lterouter {
namespace {

// The endpoint of the call; stopped at the end of the scope.
class BareEndpoint {
public:
    BareEndpoint() : started_(lct_ipc_init_for_sc_msg() == IPC_SUCCESS) {}
    ~BareEndpoint()
    {
        if (started_) {
            ipc_msg_fin();
        }
    }
    BareEndpoint(const BareEndpoint &) = delete;
    BareEndpoint &operator=(const BareEndpoint &) = delete;

    explicit operator bool() const { return started_; }

private:
    const bool started_;
};

bool sim_is_ready() { return lct_check_sim_card_ready() == 0; }

// Answers of the network to a USSD code, as the modem reports them.
constexpr char kMenu[] = // UCS-2: "Choose:", "1 Balance", "2 Data left", "3 Top up", "0 Back"
    "+CUSD: 1,\""
    "00430068006F006F00730065003A000A0031002000420061006C0061006E00630065000A"
    "0032002000440061007400610020006C006500660074000A"
    "003300200054006F0070002000750070000A00300020004200610063006B\",72";
constexpr char kPacked[] = // 7-bit: "Your data bundle ends on the last day of this month."
    ":+CUSD: 0,\""         // with the colon, as modems have been seen to report it
    "D9775D0E2287E96190B8EE26B3CBA0B29B3C07BDDD203ABA"
    "0C6287E77410399C07BDCD203A3A3D07B5DF6E3ADA05\",15";
constexpr char kBalance[] = "+CUSD: 0,\"The balance of 070 555 0142 is 12.34.\",15";

// The SMS store expects a whole slot, padding included.
constexpr uint32_t kSlotSize = 400;
constexpr uint32_t kShortSlotSize = 200; // of the balance
static_assert(sizeof(kMenu) <= kSlotSize && sizeof(kPacked) <= kSlotSize &&
              sizeof(kBalance) <= kShortSlotSize);

} // namespace
} // namespace lterouter

using namespace lterouter;

int32_t lct_check_sim_card_ready()
{
    if (sim_is_usable(
            [](const char *text) { return nvram_match(LCT_PARAM_SIM, text) == NV_SUCCESS; })) {
        return 0;
    }
    return LC_TRACE(-1, "nv match error\n\n");
}

int32_t lct_ipc_init_for_sc_msg()
{
    const uint32_t result = ipc_msg_init(IPC_MODULE_CLI1, nullptr, nullptr, nullptr, 1);
    if (result != IPC_SUCCESS) {
        return LC_TRACE(hand_on<int32_t>(result, kEndpointsCode), "ipc init failled, ret=%u\n\n",
                        result);
    }
    return 0;
}

int32_t lct_state_change_req()
{
    const BareEndpoint endpoint;
    if (!endpoint) {
        return LC_TRACE(-1, "ipc init failure.\n\n");
    }
    if (!sim_is_ready()) {
        return 0;
    }
    int32_t result = kUnanswered;
    return ask(__func__, request::lct_state_change_req, nullptr, &result);
}

int32_t lct_sms_del_dev_all_msg()
{
    const BareEndpoint endpoint;
    if (!endpoint) {
        return LC_TRACE(-1, "ipc init failure.\n\n");
    }
    if (post(request::lct_state_change_req, nullptr) == 0) {
        LC_TRACE(void(), "ipc msg send failure.\n\n"); // deleting the messages can still succeed
    }
    if (!sim_is_ready()) {
        return 0;
    }
    int32_t result = -1;
    if (!deliver(request::lct_sms_del_dev_all_msg, nullptr, &result).delivered || result != 0) {
        return LC_TRACE(-1, "ipc msg del failure.\n\n");
    }
    return LC_TRACE(0, "ipc msg del ok\n\n");
}

int32_t lct_test_ussd_notify_req()
{
    char flag[32];
    const int number =
        nvmram_readnv(LCT_PARAM_USSD_TEST, flag, sizeof(flag)) == NV_SUCCESS ? number_at(flag) : 1;
    const char *text = number == 2 ? kPacked : number == 3 ? kBalance : kMenu;
    char slot[kSlotSize];
    strncpy(slot, text, sizeof(slot));
    const uint32_t size = number == 3 ? kShortSlotSize : sizeof(slot);
    constexpr Request kReport = request::lct_test_ussd_notify_req;
    if (send_request(kReport.module_id, kReport.msg_id, slot, size) == 0) {
        return LC_TRACE(-1, "ipc msg send failure.\n\n");
    }
    return 0;
}
