// nv verify: looks for damage that start-up would repair, and that it cannot repair. Changes nothing.

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

// error: of reading, as an errno value.
void add_reason(Record &record, int error)
{
    if (error != 0 && error != ENOENT) {
        record.field("reason", strerror(error));
    }
}

void report(const char *name, const char *copy, const char *problem, int error = 0)
{
    ++g_problems;
    Record record;
    record.event("problem").word("name", name).word("copy", copy).word("problem", problem);
    add_reason(record, error);
}

void report_line(const char *problem, uint32_t line)
{
    ++g_problems;
    Record()
        .event("problem")
        .word("file", NVM_DEFAULTS_FILE)
        .word("problem", problem)
        .number("line", line);
}

void report_path(const char *path, int error)
{
    ++g_problems;
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
[[gnu::noinline]] bool is_first(const ParameterFile &declared)
{
    ParameterFile defaults(NVM_DEFAULTS_FILE);
    defaults.find(declared.name());
    return defaults.line() == declared.line();
}

void verify_declared(const ParameterFile &declared)
{
    if (!is_first(declared)) {
        report_line("declared-again", declared.line());
        return;
    }
    ++g_declared;
    verify_copies(declared.name());
}

void verify_defaults()
{
    ParameterFile defaults(NVM_DEFAULTS_FILE);
    Line line;
    while ((line = defaults.next()) == Line::kParameter) {
        verify_declared(defaults);
    }
    if (defaults.error() != 0) {
        report_path(NVM_DEFAULTS_FILE, defaults.error());
    } else if (line == Line::kBad) {
        report_line("malformed", defaults.line());
    }
}

// The declarations behind a malformed line are not known.
[[gnu::noinline]] bool is_undeclared(const char *name)
{
    return ParameterFile(NVM_DEFAULTS_FILE).find(name) == Line::kEnd;
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

} // namespace

int nv_verify(char *const *)
{
    if (const int code = check_rights(); code != kDone) {
        return code;
    }
    verify_defaults();
    verify_directory(kCurrent);
    verify_directory(kBackup);
    if (g_problems != 0) {
        return fail(kFailed, "problems in the store: %u", g_problems);
    }
    Record().event("store").text("store").word("store", "sound").number("parameters", g_declared);
    return kDone;
}

} // namespace lterouter::tools
