// roam, nettype, pref, port: settings of the WAN manager.

#include "common/completion.h"
#include "common/program.h"
#include "common/wan_manager.h"
#include "lte_sdk.h"
#include "ltectl/commands.h"
#include "ltectl/requests.h"

namespace lterouter::tools {
namespace {

constexpr ValueType kNettype = {"a network type from 0 to 3", parse_number_in<0, 3>};
constexpr ValueType kRadio = {"a radio technology from 0 to 15", parse_number_in<0, 15>};
constexpr ValueType kPort = {"a port from 0 to 255", parse_number_in<0, 255>};

// A value that can be set and, if it has get, shown.
struct Setting {
    const char *name;
    const ValueType &type;
    int32_t (*get)(lct_value_rsp *out);
    Request get_request;
    Request set_request;
    void (*show)(uint32_t value);
};

void show_named(const char *name, uint32_t value, const char *text)
{
    Record().word("event", name).number("value", value).field("name", text);
}

void show_nettype(uint32_t value) { show_named("nettype", value, get_net_type_str(value)); }

void show_preference(uint32_t value) { show_named("pref", value, get_radio_str(value)); }

void show_port(uint32_t value) { Record().word("event", "port").number("value", value); }

constexpr Request kNone = {kWanManager, 0, ""};

// As for lct_net_set_pref_req.
consteval Request or_longer(Request request)
{
    request.may_be_longer = true;
    return request;
}

constexpr Setting kRoaming = {"roam",
                              kOnOff,
                              lct_get_roam_switch,
                              kGetRoaming,
                              request_for(WM_MSG_ROAM_SWITCH_SET_REQ, "set the roaming switch"),
                              print_roaming};
constexpr Setting kNetworkType = {"nettype",
                                  kNettype,
                                  lct_get_nettype,
                                  kGetNettype,
                                  request_for(WM_MSG_NETTYPE_SET_REQ, "set the network type"),
                                  show_nettype};
constexpr Setting kPreference = {
    "pref",
    kRadio,
    nullptr,
    kNone,
    or_longer(request_for(WM_MSG_DUALMODE_SET_PREF_REQ, "set the preferred radio technology")),
    show_preference};
constexpr Setting kSerialPort = {
    "port",   kPort, nullptr, kNone, request_for(WM_MSG_SERIAL_PORT_SET_REQ, "select the serial port"),
    show_port};

int get(const Setting &setting)
{
    lct_value_rsp answer;
    const int code =
        explain(setting.get_request, exchange_by(setting.get, setting.get_request, &answer));
    if (code == kDone) {
        setting.show(answer.value);
    }
    return code;
}

int set(const Setting &setting, uint32_t value)
{
    const int code = tell(setting.set_request, value);
    if (code == kDone) {
        setting.show(value);
    }
    return code;
}

int get_or_set(const Setting &setting, const char *text)
{
    if (text == nullptr) {
        return with_endpoint([&] { return get(setting); });
    }
    uint32_t value = 0;
    if (!setting.type.parse(text, &value)) {
        return bad_value(setting.name, setting.type, text);
    }
    return with_endpoint([&] { return set(setting, value); });
}

} // namespace

void offer_nettype(Offer &offer, const char *const *before)
{
    if (before[0] == nullptr) {
        for (uint32_t type = 0; type <= 3; ++type) {
            const char digit[] = {static_cast<char>('0' + type), '\0'};
            offer.add(digit, get_net_type_str(type));
        }
    }
}

void offer_radio(Offer &offer, const char *const *before)
{
    if (before[0] == nullptr) {
        offer.add_numbers(0, 15);
    }
}

int roam(char *const *operands) { return get_or_set(kRoaming, operands[0]); }

int nettype(char *const *operands) { return get_or_set(kNetworkType, operands[0]); }

int pref(char *const *operands) { return get_or_set(kPreference, operands[0]); }

int port(char *const *operands) { return get_or_set(kSerialPort, operands[0]); }

} // namespace lterouter::tools
