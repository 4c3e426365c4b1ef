// lteweb: a page for the router's WAN connection, and the JSON interface that it uses.
//
//   main        options and signals
//   settings    the kinds of values that they take
//   server      connections and the loop
//   service     what is done for a request, and the events
//   routes      what can be asked: a table, and the command lines of ltectl
//   guard       whether a request comes from a page of this server
//   session     logins
//   password    the password file
//   json_fields the body of a request
//   json_text   what is answered
//   child       runs of ltectl
//   jobs        long ones
//   image       an image on its way to the modem
//   events      streams of events
//   watcher     this process as a client of the library
//   history     signal and traffic of the last hour
//   trace       new lines of the trace file
//   page        the page
//
// Threads: everything happens in the main thread's loop but for the calls of the library, which may
// wait: they have a thread of their own and the library's receive thread, which tell by a pipe what
// they learn.

#include "common/command.h"
#include "common/program.h"
#include "lc_log.h"
#include "lteweb/password.h"
#include "lteweb/server.h"
#include "lteweb/settings.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <pthread.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

constexpr int32_t kLogModule = 3; // the WAN client's
constexpr uint32_t kDefaultImageMib = 64;
constexpr uint32_t kDefaultSampleSeconds = 10;

Settings g_settings = {.listen = {},
                       .hosts = {},
                       .interface_name = "wwan0",
                       .password_file = "/etc/lteweb.passwd",
                       .make_password = "",
                       .ltectl = "",
                       .image_folder = "/tmp",
                       .image_limit_mib = kDefaultImageMib,
                       .sample_seconds = kDefaultSampleSeconds};

constexpr ValueType kPath = {"a path of at most 255 characters", parse_path<kPathSize>};
constexpr ValueType kMebibytes = {"a number from 1 to 1024", parse_number_in<1, 1024>};
constexpr ValueType kSampleSeconds = {"a number of seconds from 1 to 3600", parse_number_in<1, 3600>};

constexpr Option kOptions[] = {
    {"listen", "ADDRESS:PORT", "where to listen (127.0.0.1:8080)", &kListen, &g_settings.listen},
    {"host", "NAME", "another name of this server; can be repeated", &kHost, &g_settings.hosts},
    {"password-file", "FILE", "the password's hash (/etc/lteweb.passwd)", &kPath,
     g_settings.password_file},
    {"make-password", "FILE", "ask for a password, write its hash to FILE and end", &kPath,
     g_settings.make_password},
    {"interface", "NAME", "the modem's interface (wwan0)", &kInterfaceName, g_settings.interface_name},
    {"sample", "SECONDS", "how often signal and traffic are noted (10)", &kSampleSeconds,
     &g_settings.sample_seconds},
    {"image-folder", "FOLDER", "where an image is kept during an upgrade (/tmp)", &kPath,
     g_settings.image_folder},
    {"image-limit", "MIB", "the largest image, in MiB (64)", &kMebibytes, &g_settings.image_limit_mib},
    {"ltectl", "FILE", "the ltectl that does the work (the one beside this program)", &kPath,
     g_settings.ltectl},
    {},
};

bool find_ltectl()
{
    constexpr char kName[] = "ltectl";
    char(&path)[kPathSize] = g_settings.ltectl;
    const ssize_t length = readlink("/proc/self/exe", path, sizeof(path) - 1);
    path[std::max<ssize_t>(length, 0)] = '\0';
    char *const slash = strrchr(path, '/');
    if (slash == nullptr || slash + 1 + sizeof(kName) > path + sizeof(path)) {
        return false;
    }
    memcpy(slash + 1, kName, sizeof(kName));
    return true;
}

int run(char *const *)
{
    if (g_settings.make_password[0] != '\0') {
        return make_password(g_settings.make_password);
    }
    if (g_settings.listen.length == 0) {
        kListen.parse("127.0.0.1:8080", &g_settings.listen);
    }
    if (g_settings.ltectl[0] == '\0' && !find_ltectl()) {
        return fail(kFailed, "cannot tell where ltectl is: --ltectl does");
    }
    // Blocked before any thread starts, so that only the main thread takes them.
    sigset_t awaited;
    sigemptyset(&awaited);
    for (const int number : {SIGINT, SIGTERM, SIGCHLD}) {
        sigaddset(&awaited, number);
    }
    pthread_sigmask(SIG_BLOCK, &awaited, nullptr);
    log_init(kLogModule);
    return serve(g_settings, awaited);
}

constexpr Command kRoot = {
    .name = "lteweb",
    .help = "Serves a page that shows and drives the WAN connection of an LTE router. Whoever can\n"
            "reach it may read; a change needs the password. SIGINT or SIGTERM ends it.",
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
