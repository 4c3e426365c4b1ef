// modemsim: stands in for a modem whose firmware is upgraded, on machines without one.
//
//   main      options, signals, the loop
//   port      a serial port that can be unplugged
//   modem     ports, restarts, AT commands
//   receiver  the frames of an image
//   fault     faults, and where they happen
//   control   what it is told while it runs
//
// One thread: a modem does one thing at a time.

#include "common/clock.h"
#include "common/command.h"
#include "common/control.h"
#include "common/program.h"
#include "common/record.h"
#include "modemsim/control.h"
#include "modemsim/modem.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

// How long the rest of a frame may take.
constexpr int kFrameMs = 1000;

constexpr int64_t kNever = INT64_MAX;

Settings g_settings;
bool g_quiet = false;
int g_signals = -1;
bool g_ending = false;

constexpr ValueType kPort = {"a path of at most 127 characters",
                             parse_path<sizeof(Settings::data_port)>};
constexpr ValueType kFile = {"a path of at most 255 characters", parse_path<sizeof(Settings::image)>};
constexpr ValueType kSize = {"a number from 2049 to 2147483647", parse_number_in<2049, 2147483647>};
constexpr ValueType kDelay = {"a number of milliseconds from 0 to 600000", parse_number_in<0, 600000>};
constexpr ValueType kCount = {"a number from 0 to 1000", parse_number_in<0, 1000>};

constexpr Option kOptions[] = {
    {"data-port", "PATH", "link to the port for the image (/dev/ttyUSB1)", &kPort,
     g_settings.data_port},
    {"at-port", "PATH", "link to the port for AT commands (/dev/ttyUSB3)", &kPort, g_settings.at_port},
    {"image", "FILE", "where to write the image that is received", &kFile, g_settings.image},
    {"size", "BYTES", "the image's own length; the last piece's header may overstate it", &kSize,
     &g_settings.size},
    {"echo", "on|off", "echo of AT commands (on)", &kOnOff, &g_settings.echo},
    {"restart", "MS", "time that the modem is gone after an upgrade (1000)", &kDelay,
     &g_settings.restart_ms},
    {"busy", "N", "status commands after an upgrade before it is done (0)", &kCount, &g_settings.busy},
    {"fault", "PLACE=FAULT[:N]", "a fault, and where it happens; can be repeated", &kFaultRule,
     &g_settings.faults},
    {"control", "PATH", "the control socket (the path of the data port with .control)", &kControlPath,
     g_settings.control},
    {"script", "FILE", "what happens by itself, by the seconds from the start", &kFile,
     g_settings.script},
    {"quiet", nullptr, "print nothing but errors", &kSwitch, &g_quiet},
    {},
};

int ms_until(int64_t moment_ms)
{
    constexpr int64_t kLongest = 1'000'000;
    return moment_ms == kNever
               ? -1
               : static_cast<int>(std::clamp<int64_t>(moment_ms - now_ms(), 0, kLongest));
}

// Waits for the ports, serving controls; false at that moment, true also when the end was asked for.
// Without ports it waits for the end of a hang too.
bool await(const Modem *ports, int64_t until_ms, bool (&readable)[2])
{
    const auto end_ms = [=] { return ports == nullptr ? std::max(until_ms, hang_end_ms()) : until_ms; };
    for (;;) {
        pollfd watched[] = {{g_signals, POLLIN, 0},
                            {control_fd(), POLLIN, 0},
                            {ports != nullptr ? ports->at().fd() : -1, POLLIN, 0},
                            {ports != nullptr ? ports->data().fd() : -1, POLLIN, 0}};
        const int ready =
            poll(watched, std::size(watched), ms_until(std::min(end_ms(), next_event_ms())));
        serve_controls();
        g_ending = g_ending || watched[0].revents != 0;
        readable[0] = watched[2].revents != 0;
        readable[1] = watched[3].revents != 0;
        if (g_ending || readable[0] || readable[1]) {
            return true;
        }
        if (ready == 0 && now_ms() >= end_ms()) {
            return false;
        }
    }
}

// Serves until a signal asks for the end; false when the modem cannot go on.
bool serve(Modem &modem)
{
    while (!g_ending) {
        bool readable[2];
        const int64_t until_ms = modem.frame_is_partial() ? now_ms() + kFrameMs : kNever;
        if (!await(&modem, until_ms, readable)) {
            modem.drop_partial_frame();
        } else if (!pause_ms(0)) { // a hang
            return true;
        } else if ((readable[0] && !modem.serve_at()) || (readable[1] && !modem.serve_data())) {
            return false;
        }
    }
    return true;
}

int run(char *const *)
{
    if (g_quiet && freopen("/dev/null", "w", stdout) == nullptr) {
        return fail(kFailed, "cannot open /dev/null");
    }
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGINT);
    sigaddset(&ending, SIGTERM);
    sigprocmask(SIG_BLOCK, &ending, nullptr);
    g_signals = signalfd(-1, &ending, SFD_CLOEXEC);
    if (g_signals < 0) {
        return fail(kFailed, "cannot wait for signals: %s", strerror(errno));
    }
    if (const int code = check_script(g_settings); code != kDone) {
        return code;
    }
    Modem modem(&g_settings);
    if (const int code = modem.start(); code != kDone) {
        return code;
    }
    if (const int code = open_controls(g_settings, modem); code != kDone) {
        return code;
    }
    Record().word("event", "ready").field("data", g_settings.data_port).field("at", g_settings.at_port);
    const bool served = serve(modem);
    close_controls();
    if (!served) {
        return kFailed;
    }
    Record().word("event", "ended");
    return kDone;
}

using Help = Text<1024>;

// Faults by their names: "silent, late and reboot".
template <typename Test> constexpr void tell(Help &help, Test is_told, std::string_view before_last)
{
    size_t left = 0;
    for (const ModemFault &kind : kFaults) {
        left += is_told(kind) ? 1 : 0;
    }
    for (const ModemFault &kind : kFaults) {
        if (is_told(kind)) {
            --left;
            help.add(kind.name).add(left == 0 ? "" : left == 1 ? before_last : ", ");
        }
    }
}

constexpr void tell_those_of(Help &help, Suits places, std::string_view before_last)
{
    const auto is_one = [places](const ModemFault &kind) { return kind.places == places; };
    tell(help, is_one, before_last);
}

// Each default stands after the last of those that have it.
constexpr void tell_timed(Help &help)
{
    uint32_t by_default = 0;
    for (const ModemFault &kind : kFaults) {
        if (kind.counts(FaultNumber::Unit::kMilliseconds)) {
            if (by_default != 0 && by_default != kind.number.by_default) {
                help.add(" (").add(by_default).add(")");
            }
            help.add(by_default == 0 ? "" : ", ").add(kind.name);
            by_default = kind.number.by_default;
        }
    }
    help.add(" (").add(by_default).add(")");
}

constexpr Help kHelp = [] {
    constexpr size_t kWidth = 90;
    Help help(kWidth);
    help.add("Stands in for the modem of an LTE router while its firmware is upgraded: makes its two\n"
             "serial ports, takes an image and restarts. SIGINT or SIGTERM ends it.\n"
             "Places of a fault: start and status (the AT commands), begin, a piece's number, end.\n"
             "Faults, N being times (")
        .add(kTimes.by_default)
        .add("): ");
    tell(
        help, [](const ModemFault &kind) { return kind.counts(FaultNumber::Unit::kTimes); }, ", ");
    help.add("; N being milliseconds: ");
    tell_timed(help);
    help.add(". AT commands have ");
    tell_those_of(help, Suits::kAt, ", ");
    help.add(", ");
    tell_those_of(help, Suits::kAll, " and ");
    help.add("; the begin command has no ");
    tell_those_of(help, Suits::kLaterFrames, " and ");
    help.add(".\nControls (ltectl sim), one after its time in seconds a line of a script: ");
    tell_controls(help, kModemSim);
    return help.add(".");
}();

constexpr Command kRoot = {
    .name = "modemsim",
    .help = kHelp.text(),
    .run = run,
    .options = kOptions,
};

} // namespace

bool pause_ms(uint32_t ms)
{
    bool readable[2];
    await(nullptr, now_ms() + ms, readable);
    return !g_ending;
}

} // namespace lterouter::tools

int main(int argc, char **argv)
{
    using namespace lterouter::tools;
    g_program.prefixes_text = true;
    return run_program(kRoot, argc, argv);
}
