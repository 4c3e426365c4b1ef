#include "modemsim/control.h"

#include "common/clock.h"
#include "common/control.h"
#include "common/program.h"
#include "common/script.h"
#include "support/ignore.h"

#include <algorithm>
#include <cstdio>

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

constexpr Simulator kSimulator = {
    .name = "modemsim",
    .hang = [](uint32_t ms) { g_hang_end_ms = now_ms() + ms; },
    .hang_left_ms = [] { return std::max<int64_t>(g_hang_end_ms - now_ms(), 0); },
    .change_faults = [](const char *rule) { return g_settings->faults.change(rule); },
    .tell_faults = [](FaultText &text) { g_settings->faults.tell(text); },
    .tell_state = [](ControlAnswer &answer) { g_modem->tell(answer); },
};

void carry_out(const Order &order, ControlAnswer &answer)
{
    ignore(carry_out(kSimulator, order, answer), "it has no others");
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
