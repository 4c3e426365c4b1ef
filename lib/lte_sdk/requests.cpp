// The requests to the WAN manager: those that follow from their rows, and those that differ.

#include "lte_sdk/request.h"

#include "lc_nv.h"
#include "lct_trace/trace.h"

#include <cstring>

namespace lterouter {
namespace {

// A request whose response is the result alone.
int32_t tell(const char *function, const Request &request, const void *body,
             unsigned line = __builtin_LINE())
{
    int32_t result = kUnanswered;
    return ask(function, request, body, &result, line);
}

// The same for the two snapshots, which trace one text for every failure.
int32_t diagnose(const char *function, const Request &request, unsigned line = __builtin_LINE())
{
    int32_t result = kUnanswered;
    const Answer answer = deliver(request, nullptr, &result);
    if (!is_success(answer, result)) {
        trace(place(kTraceFamily, line), function, "result error.\n");
        return -1;
    }
    return 0;
}

int32_t read_parameter(const char *name, char *buf, uint32_t size)
{
    return nvmram_readnv(name, buf, size) == NV_SUCCESS ? 0 : -1;
}

} // namespace

// Traces that the request of this name was not delivered, with its result; its value is -1.
#define CALL_FAILED(name, result) \
    LC_TRACE(-1, "call " name " failed ret:%d rsp:%d\n\n", 0, static_cast<int>(result))

Answer deliver(const Request &request, const void *body, void *response)
{
    uint32_t length = request.room;
    const bool delivered = send_request_syn(request.module_id, request.msg_id, body, request.body_len,
                                            request.timeout_ms, response, &length) != 0;
    return {delivered, length};
}

int32_t ask(const char *function, const Request &request, const void *body, void *response,
            unsigned line)
{
    const Answer answer = deliver(request, body, response);
    if (!answer.delivered) {
        trace(place(kTraceFamily, line), function, "ipc msg send failure.\n\n");
        return -1;
    }
    int32_t result;
    memcpy(&result, response, sizeof(result));
    if (!is_success(answer, result)) {
        trace(place(kTraceFamily, line), function, "result error.\n\n");
        return -1;
    }
    return 0;
}

} // namespace lterouter

using namespace lterouter;

// ---- PIN ----

int32_t lct_enable_pin(const lct_pin *pin) { return tell(__func__, request::lct_enable_pin, pin); }

int32_t lct_disenable_pin(const lct_pin *pin)
{
    return tell(__func__, request::lct_disenable_pin, pin);
}

int32_t lct_modify_pin(const lct_pin_change *change)
{
    return tell(__func__, request::lct_modify_pin, change);
}

int32_t lct_modify_pin_en(const uint8_t *enable)
{
    return tell(__func__, request::lct_modify_pin_en, enable);
}

int32_t lct_sim_set_pinen_req(const uint8_t *enable)
{
    uint8_t result = kUnanswered;
    // Success when delivered: hosts ignore the WAN manager's result.
    const bool delivered = deliver(request::lct_sim_set_pinen_req, enable, &result).delivered;
    return delivered ? 0 : CALL_FAILED("WM_MSG_PIN_MODIFY_EN_REQ", result);
}

// ---- Network ----

int32_t lct_set_nettype(const uint32_t *nettype)
{
    return tell(__func__, request::lct_set_nettype, nettype);
}

int32_t lct_get_nettype(lct_value_rsp *out)
{
    return ask(__func__, request::lct_get_nettype, nullptr, out);
}

int32_t lct_set_roam_switch(const uint32_t *value)
{
    return tell(__func__, request::lct_set_roam_switch, value);
}

int32_t lct_get_roam_switch(lct_value_rsp *out)
{
    if (ask(__func__, request::lct_get_roam_switch, nullptr, out) != 0) {
        return -1;
    }
    return LC_TRACE(0, "get roam switch value:%d\n\n", static_cast<int>(out->value));
}

int32_t lct_net_set_pref_req(const uint32_t *preference)
{
    int32_t result = kUnanswered;
    const bool delivered = deliver(request::lct_net_set_pref_req, preference, &result).delivered;
    // Either suffices: the result may be 0 in an answer that is too long to be delivered.
    return delivered || result == 0 ? 0 : CALL_FAILED("WM_MSG_DUALMODE_SET_PREF_REQ", result);
}

int32_t lct_get_netlist_req(lct_netlist_rsp *out)
{
    const Answer answer = deliver(request::lct_get_netlist_req, nullptr, out);
    if (!answer.delivered) {
        return LC_TRACE(-1, "ipc msg send failure.\n\n");
    }
    const int32_t status = is_success(answer, out->result) ? 0 : LC_TRACE(-1, "result error.\n\n");
    netlist_nv();
    return status;
}

int32_t lct_lte_channel_req(uint32_t *channel)
{
    lct_value_rsp response = {kUnanswered, 0};
    const Answer answer = deliver(request::lct_lte_channel_req, nullptr, &response);
    if (!is_success(answer, response.result)) {
        *channel = 0;
        return LC_TRACE(-1, "get channel failed ret:%d rsp:%d\n\n", answer.delivered ? 1 : 0,
                        static_cast<int>(response.result));
    }
    *channel = response.value;
    return 0;
}

int32_t lct_net_imsi_get_req(char *buf, uint32_t len)
{
    Request request = request::lct_net_imsi_get_req;
    request.room = len;
    const Answer answer = deliver(request, nullptr, buf);
    LC_TRACE(void(), "rsp_len=%d.\n\n", static_cast<int>(answer.length));
    return answer.delivered ? 0 : LC_TRACE(-1, "need more length buffer to put.\n\n");
}

int32_t lct_apn_set_req()
{
    int32_t result = kUnanswered;
    const Answer answer = deliver(request::lct_apn_set_req, nullptr, &result);
    if (!is_success(answer, result)) {
        return LC_TRACE(-1, "ipc result of request msg error:%d\n\n", static_cast<int>(result));
    }
    return 0;
}

// ---- Modem and interface ----

int32_t lct_set_serial_port(uint32_t port)
{
    return tell(__func__, request::lct_set_serial_port, &port);
}

int32_t lct_get_diag_info() { return diagnose(__func__, request::lct_get_diag_info); }

int32_t lct_get_diag_hide_info() { return diagnose(__func__, request::lct_get_diag_hide_info); }

int32_t lct_net_set_status_test_req(const uint32_t *state)
{
    int32_t result = kUnanswered;
    // Success when delivered: only the delivery is tested.
    const bool delivered = deliver(request::lct_net_set_status_test_req, state, &result).delivered;
    return delivered ? 0 : CALL_FAILED("SC_STATE_CHANGE_REQ", result);
}

int32_t lct_inface_status_req(const lct_iface_status *status)
{
    if (post(request::lct_inface_status_req, status) == 0) {
        return LC_TRACE(-1, "call WM_MSG_IFACE_UPORDOWN_REQ failed ret:%d \n\n", 0);
    }
    return 0;
}

int32_t lct_at_cfun_off_req()
{
    if (post(request::lct_at_cfun_off_req, nullptr) == 0) {
        return LC_TRACE(-1, "ipc msg send failure.\n\n");
    }
    return 0;
}

// ---- Values that the WAN manager keeps in the RAM store ----

int32_t lct_net_signal_level_get_req(char *buf, uint32_t size)
{
    return read_parameter(LCT_PARAM_SIGNAL, buf, size);
}

int32_t lct_net_imei_get_req(char *buf, uint32_t size)
{
    return read_parameter(LCT_PARAM_IMEI, buf, size);
}

int32_t lct_sim_status_get_req(char *buf, uint32_t size)
{
    return read_parameter(LCT_PARAM_SIM, buf, size);
}

int32_t lct_get_syslog_switch_flg()
{
    char text[16] = {};
    return read_parameter(LCT_PARAM_SYSLOG_SWITCH, text, sizeof(text)) == 0 && number_at(text) == 1 ? 1
                                                                                                    : 0;
}
