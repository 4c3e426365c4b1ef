// nv: the persistent parameters, one by one and as a whole. They need no WAN manager.

#include "common/completion.h"
#include "common/program.h"
#include "common/record.h"
#include "ltectl/commands.h"
#include "ltectl/deadline.h"
#include "ltectl/nv_file.h"
#include "ltectl/nv_secret.h"
#include "ltectl/nv_store.h"
#include "ltectl/secret.h"
#include "ltectl/storage.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>

namespace lterouter::tools {
namespace {

bool g_yes = false;

bool is_directory(const char *path)
{
    struct stat status;
    return stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

// ---- Start and end ----

int explain_init(bool marked, int error)
{
    if (marked) {
        return cannot("remove", NVM_SHUTDOWN_MARKER, error);
    }
    ParameterFile defaults(NVM_DEFAULTS_FILE);
    if (each_parameter(defaults, [](const NvParameter &) { return true; }) != NvLine::kEnd) {
        return complain(defaults, kDefaultsFile, "", "; the repair ends there");
    }
    return cannot("make", NVM_CURRENT_DIR " and " NVM_BACKUP_DIR, error);
}

// Not inlined, since each copy needs much stack.
[[gnu::noinline]] int check_copies_readable(const char *name)
{
    for (const CopyPlace *place = kCopyPlaces; place->name != nullptr; ++place) {
        const Copy copy(*place, name);
        if (copy.error == EACCES) {
            return copy.complain();
        }
    }
    return kDone;
}

// The repair treats a copy that it may not read as missing, and would overwrite the other with the
// default.
int check_copies_readable()
{
    ParameterFile defaults(NVM_DEFAULTS_FILE);
    int code = kDone;
    each_parameter(defaults, [&](const NvParameter &declared) {
        code = check_copies_readable(declared.name);
        return code == kDone;
    });
    return code;
}

uint32_t open_store()
{
    unknown_if_ended(
        "how far the repair has come is not known; the next ltectl nv init begins it again");
    const Waiting waiting(kStoreWait);
    return nvm_init();
}

bool is_opened() { return is_directory(NVM_CURRENT_DIR) && is_directory(NVM_BACKUP_DIR); }

// The parameters that lack a copy after the repair, and the first such copy.
uint32_t g_unrepaired = 0;
MissingValue g_missing;

int check_repaired(const NvParameter &declared)
{
    StoredValue value;
    if (is_unstorable(declared.name)) {
        return kDone;
    }
    if (const int code = value.read(declared); code != kDone) {
        return code;
    }
    for (const CopyPlace *place = kCopyPlaces; place->name != nullptr; ++place) {
        MissingValue missing;
        if (missing.found(*place, declared.name, value.text)) {
            g_missing = g_unrepaired == 0 ? missing : g_missing;
            ++g_unrepaired;
            break;
        }
    }
    return kDone;
}

int check_repair()
{
    const int code = each_declared(check_repaired);
    if (g_unrepaired == 0) {
        return code;
    }
    g_missing.complain();
    return fail(kFailed, "the store is not ready: parameters without two copies: %u", g_unrepaired);
}

// ---- Showing ----

// As text SOURCE, to be followed by the parameter.
void add_source(Record &record, const StoredValue &value) { record.word("source", value.source); }

int list_declared(const NvParameter &declared)
{
    StoredValue value;
    if (const int code = value.read(declared); code != kDone) {
        return code;
    }
    Record record;
    record.event("parameter");
    add_source(record, value);
    char bits[9];
    snprintf(bits, sizeof(bits), "%x", static_cast<unsigned>(declared.bits));
    record.number("bits", declared.bits, bits);
    add_parameter(record, declared.name, Shown(declared.bits, value.text).text);
    return kDone;
}

int diff_declared(const NvParameter &declared)
{
    StoredValue value;
    const int code = value.read(declared);
    if (code == kDone && strcmp(value.text, declared.value) != 0) {
        Record record;
        record.event("difference");
        add_source(record, value);
        add_change(record, declared.name, {"default", Shown(declared.bits, declared.value).text},
                   {"value", Shown(declared.bits, value.text).text});
    }
    return code;
}

int set(const char *name, const char *value, uint32_t bits)
{
    if (strchr(value, '\n') != nullptr) {
        return fail(kFailed, "the value of \"%s\" has a line feed in it and could not be exported",
                    name);
    }
    const int code = check_rights();
    return code == kDone ? set_parameter(kPersistentStore, name, value, Shown(bits, value).text) : code;
}

int show_each(int (*show)(const NvParameter &declared))
{
    const int code = check_rights();
    return code == kDone ? each_declared(show) : code;
}

} // namespace

const Option kNvShowOptions[] = {kShowSecretsOption, kLockTimeoutOption, {}};

const Option kNvClearOptions[] = {
    {"yes", nullptr, "needed: what is stored is lost", &kSwitch, &g_yes},
    kLockTimeoutOption,
    {},
};

int nv_init(char *const *)
{
    bool marked = is_directory(NVM_SHUTDOWN_MARKER);
    if (const int code = check_rights(); code != kDone) {
        return code;
    }
    if (const int code = check_copies_readable(); code != kDone) {
        return code;
    }
    uint32_t result = open_store();
    if (result == NV_SUCCESS && marked && !is_opened()) {
        // A marker of a store that was never opened must not suppress the repair.
        marked = false;
        result = open_store();
    }
    if (result != NV_SUCCESS) {
        return explain_init(marked, errno);
    }
    for (const CopyPlace *place = kCopyPlaces; place->name != nullptr; ++place) {
        if (!is_directory(place->directory)) {
            return fail(kFailed, "%s is not there or no directory", place->directory);
        }
    }
    if (const int code = marked ? kDone : check_repair(); code != kDone) {
        return code;
    }
    Record()
        .event("store")
        .text("store")
        .word("store", "ready")
        .field("repair", marked ? "skipped" : "done");
    return kDone;
}

int nv_fin(char *const *)
{
    if (const int code = check_rights(); code != kDone) {
        return code;
    }
    if (!is_opened()) {
        return fail(kFailed, "the store was never opened; ltectl nv init opens it");
    }
    if (nvm_fin() != NV_SUCCESS) {
        return cannot("make", NVM_SHUTDOWN_MARKER, errno);
    }
    // nvm_fin accepts any existing name, but nvm_init then fails to remove a marker that is no
    // directory.
    if (!is_directory(NVM_SHUTDOWN_MARKER)) {
        return fail(kFailed, "%s is no directory, so the next nv init repairs", NVM_SHUTDOWN_MARKER);
    }
    Record().event("store").text("store").word("store", "closed");
    return kDone;
}

int nv_get(char *const *operands)
{
    const char *const name = operands[0];
    if (const int code = check_rights(); code != kDone) {
        return code;
    }
    StoredValue value;
    if (const int code = find_parameter(kPersistentStore, name, value.text); code != kDone) {
        return code;
    }
    if (const int code = value.read(name); code != kDone) {
        return code;
    }
    if (g_program.json) {
        Record record;
        record.event("parameter");
        add_source(record, value);
        add_parameter(record, name, value.text);
        return kDone;
    }
    if (!value.is_from(kCurrent)) {
        note("\"%s\" has no current copy: this is its %s", name,
             value.is_from(kBackup) ? "backup copy" : "default");
    }
    show_value(value.text);
    return kDone;
}

int nv_set(char *const *operands)
{
    const uint32_t bits = declared_bits(operands[0]);
    TypedText<kValueSize - 1> value;
    const bool echo = (bits & kSecretBit) == 0;
    if (const int code = parse_secret("VALUE", operands[1], value.kType, &value, echo); code != kDone) {
        return code;
    }
    // The deadline does not count while the user types.
    return run_until(g_timeout_seconds, [&] { return set(operands[0], value.text, bits); });
}

void offer_nv_name(Offer &offer, const char *const *before)
{
    if (before[0] == nullptr) {
        ParameterFile defaults(NVM_DEFAULTS_FILE);
        each_parameter(defaults, [&](const NvParameter &declared) {
            offer.add(declared.name);
            return true;
        });
    }
}

int nv_list(char *const *) { return show_each(list_declared); }

int nv_diff(char *const *) { return show_each(diff_declared); }

int nv_clear(char *const *)
{
    if (!g_yes) {
        return fail(kUsage, "nv clear removes every stored value; with --yes it does");
    }
    if (const int code = check_rights(); code != kDone) {
        return code;
    }
    return clear_parameters(kPersistentStore);
}

} // namespace lterouter::tools
