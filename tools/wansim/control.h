// Controls: from the control socket and from the script, carried out by the worker.
#pragma once

#include "common/control.h"
#include "common/script.h"
#include "support/fd.h"

#include <csignal>

namespace lterouter::tools {

struct Settings;
struct State;

// Of the main thread, while the worker runs.
struct Controls {
    // awaited: signals that are blocked.
    explicit Controls(const sigset_t &awaited);

    ControlSocket socket;
    Script script;
    const Fd signals;
    const Fd poll;
    int64_t start_ms = 0;
    ScriptReader announced;
};

// ---- For the main thread ----

// Both before the worker starts. Each returns kDone, or the exit code after an error message.
int check_script(Controls &controls, const Settings &settings);
int open_controls(Controls &controls, const Settings &settings);

// Waits for a signal, and has the worker serve the controls that come meanwhile. Returns its number.
int await_signal(Controls &controls);

// ---- For the worker ----

void begin_controls(State &state);
// Those that were announced.
void serve_controls();

} // namespace lterouter::tools
