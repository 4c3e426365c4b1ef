// wansim: stands in for the WAN manager and its modem, so that clients can be tried on any machine.
//
//   main      options, signals, start and end
//   mailbox   endpoint and queue
//   requests  the table of requests and the worker that serves them
//   modem     link, signal, notifications, parameters
//
// Threads: the library's receive thread fills the queue; one worker empties it and owns all state, so
// there is nothing to lock; the main thread turns signals into messages to the worker.

#include "common/command.h"
#include "common/program.h"
#include "common/wan_manager.h"
#include "lc_log.h"
#include "lc_pthread.h"
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

constexpr Option kOptions[] = {
    {"interface", "NAME", "interface of the link", &kInterfaceName, g_settings.link.interface_name},
    {"ip", "ADDRESS", "its address", &kIpv4Address, g_settings.link.ip},
    {"gateway", "ADDRESS", "its gateway", &kIpv4Address, g_settings.link.gateway},
    {"dns1", "ADDRESS", "first name server", &kIpv4Address, g_settings.link.dns1},
    {"dns2", "ADDRESS", "second name server", &kIpv4Address, g_settings.link.dns2},
    {"mask", "ADDRESS", "its network mask", &kIpv4Address, g_settings.link.mask},
    {"roaming", "on|off", "roaming switch at the start (off)", &kOnOff, &g_settings.roaming},
    {"delay", "MS", "time to connect in milliseconds (200)", &kDelay, &g_settings.delay_ms},
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
bool await_end(const sigset_t &awaited)
{
    for (;;) {
        int signal = 0;
        sigwait(&awaited, &signal);
        if (signal != SIGALRM) {
            return post(kMsgEnd);
        }
        if (!post(kMsgAlarm)) {
            note("out of memory: the link's alarm is lost");
        }
    }
}

// A subscriber that does not read holds the worker up for as long as it likes.
bool join_within(pthread_t thread, time_t seconds)
{
    timespec deadline;
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += seconds;
    return pthread_timedjoin_np(thread, nullptr, &deadline) == 0;
}

int run_worker(const sigset_t &awaited)
{
    pthread_t worker;
    const int error = lc_pthread_create(&worker, nullptr, serve, &g_settings);
    if (error != 0) {
        return fail(kFailed, "cannot start the worker: %s", strerror(error));
    }
    if (!await_end(awaited)) {
        return fail(kFailed, "out of memory: cannot end in order");
    }
    if (!join_within(worker, kGraceSeconds)) {
        return fail(kFailed, "ended out of order: a subscriber does not read its events");
    }
    return kDone;
}

int run(char *const *)
{
    if (g_settings.quiet && freopen("/dev/null", "w", stdout) == nullptr) {
        return fail(kFailed, "cannot open /dev/null");
    }
    // Before any thread starts, so that none of them takes what the main thread waits for.
    const sigset_t awaited = signal_set({SIGINT, SIGTERM, SIGALRM});
    pthread_sigmask(SIG_BLOCK, &awaited, nullptr);
    log_init(kLogModule);

    const ipc_addr address = wan_manager_address();
    const std::string_view name = socket_name(address);
    const uint32_t opened = open_mailbox();
    if (opened != IPC_SUCCESS) {
        return fail(kFailed,
                    "cannot listen at %.*s (code %u): end the WAN manager that is running first",
                    static_cast<int>(name.size()), name.data(), opened);
    }
    const int code = run_worker(awaited);
    if (code == kDone) {
        close_mailbox();
        Record().word("event", "ended");
    }
    return code;
}

constexpr Command kRoot = {
    .name = "wansim",
    .help =
        "Stands in for the WAN manager of an LTE router: answers its clients, connects when asked,\n"
        "publishes link and interface events. SIGINT or SIGTERM ends it.",
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
