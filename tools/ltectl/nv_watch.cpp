// nv watch: the persistent parameters as they change.

#include "common/completion.h"
#include "common/program.h"
#include "common/record.h"
#include "lc_nv/access.h"
#include "ltectl/array.h"
#include "ltectl/clock.h"
#include "ltectl/commands.h"
#include "ltectl/deadline.h"
#include "ltectl/events.h"
#include "ltectl/nv_file.h"
#include "ltectl/nv_secret.h"
#include "ltectl/nv_store.h"
#include "ltectl/store_watch.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace lterouter::tools {
namespace {

uint32_t g_count = 0; // 0: no limit

struct Watched {
    char name[kNvNameMax + 1];
    uint32_t bits;
    char *value;    // as a reader got it last; nullptr before the first time
    uint32_t round; // in which it was read, so that of two declarations the first counts
};

Array<Watched> g_watched;
bool g_named = false; // on the command line, and not all that are declared
uint32_t g_round = 0;
uint32_t g_printed = 0;
bool g_ended = false; // by a signal while the output could not be written
int g_code = kDone;   // of the first that could not be read

Watched *find(const char *name)
{
    for (Watched &watched : g_watched) {
        if (strcmp(watched.name, name) == 0) {
            return &watched;
        }
    }
    return nullptr;
}

void forget()
{
    for (const Watched &watched : g_watched) {
        free(watched.value);
    }
    g_watched.clear();
}

int out_of_memory() { return fail(kFailed, "out of memory"); }

int add(const char *name)
{
    Watched watched = {};
    snprintf(watched.name, sizeof(watched.name), "%s", name);
    return g_watched.add(watched) ? kDone : out_of_memory();
}

bool is_over() { return g_ended || output_error() != 0 || (g_count != 0 && g_printed == g_count); }

void print(const Watched &watched, const StoredValue &value)
{
    if (is_over()) {
        return;
    }
    if (!await_reader()) {
        g_ended = true;
        return;
    }
    ++g_printed;
    Record record;
    add_time(record, wall_clock_ms());
    record.event("change").word("source", value.source);
    add_change(record, watched.name, {"old", Shown(watched.bits, watched.value).text},
               {"new", Shown(watched.bits, value.text).text});
}

int compare(Watched &watched, const StoredValue &value)
{
    watched.round = g_round;
    if (watched.value != nullptr && strcmp(watched.value, value.text) == 0) {
        return kDone;
    }
    if (watched.value != nullptr) {
        print(watched, value);
    }
    free(watched.value);
    watched.value = strdup(value.text);
    return watched.value != nullptr ? kDone : out_of_memory();
}

// ---- Reading ----

bool is_there(const char *path) { return access(path, F_OK) == 0; }

// While the store is taken away, as for another one, there is nothing to be read.
bool is_readable(const char *name)
{
    return is_there(NVM_DEFAULTS_FILE) || is_there(CopyPath(kCurrent, name).text) ||
           is_there(CopyPath(kBackup, name).text);
}

int read(Watched &watched)
{
    if (!is_readable(watched.name)) {
        return kDone;
    }
    StoredValue value;
    const int code = value.read(watched.name);
    return code == kDone ? compare(watched, value) : code;
}

int read_declared(const NvParameter &declared)
{
    Watched *watched = find(declared.name);
    if (watched == nullptr && !g_named) {
        if (const int code = add(declared.name); code != kDone) {
            return code;
        }
        watched = find(declared.name);
    }
    if (watched == nullptr || watched->round == g_round) {
        return kDone;
    }
    watched->bits = declared.bits;
    StoredValue value;
    const int code = value.read(declared);
    return code == kDone ? compare(*watched, value) : code;
}

int read_everything(bool with_defaults)
{
    ++g_round;
    int code = with_defaults ? each_declared(read_declared) : kDone;
    for (Watched &watched : g_watched) {
        if (g_named && watched.round != g_round) { // not declared
            const int read_code = read(watched);
            code = code == kDone ? read_code : code;
        }
    }
    return code;
}

void remember(int code) { g_code = g_code == kDone ? code : g_code; }

// ---- The command ----

// As nv get checks it.
int add_named(const char *name)
{
    char value[kValueSize];
    const int code = find_parameter(kPersistentStore, name, value);
    return code != kDone || find(name) != nullptr ? code : add(name);
}

int begin(StoreWatch &watch, char *const *names)
{
    if (const int code = check_rights(); code != kDone) {
        return code;
    }
    g_named = *names != nullptr;
    for (; *names != nullptr; ++names) {
        if (const int code = add_named(*names); code != kDone) {
            return code;
        }
    }
    const int code = watch.begin();
    return code == kDone ? read_everything(!g_named || is_there(NVM_DEFAULTS_FILE)) : code;
}

int follow(StoreWatch &watch)
{
    while (!is_over()) {
        switch (watch.await()) {
        case StoreWatch::Told::kParameter:
            if (Watched *watched = find(watch.name()); watched != nullptr) {
                remember(read(*watched));
            }
            break;
        case StoreWatch::Told::kEverything:
            if (const int code = watch.begin(); code != kDone) {
                return code;
            }
            remember(read_everything(is_there(NVM_DEFAULTS_FILE)));
            break;
        case StoreWatch::Told::kSignal:
        case StoreWatch::Told::kReaderGone:
            return g_code;
        case StoreWatch::Told::kError:
            return fail(kFailed, "cannot wait for changes: %s", strerror(errno));
        }
    }
    return g_code;
}

} // namespace

const Option kNvWatchOptions[] = {
    {"count", "N", "end after N changes", &kCount, &g_count},
    kTimestampsOption,
    kShowSecretsOption,
    kLockTimeoutOption,
    {},
};

void offer_nv_names(Offer &offer, const char *const *)
{
    const char *const first[] = {nullptr};
    offer_nv_name(offer, first);
}

int nv_watch(char *const *operands)
{
    StoreWatch watch;
    const int result = run_until(g_timeout_seconds, [&] {
        if (const int code = begin(watch, operands); code != kDone) {
            return code;
        }
        run_until_signal_or_lock();
        // On standard error: output is one line for each change.
        note("waiting for changes; end with Ctrl-C");
        return follow(watch);
    });
    forget();
    return result;
}

} // namespace lterouter::tools
