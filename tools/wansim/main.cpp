// wansim: stands in for the WAN manager and its modem, so that clients can be tried on any machine.
//
//   main         options, signals, start and end
//   mailbox      endpoint and queue
//   requests     the worker that serves requests, with faults
//   wan_manager  the WAN manager's requests, a table
//   sms_store    the SMS store's
//   fault        faults of requests
//   modem        link, signal, notifications, parameters
//   sim          the SIM card and its PIN
//   board        what a router's board has besides: a process of its own
//   proc_cover   the LEDs' files
//   cable        the link's interface, and who answers behind it
//   at           AT commands
//   control      what it is told while it runs
//   ending       the waits, and what interrupts them
//
// Threads: the library's receive thread fills the queue; one worker empties it and owns all state, so
// there is nothing to lock; the main thread turns signals, controls and the lines of the script into
// messages to the worker.

#include "common/command.h"
#include "common/completion.h"
#include "common/program.h"
#include "common/wan_manager.h"
#include "lc_log.h"
#include "lc_pthread.h"
#include "wansim/board.h"
#include "wansim/control.h"
#include "wansim/ending.h"
#include "wansim/mailbox.h"
#include "wansim/requests.h"
#include "wansim/settings.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <initializer_list>

namespace lterouter::tools {
namespace {

constexpr int32_t kLogModule = 3; // the WAN manager's
constexpr time_t kGraceSeconds = 2;

Settings g_settings;

constexpr ValueType kDelay = {"a number of milliseconds from 0 to 600000", parse_number_in<0, 600000>};

constexpr ValueType kFilePath = {"a path of at most 255 characters",
                                 parse_path<sizeof(Settings::script)>};
constexpr ValueType kPin = {"4 to 8 digits", parse_digits<4, 8>};
constexpr ValueType kPuk = {"8 digits", parse_digits<8, 8>};
constexpr ValueType kIdentity = {"15 digits", parse_digits<15, 15>};
constexpr ValueType kMessages = {"a number from 0 to 1000", parse_number_in<0, 1000>};

struct SimName {
    const char *name;
    SimState state;
};

constexpr SimName kSimNames[] = {{"ready", SimState::kUsable},
                                 {"pin", SimState::kPinLocked},
                                 {"puk", SimState::kPukLocked},
                                 {"absent", SimState::kAbsent}};

bool parse_sim(const char *text, void *target)
{
    for (const SimName &known : kSimNames) {
        if (strcmp(known.name, text) == 0) {
            *static_cast<SimState *>(target) = known.state;
            return true;
        }
    }
    return false;
}

constexpr ValueType kSim = {"ready, pin, puk or absent", parse_sim, [](Offer &offer) {
                                for (const SimName &known : kSimNames) {
                                    offer.add(known.name);
                                }
                            }};

constexpr Option kOptions[] = {
    {"interface", "NAME", "interface of the link", &kInterfaceName, g_settings.link.interface_name},
    {"ip", "ADDRESS", "its address", &kIpv4Address, g_settings.link.ip},
    {"gateway", "ADDRESS", "its gateway", &kIpv4Address, g_settings.link.gateway},
    {"dns1", "ADDRESS", "first name server", &kIpv4Address, g_settings.link.dns1},
    {"dns2", "ADDRESS", "second name server", &kIpv4Address, g_settings.link.dns2},
    {"mask", "ADDRESS", "its network mask", &kIpv4Address, g_settings.link.mask},
    {"roaming", "on|off", "roaming switch at the start (off)", &kOnOff, &g_settings.roaming},
    {"delay", "MS", "time to connect in milliseconds (200)", &kDelay, &g_settings.delay_ms},
    {"search-delay", "MS", "time that an operator search takes (500)", &kDelay, &g_settings.search_ms},
    {"sim", "STATE", "ready, pin, puk or absent at the start (ready)", &kSim, &g_settings.sim},
    {"pin", "DIGITS", "the SIM's PIN (1234)", &kPin, g_settings.pin},
    {"puk", "DIGITS", "the SIM's PUK (12345678)", &kPuk, g_settings.puk},
    {"imsi", "DIGITS", "the SIM's IMSI (001010123456789)", &kIdentity, g_settings.imsi},
    {"imei", "DIGITS", "the modem's IMEI (490154203237518)", &kIdentity, g_settings.imei},
    {"fault", "REQUEST=FAULT", "fault of a request, or of all; can be repeated", &kFaultRule,
     &g_settings.faults},
    {"control", "PATH", "the control socket (/tmp/wansim.control; SMS store: wansim-sms.control)",
     &kControlPath, g_settings.control},
    {"script", "FILE", "what happens by itself, by the seconds from the start", &kFilePath,
     g_settings.script},
    {"board", nullptr, "make the link's interface and the LEDs' files too", &kSwitch,
     &g_settings.board},
    {"requests", nullptr, "list the requests and end", &kSwitch, &g_settings.list_requests},
    {"sms-store", nullptr, "stand in for the SMS store instead", &kSwitch, &g_settings.sms_store},
    {"messages", "N", "messages in the SMS store at the start (3)", &kMessages, &g_settings.messages},
    {"quiet", nullptr, "print nothing but errors", &kSwitch, &g_settings.quiet},
    {},
};

sigset_t signal_set(std::initializer_list<int> numbers)
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : numbers) {
        sigaddset(&signals, number);
    }
    return signals;
}

// Passes the worker's alarms on until a signal asks for the end.
bool await_end(Controls &controls)
{
    for (;;) {
        if (await_signal(controls) != SIGALRM) {
            announce_end();
            return post(kMsgEnd);
        }
        if (!post(kMsgAlarm)) {
            note("out of memory: the link's alarm is lost");
        }
    }
}

// Without a limit a subscriber that does not read would block the worker.
bool join_within(pthread_t thread, time_t seconds)
{
    timespec deadline;
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += seconds;
    return pthread_timedjoin_np(thread, nullptr, &deadline) == 0;
}

int run_worker(Controls &controls)
{
    pthread_t worker;
    const int error = lc_pthread_create(&worker, nullptr, serve, &g_settings);
    if (error != 0) {
        return fail(kFailed, "cannot start the worker: %s", strerror(error));
    }
    if (!await_end(controls)) {
        return fail(kFailed, "out of memory: cannot end in order");
    }
    if (!join_within(worker, kGraceSeconds)) {
        return fail(kFailed, "ended out of order: a subscriber does not read its events");
    }
    return kDone;
}

int open_board(Board &board)
{
    if (!g_settings.board) {
        return kDone;
    }
    return g_settings.sms_store
               ? fail(kUsage, "--board goes with the WAN manager, not with --sms-store")
               : board.open(g_settings.link.interface_name);
}

int run(char *const *)
{
    if (g_settings.list_requests) {
        list_requests();
        return kDone;
    }
    if (g_settings.quiet && freopen("/dev/null", "w", stdout) == nullptr) {
        return fail(kFailed, "cannot open /dev/null");
    }
    // Blocked before any thread starts, so that only the main thread takes them.
    const sigset_t awaited = signal_set({SIGINT, SIGTERM, SIGALRM});
    pthread_sigmask(SIG_BLOCK, &awaited, nullptr);
    log_init(kLogModule);

    Controls controls(awaited);
    if (const int code = check_script(controls, g_settings); code != kDone) {
        return code;
    }
    Board board;
    if (const int code = open_board(board); code != kDone) {
        return code;
    }
    const uint32_t module_id = module_of(g_settings);
    const ipc_addr address = module_address(module_id);
    const std::string_view name = socket_name(address);
    const uint32_t opened = open_mailbox(module_id);
    if (opened != IPC_SUCCESS) {
        return fail(kFailed, "cannot listen at %.*s (code %u): end the one that is running first",
                    static_cast<int>(name.size()), name.data(), opened);
    }
    if (const int code = open_controls(controls, g_settings); code != kDone) {
        close_mailbox();
        return code;
    }
    const int code = run_worker(controls);
    if (code == kDone) {
        close_mailbox();
        Record().word("event", "ended");
    }
    return code;
}

constexpr auto kFaultHelp = tell_faults(
    "Stands in for the WAN manager of an LTE router: answers its clients, connects when asked,\n"
    "publishes link and interface events. SIGINT or SIGTERM ends it.\n"
    "Faults: ",
    ". A late answer holds up every other.\n"
    "Controls (ltectl sim), one after its time in seconds a line of a script:\n");

constexpr Text<768> kHelp = [] {
    Text<768> help;
    help.add(kFaultHelp.text());
    tell_controls(help, kManagerSim);
    return help.add(".");
}();

constexpr Command kRoot = {
    .name = "wansim",
    .help = kHelp.text(),
    .run = run,
    .options = kOptions,
};

} // namespace
} // namespace lterouter::tools

int main(int argc, char **argv)
{
    using namespace lterouter::tools;
    g_program.prefixes_text = true;
    return run_program(kRoot, argc, argv);
}
