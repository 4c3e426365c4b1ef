// nv: the persistent parameters, one by one and as a whole. They need no WAN manager.

#include "common/program.h"
#include "common/record.h"
#include "ltectl/commands.h"
#include "ltectl/nv_file.h"
#include "ltectl/nv_store.h"

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

int explain_init(bool marked, int error)
{
    if (marked) {
        return fail(kFailed, "cannot remove %s: %s", NVM_SHUTDOWN_MARKER, strerror(error));
    }
    ParameterFile defaults(NVM_DEFAULTS_FILE);
    Line line;
    while ((line = defaults.next()) == Line::kParameter) {
    }
    if (line == Line::kBad) {
        return defaults.complain("", "; the repair ends there");
    }
    return fail(kFailed, "cannot make %s and %s: %s", NVM_CURRENT_DIR, NVM_BACKUP_DIR, strerror(error));
}

void list_value(const ParameterFile &declared, const char *source, const char *value)
{
    char bits[9];
    snprintf(bits, sizeof(bits), "%x", static_cast<unsigned>(declared.bits()));
    Record record;
    record.word("source", source).field("bits", bits);
    add_parameter(record, declared.name(), value);
}

void list_declared(const ParameterFile &declared)
{
    for (const CopyPlace &place : kCopyPlaces) {
        const Copy copy(place, declared.name());
        if (copy.usable) {
            return list_value(declared, place.name, copy.value);
        }
    }
    list_value(declared, "default", declared.value());
}

void diff_declared(const ParameterFile &declared)
{
    char value[kValueSize];
    if (nvm_readnv(declared.name(), value, sizeof(value)) == NV_SUCCESS &&
        strcmp(value, declared.value()) != 0) {
        Record record;
        add_change(record, declared.name(), {"default", declared.value()}, {"value", value});
    }
}

} // namespace

const Option kNvClearOptions[] = {
    {"yes", nullptr, "needed: what is stored is lost", &kSwitch, &g_yes},
    {},
};

int nv_init(char *const *)
{
    const bool marked = is_directory(NVM_SHUTDOWN_MARKER);
    if (nvm_init() != NV_SUCCESS) {
        return explain_init(marked, errno);
    }
    if (const char *directory = missing_directory()) {
        return fail(kFailed, "%s is not there or no directory", directory);
    }
    Record().text("store").word("store", "ready").field("repair", marked ? "skipped" : "done");
    return kDone;
}

int nv_fin(char *const *)
{
    if (nvm_fin() != NV_SUCCESS) {
        return fail(kFailed, "cannot make %s: %s", NVM_SHUTDOWN_MARKER, strerror(errno));
    }
    // The library is content with the name; the next start is not.
    if (!is_directory(NVM_SHUTDOWN_MARKER)) {
        return fail(kFailed, "%s is no directory, so the next nv init repairs", NVM_SHUTDOWN_MARKER);
    }
    Record().text("store").word("store", "closed");
    return kDone;
}

int nv_get(char *const *operands) { return get_parameter(kPersistentStore, operands[0]); }

int nv_set(char *const *operands)
{
    if (strchr(operands[1], '\n') != nullptr) {
        return fail(kFailed, "the value of \"%s\" has a line feed in it and could not be exported",
                    operands[0]);
    }
    return set_parameter(kPersistentStore, operands[0], operands[1]);
}

int nv_list(char *const *) { return each_declared(list_declared); }

int nv_diff(char *const *) { return each_declared(diff_declared); }

int nv_clear(char *const *)
{
    if (!g_yes) {
        return fail(kUsage, "nv clear removes every stored value; with --yes it does");
    }
    return clear_parameters(kPersistentStore);
}

} // namespace lterouter::tools
