// The WAN manager's requests.

#include "common/wan_manager.h"
#include "common/record.h"
#include "lc_nv.h"
#include "wansim/at.h"
#include "wansim/ending.h"
#include "wansim/request.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>

namespace lterouter::tools {
namespace {

constexpr uint32_t kNettypes = 4;
constexpr uint32_t kRadios = 16;
constexpr uint32_t kPorts = 8;
constexpr uint32_t kChannel = 1300;

// ---- Link ----

int32_t connect(State &state, const Body &, Answer *) { return state.modem->connect() ? 0 : kRefused; }

int32_t disconnect(State &state, const Body &, Answer *)
{
    state.modem->disconnect();
    return 0;
}

int32_t switch_interface(State &state, const Body &body, Answer *)
{
    state.modem->switch_interface(body.record<lct_iface_status>().readiness == kReady);
    return 0;
}

int32_t switch_radio_off(State &state, const Body &, Answer *)
{
    state.modem->switch_radio(false);
    return 0;
}

// ---- Values ----

int32_t get(uint32_t value, Answer *answer)
{
    answer->put_value(value);
    return 0;
}

// Refuses a value that the modem does not know.
int32_t set(uint32_t *value, const Body &body, uint32_t count)
{
    const auto wanted = body.record<uint32_t>();
    if (wanted >= count) {
        return kRefused;
    }
    *value = wanted;
    return 0;
}

int32_t get_roaming(State &state, const Body &, Answer *answer) { return get(state.roaming, answer); }

int32_t set_roaming(State &state, const Body &body, Answer *)
{
    const int32_t result = set(&state.roaming, body, 2);
    if (result == 0) {
        print_roaming(state.roaming);
    }
    return result;
}

int32_t get_nettype(State &state, const Body &, Answer *answer) { return get(state.nettype, answer); }

int32_t set_nettype(State &state, const Body &body, Answer *)
{
    return set(&state.nettype, body, kNettypes);
}

int32_t set_preference(State &state, const Body &body, Answer *)
{
    return set(&state.preference, body, kRadios);
}

int32_t set_port(State &state, const Body &body, Answer *) { return set(&state.port, body, kPorts); }

int32_t get_channel(State &, const Body &, Answer *answer) { return get(kChannel, answer); }

// ---- SIM ----

std::string_view text_of(const Body &body, size_t offset)
{
    const auto *text = reinterpret_cast<const char *>(body.bytes) + offset;
    return {text, strnlen(text, sizeof(lct_pin::pin))};
}

int32_t enable_pin(State &state, const Body &body, Answer *)
{
    return state.modem->sim().set_asking(true, text_of(body, 0));
}

int32_t disable_pin(State &state, const Body &body, Answer *)
{
    return state.modem->sim().set_asking(false, text_of(body, 0));
}

int32_t modify_pin(State &state, const Body &body, Answer *)
{
    return state.modem->sim().change_pin(text_of(body, 0),
                                         text_of(body, offsetof(lct_pin_change, new_pin)));
}

// Always answered with a whole result word, for which lct_sim_set_pinen_req has no room: the request
// does not tell which function sent it.
int32_t set_pin_asking(State &state, const Body &body, Answer *)
{
    return state.modem->sim().set_asking(body.record<uint8_t>() != 0);
}

int32_t get_imsi(State &state, const Body &, Answer *answer)
{
    if (!state.modem->sim().usable()) {
        return kRefused;
    }
    ImsiAnswer body = {};
    snprintf(body.imsi, kImsiSize, "%s", state.modem->imsi());
    answer->put(body);
    answer->length = offsetof(ImsiAnswer, imsi) + kImsiSize;
    return 0;
}

// ---- Operators ----

constexpr lct_operator kOperators[] = {
    {"Northern Cell", 1, 1, {2, 7, 0, 23, 0}},
    {"Harbour Mobile", 1, 2, {1, 7, 1, 17, 0}},
    {"Ridge Telecom", 1, 5, {1, 4, 1, 12, 0}},
    {"Old Valley", 1, 9, {3, 1, 1, 9, 0}},
};

// As clients read the list of the last search: the number of entries, then the entries.
void store_operators()
{
    char list[524];
    int length = snprintf(list, sizeof(list), "%zu>", std::size(kOperators));
    for (const lct_operator &found : kOperators) {
        const int32_t *number = found.numbers;
        length += snprintf(list + length, sizeof(list) - static_cast<size_t>(length),
                           "%s,%u,%u,%d,%d,%d,%d,%d>", found.name, found.first, found.second, number[0],
                           number[1], number[2], number[3], number[4]);
    }
    nvmram_writenv(LCT_PARAM_OPERATORS, list, sizeof(list));
}

int32_t search(State &state, const Body &, Answer *answer)
{
    const Sim &sim = state.modem->sim();
    // The card may be taken out meanwhile.
    if (!sim.usable() || !wait_unless_ending(state.settings.search_ms) || !sim.usable()) {
        return kRefused;
    }
    store_operators();
    lct_netlist_rsp body = {};
    std::copy(std::begin(kOperators), std::end(kOperators), body.operators);
    answer->put(body);
    return 0;
}

// ---- The rest ----

int32_t diagnose(State &state, const Body &, Answer *)
{
    char snapshot[64];
    snprintf(snapshot, sizeof(snapshot), "csq=%s,earfcn=%u", state.modem->signal(), kChannel);
    nvmram_writenv(LCT_PARAM_DIAG, snapshot, sizeof(snapshot));
    return 0;
}

int32_t accept(State &, const Body &, Answer *) { return 0; }

int32_t command_modem(State &state, const Body &body, Answer *answer)
{
    const std::string_view command = at_command(body);
    if (command.empty()) {
        return kRefused;
    }
    AtAnswer text;
    const uint32_t length = answer_at(*state.modem, command, &text);
    answer->put(text);
    answer->length = length;
    return 0;
}

// clang-format off
constexpr Request kRequests[] = {
    row(IPC_MODULE_MM, "connect",        WM_MSG_CONNECT_REQ,           connect),
    row(IPC_MODULE_MM, "disconnect",     WM_MSG_DISCONNECT_REQ,        disconnect),
    row(IPC_MODULE_MM, "get-roaming",    WM_MSG_ROAM_SWITCH_GET_REQ,   get_roaming),
    row(IPC_MODULE_MM, "set-roaming",    WM_MSG_ROAM_SWITCH_SET_REQ,   set_roaming),
    row(IPC_MODULE_MM, "get-nettype",    WM_MSG_NETTYPE_GET_REQ,       get_nettype),
    row(IPC_MODULE_MM, "set-nettype",    WM_MSG_NETTYPE_SET_REQ,       set_nettype),
    row(IPC_MODULE_MM, "set-pref",       WM_MSG_DUALMODE_SET_PREF_REQ, set_preference),
    row(IPC_MODULE_MM, "enable-pin",     WM_MSG_PIN_ENABLE_REQ,        enable_pin),
    row(IPC_MODULE_MM, "disable-pin",    WM_MSG_PIN_DISABLE_REQ,       disable_pin),
    row(IPC_MODULE_MM, "modify-pin",     WM_MSG_PIN_MODIFY_REQ,        modify_pin),
    row(IPC_MODULE_MM, "set-pin-asking", WM_MSG_PIN_MODIFY_EN_REQ,     set_pin_asking),
    row(IPC_MODULE_MM, "get-imsi",       WM_MSG_IMSI_GET_REQ,          get_imsi),
    row(IPC_MODULE_MM, "search",         WM_MSG_NETLIST_SEARCH_REQ,    search),
    row(IPC_MODULE_MM, "get-channel",    WM_MSG_LTE_CHANNEL_REQ,       get_channel),
    row(IPC_MODULE_MM, "set-port",       WM_MSG_SERIAL_PORT_SET_REQ,   set_port),
    row(IPC_MODULE_MM, "diag",           WM_MSG_DIAG_INFO_REQ,         diagnose),
    row(IPC_MODULE_MM, "diag-hidden",    WM_MSG_DIAG_HIDE_INFO_REQ,    diagnose),
    row(IPC_MODULE_MM, "set-apn",        WM_MSG_APN_SET_REQ,           accept),
    row(IPC_MODULE_MM, "at",             WM_MSG_MODEM_AT_REQ,          command_modem),
    row(IPC_MODULE_MM, "interface",      WM_MSG_IFACE_UPORDOWN_REQ,    switch_interface),
    row(IPC_MODULE_MM, "radio-off",      WM_MSG_AT_CFUN_OFF_REQ,       switch_radio_off),
    row(IPC_MODULE_MM, "state-change",   SC_STATE_CHANGE_REQ,          accept),
};
// clang-format on

// Every request of the client is served here or by the SMS store.
#define SERVED(function, message, module, its_body, its_answer, timeout_ms) \
    static_assert(module != IPC_MODULE_MM || serves(kRequests, message),    \
                  "wansim does not serve " #message);
LCT_REQUESTS(SERVED)
#undef SERVED

} // namespace

const RequestTable kWanManagerRequests = {kRequests, std::size(kRequests)};

} // namespace lterouter::tools
