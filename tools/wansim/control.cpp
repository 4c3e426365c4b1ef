#include "wansim/control.h"

#include "common/clock.h"
#include "common/wan_manager.h"
#include "wansim/ending.h"
#include "wansim/mailbox.h"
#include "wansim/request.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/epoll.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

// Written before the worker starts.
Controls *g_controls = nullptr;

// Of the worker.
State *g_state = nullptr;
ScriptReader g_events;

Understanding understanding(const Settings &settings)
{
    return {settings.sms_store ? kStoreSim : kManagerSim, kFaultChange};
}

// ---- The worker ----

void tell_state(ControlAnswer &answer)
{
    Modem *const modem = g_state->modem;
    if (modem == nullptr) {
        answer.number("messages", g_state->messages);
        return;
    }
    uint32_t signal = 0;
    parse_number(modem->signal(), 0, 99, &signal);
    answer.field("link", kLinkStates[modem->link_status()])
        .field("interface", bounded(g_state->settings.link.interface_name))
        .number("signal", signal)
        .number("network", g_state->nettype)
        .field("sim", modem->sim().status())
        .field("radio", modem->radio_on() ? "on" : "off")
        .field("roaming", g_state->roaming == 1 ? "on" : "off");
}

constexpr Simulator kSimulator = {
    .name = "wansim",
    .hang = hang,
    .hang_left_ms = [] { return int64_t{hang_left_ms()}; },
    .change_faults = [](const char *rule) { return g_state->faults.change(rule); },
    .tell_faults = [](FaultText &text) { g_state->faults.tell(text); },
    .tell_state = tell_state,
};

void change_link(Modem &modem, uint32_t change, ControlAnswer &answer)
{
    if (change == kDrop) {
        modem.lose_link();
    } else if (!modem.connect()) {
        answer.refuse(kFailed, "it cannot connect: the SIM cannot be used, or the radio is off");
    }
}

void change_card(Modem &modem, uint32_t change)
{
    if (change == kOut) {
        modem.take_card_out();
    } else {
        modem.sim().put_in();
        modem.publish_sim();
    }
}

void carry_out(const Order &order, ControlAnswer &answer)
{
    if (carry_out(kSimulator, order, answer)) {
        return;
    }
    Modem &modem = *g_state->modem; // there for the controls that are left
    switch (order.control->id) {
    case ControlId::kLink:
        change_link(modem, order.value, answer);
        break;
    case ControlId::kSignal:
        modem.set_signal(order.value);
        break;
    case ControlId::kNetwork:
        g_state->nettype = order.value;
        break;
    case ControlId::kCard:
        change_card(modem, order.value);
        break;
    default:
        break; // of every simulator
    }
}

void run_events()
{
    while (g_events.due_ms() && *g_events.due_ms() <= now_ms()) {
        run_event(understanding(g_state->settings), carry_out, g_events.take());
    }
}

// Whether the poll tells of a datagram, once; the worker asks for the next.
bool watch_socket(const Controls &controls, int operation)
{
    epoll_event event = {};
    event.events = EPOLLIN | EPOLLONESHOT;
    event.data.fd = controls.socket.fd();
    return epoll_ctl(controls.poll.get(), operation, controls.socket.fd(), &event) == 0;
}

// ---- The main thread ----

void announce()
{
    announce_controls();
    if (!post(kMsgControl)) {
        note("out of memory: a control waits for the next message");
    }
}

int ms_until(const ScriptReader &events)
{
    constexpr int64_t kLongest = 1'000'000;
    return events.due_ms()
               ? static_cast<int>(std::clamp<int64_t>(*events.due_ms() - now_ms(), 0, kLongest))
               : -1;
}

bool watch_signals(const Controls &controls)
{
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.fd = controls.signals.get();
    return epoll_ctl(controls.poll.get(), EPOLL_CTL_ADD, controls.signals.get(), &event) == 0;
}

} // namespace

Controls::Controls(const sigset_t &awaited)
    : signals(signalfd(-1, &awaited, SFD_CLOEXEC)), poll(epoll_create1(EPOLL_CLOEXEC))
{
}

int check_script(Controls &controls, const Settings &settings)
{
    return settings.script[0] == '\0' ? kDone
                                      : controls.script.load(settings.script, understanding(settings));
}

int open_controls(Controls &controls, const Settings &settings)
{
    const char *usual = settings.sms_store ? kStoreControl : kManagerControl;
    if (const int code = controls.socket.open(settings.control[0] != '\0' ? settings.control : usual);
        code != kDone) {
        return code;
    }
    if (!watch_signals(controls) || !watch_socket(controls, EPOLL_CTL_ADD)) {
        return fail(kFailed, "cannot wait for signals and controls: %s", strerror(errno));
    }
    controls.start_ms = now_ms();
    controls.announced.begin(controls.script, controls.start_ms);
    g_controls = &controls;
    return kDone;
}

int await_signal(Controls &controls)
{
    ScriptReader &events = controls.announced;
    for (;;) {
        epoll_event event = {};
        const int ready = epoll_wait(controls.poll.get(), &event, 1, ms_until(events));
        signalfd_siginfo signal;
        if (ready > 0 && event.data.fd == controls.signals.get() &&
            read(controls.signals.get(), &signal, sizeof(signal)) == sizeof(signal)) {
            return static_cast<int>(signal.ssi_signo);
        }
        bool due = ready > 0;
        for (; events.due_ms() && *events.due_ms() <= now_ms(); due = true) {
            events.take();
        }
        if (due) {
            announce();
        }
    }
}

void begin_controls(State &state)
{
    g_events.begin(g_controls->script, g_controls->start_ms);
    g_state = &state;
}

void serve_controls()
{
    if (take_announced_controls()) {
        run_events();
        g_controls->socket.serve(understanding(g_state->settings), carry_out);
        watch_socket(*g_controls, EPOLL_CTL_MOD);
    }
}

} // namespace lterouter::tools
