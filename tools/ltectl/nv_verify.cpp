// nv verify: looks for damage that start-up would repair, and that it cannot repair. Changes nothing.

#include "ltectl/nv_verify.h"
#include "common/program.h"
#include "common/record.h"
#include "ltectl/commands.h"
#include "ltectl/nv_file.h"
#include "ltectl/nv_store.h"

#include <cerrno>
#include <cstring>

namespace lterouter::tools {
namespace {

uint32_t g_declared = 0;
uint32_t g_problems = 0;
bool g_tell = true;

// Whether it is to be told, too.
bool count_problem()
{
    ++g_problems;
    return g_tell;
}

// error: of reading, as an errno value.
void add_reason(Record &record, int error)
{
    if (error != 0 && error != ENOENT) {
        record.field("reason", strerror(error));
    }
}

void report(const char *name, const char *copy, const char *problem, int error = 0)
{
    if (!count_problem()) {
        return;
    }
    Record record;
    record.event("problem").word("name", name).word("copy", copy).word("problem", problem);
    add_reason(record, error);
}

// position: after the line.
void report_line(const char *problem, long position)
{
    if (!count_problem()) {
        return;
    }
    Record()
        .event("problem")
        .word("file", NVM_DEFAULTS_FILE)
        .word("problem", problem)
        .number("line", line_at(NVM_DEFAULTS_FILE, position));
}

void report_path(const char *path, int error)
{
    if (!count_problem()) {
        return;
    }
    Record record;
    record.event("problem")
        .word("file", path)
        .word("problem", error == ENOENT ? "missing" : "unreadable");
    add_reason(record, error);
}

void report_copy(const char *name, const CopyPlace &place, const Copy &copy)
{
    if (copy.problem != nullptr) {
        report(name, place.name, copy.problem, copy.error);
    }
}

// The following functions are not inlined, since each has a copy or a file on its stack.

[[gnu::noinline]] void verify_backup(const char *name, const Copy &current)
{
    const Copy backup(kBackup, name);
    report_copy(name, kBackup, backup);
    if (current.usable && backup.usable && strcmp(current.value, backup.value) != 0) {
        report(name, "both", "differ");
    }
}

[[gnu::noinline]] void verify_copies(const char *name)
{
    const Copy current(kCurrent, name);
    report_copy(name, kCurrent, current);
    verify_backup(name, current);
}

// Only the first declaration of a name counts.
[[gnu::noinline]] bool is_first(const char *name, long position)
{
    Declaration first;
    return first.find(name) == NV_SUCCESS && first.file.position() == position;
}

void verify_declared(const char *name, long position)
{
    if (!is_first(name, position)) {
        report_line("declared-again", position);
        return;
    }
    ++g_declared;
    verify_copies(name);
}

void verify_defaults()
{
    ParameterFile defaults(NVM_DEFAULTS_FILE);
    const NvLine line = each_parameter(defaults, [&](const NvParameter &declared) {
        verify_declared(declared.name, defaults.position());
        return true;
    });
    if (const int error = defaults.error(); error != 0) {
        report_path(NVM_DEFAULTS_FILE, error);
    } else if (line == NvLine::kMalformed) {
        report_line("malformed", defaults.position());
    }
}

// The declarations after a malformed line are not known.
[[gnu::noinline]] bool is_undeclared(const char *name)
{
    Declaration declaration;
    return declaration.find(name) == NV_ERR_NAME;
}

void verify_directory(const CopyPlace &place)
{
    const Names names(place.directory);
    if (names.error() != 0) {
        report_path(place.directory, names.error());
    }
    for (int i = 0; i < names.count(); ++i) {
        if (is_undeclared(names[i])) {
            report(names[i], place.name, "undeclared");
        }
    }
}

void verify()
{
    verify_defaults();
    verify_directory(kCurrent);
    verify_directory(kBackup);
}

} // namespace

StoreHealth examine_store()
{
    g_tell = false;
    verify();
    return {g_declared, g_problems};
}

int nv_verify(char *const *)
{
    if (const int code = check_rights(); code != kDone) {
        return code;
    }
    verify();
    if (g_problems != 0) {
        return fail(kFailed, "problems in the store: %u", g_problems);
    }
    Record().event("store").text("store").word("store", "sound").number("parameters", g_declared);
    return kDone;
}

} // namespace lterouter::tools
