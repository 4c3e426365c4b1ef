#include "modemsim/control.h"

#include "common/clock.h"
#include "common/control.h"
#include "common/program.h"
#include "common/script.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <unistd.h>

namespace lterouter::tools {
namespace {

constexpr Understanding kUnderstanding = {kModemSim, kFaultChange};

struct Controls {
    ControlSocket socket;
    Script script;
};

Controls g_controls;
ScriptReader g_events;
Settings *g_settings = nullptr;
const Modem *g_modem = nullptr;
int64_t g_hang_end_ms = 0;

void tell_status(ControlAnswer &answer)
{
    FaultText faults;
    g_settings->faults.tell(&faults);
    answer.field("simulator", "modemsim").number("pid", getpid());
    g_modem->tell(answer);
    const int64_t left_ms = std::max<int64_t>(g_hang_end_ms - now_ms(), 0);
    answer.number("hang", (left_ms + 999) / 1000).field("faults", faults.text());
}

void carry_out(const Order &order, ControlAnswer &answer)
{
    switch (order.control->id) {
    case ControlId::kHang:
        g_hang_end_ms = now_ms() + int64_t{order.value} * 1000;
        break;
    case ControlId::kFault:
        if (!g_settings->faults.change(order.operand)) {
            answer.refuse(kFailed, "there are 32 faults already");
        }
        break;
    case ControlId::kStatus:
        tell_status(answer);
        break;
    case ControlId::kQuit:
        kill(getpid(), SIGTERM);
        break;
    case ControlId::kLink:
    case ControlId::kSignal:
    case ControlId::kNetwork:
    case ControlId::kCard:
        break; // of wansim
    }
}

} // namespace

int check_script(const Settings &settings)
{
    return settings.script[0] == '\0' ? kDone : g_controls.script.load(settings.script, kUnderstanding);
}

int open_controls(Settings &settings, const Modem &modem)
{
    g_settings = &settings;
    g_modem = &modem;
    char beside_port[sizeof(settings.data_port) + sizeof(kModemControlSuffix)];
    snprintf(beside_port, sizeof(beside_port), "%s%s", settings.data_port, kModemControlSuffix);
    g_events.begin(g_controls.script, now_ms());
    return g_controls.socket.open(settings.control[0] != '\0' ? settings.control : beside_port);
}

void close_controls() { g_controls.socket.close(); }

int control_fd() { return g_controls.socket.fd(); }

int64_t next_event_ms() { return g_events.due_ms().value_or(INT64_MAX); }

void serve_controls()
{
    while (next_event_ms() <= now_ms()) {
        run_event(kUnderstanding, carry_out, g_events.take());
    }
    g_controls.socket.serve(kUnderstanding, carry_out);
}

int64_t hang_end_ms() { return g_hang_end_ms; }

} // namespace lterouter::tools
