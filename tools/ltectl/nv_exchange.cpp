// nv export, import and reset: parameters in files.

#include "common/program.h"
#include "common/record.h"
#include "ltectl/commands.h"
#include "ltectl/deadline.h"
#include "ltectl/nv_file.h"
#include "ltectl/nv_import.h"
#include "ltectl/nv_secret.h"
#include "ltectl/nv_store.h"
#include "ltectl/replacement.h"
#include "ltectl/scratch_file.h"
#include "ltectl/storage.h"
#include "ltectl/whole_file.h"
#include "support/fd.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

uint32_t g_mask = UINT32_MAX;
bool g_no_checksum = false;
bool g_identity = false;
bool g_dry_run = false;

constexpr ValueType kMask = {"a hexadecimal mask of at most 32 bits",
                             [](const char *text, void *target) {
                                 char *end = nullptr;
                                 errno = 0;
                                 const unsigned long mask = strtoul(text, &end, 16);
                                 if (isxdigit(static_cast<unsigned char>(*text)) == 0 || *end != '\0' ||
                                     errno != 0 || mask > UINT32_MAX) {
                                     return false;
                                 }
                                 *static_cast<uint32_t *>(target) = static_cast<uint32_t>(mask);
                                 return true;
                             }};

constexpr Option kMaskOption = {"mask", "M", "only parameters with an attribute bit of M (ffffffff)",
                                &kMask, &g_mask};
constexpr Option kDryRunOption = {"dry-run", nullptr, "only tell line by line what would be done",
                                  &kSwitch, &g_dry_run};

// ---- Export ----

bool same_file(const char *path, const char *other)
{
    struct stat status[2];
    return stat(path, &status[0]) == 0 && stat(other, &status[1]) == 0 &&
           status[0].st_dev == status[1].st_dev && status[0].st_ino == status[1].st_ino;
}

// The exported values, counted by source.
struct Selected {
    uint32_t count = 0;
    uint32_t current = 0;
    uint32_t backup = 0;
    uint32_t by_default = 0;
};
Selected g_selected;

int count_selected(const NvParameter &declared)
{
    if ((declared.bits & g_mask) == 0) {
        return kDone;
    }
    StoredValue value;
    const int code = value.read(declared);
    if (code == kDone) {
        ++g_selected.count;
        ++(value.is_from(kCurrent)  ? g_selected.current
           : value.is_from(kBackup) ? g_selected.backup
                                    : g_selected.by_default);
    }
    return code;
}

// Whether a file holds as many lines as were selected, all complete.
bool holds_selected(const char *path)
{
    ParameterFile file(path);
    if (!file || (!g_no_checksum && !file.checksum_matches())) {
        return false;
    }
    uint32_t count = 0;
    const NvLine line = each_parameter(file, [&](const NvParameter &) {
        ++count;
        return true;
    });
    return line == NvLine::kEnd && count == g_selected.count;
}

int write_export(const ScratchFile &content, const char *path)
{
    if (strcmp(path, kStandardStream) == 0) {
        return content.empty_into(STDOUT_FILENO, "standard output");
    }
    return replace_file(content, path, {.content = "the export", .or_in_place = true});
}

// ---- Import ----

uint32_t export_to(const ScratchFile &content)
{
    const Waiting waiting(kStoreWait);
    return nvm_export(content.path(), g_mask, !g_no_checksum);
}

uint32_t import_file(const ImportRequest &request)
{
    return nvm_import(request.path, request.mask, request.checksum, request.identity);
}

uint32_t reset(const ImportRequest &) { return nvm_routerreset(); }

uint32_t apply(uint32_t (*import)(const ImportRequest &), const ImportRequest &request)
{
    unknown_if_ended("what has been stored is not known; the same command with --dry-run shows it");
    const Waiting waiting(kStoreWait);
    return import(request);
}

int import_by(uint32_t (*import)(const ImportRequest &), const ImportRequest &request)
{
    if (const int code = check_directories(); code != kDone) {
        return code;
    }
    // nvm_import would print a message of its own.
    if (const ParameterFile file(request.path); !file) {
        return complain(file, {request.path, request.shown}, "", "");
    }
    if (g_dry_run) {
        return preview_import(request);
    }
    const uint32_t result = apply(import, request);
    const int code = report_import(request);
    return code == kDone && result != NV_SUCCESS
               ? fail(kFailed, "%s has changed while it was read", request.shown)
               : code;
}

} // namespace

const Option kNvExportOptions[] = {
    kMaskOption,
    {"no-checksum", nullptr, "write no checksum line", &kSwitch, &g_no_checksum},
    kLockTimeoutOption,
    {},
};

const Option kNvImportOptions[] = {
    kMaskOption,
    {"identity", nullptr, "only a file that is for this router", &kSwitch, &g_identity},
    {"no-checksum", nullptr, "the file has no checksum line", &kSwitch, &g_no_checksum},
    kDryRunOption,
    kShowSecretsOption,
    kLockTimeoutOption,
    {},
};

const Option kNvResetOptions[] = {kDryRunOption, kShowSecretsOption, kLockTimeoutOption, {}};

int nv_export(char *const *operands)
{
    const char *path = operands[0];
    if (same_file(path, NVM_DEFAULTS_FILE)) {
        return fail(kFailed, "%s declares the parameters and is not to be overwritten", path);
    }
    if (const int code = check_rights(); code != kDone) {
        return code;
    }
    if (const int code = each_declared(count_selected); code != kDone) {
        return code;
    }
    // nvm_export does not report a full partition, and cannot write a checksum to a pipe.
    const ScratchFile content;
    if (const int code = content.made(); code != kDone) {
        return code;
    }
    if (export_to(content) != NV_SUCCESS) {
        return fail(kFailed, "cannot make the export: %s", strerror(errno));
    }
    if (!holds_selected(content.path())) {
        return fail(kFailed, "an export would be no good for an import: a value has a line feed in it");
    }
    if (const int code = write_export(content, path); code != kDone) {
        return code;
    }
    const bool to_file = strcmp(path, kStandardStream) != 0;
    if (to_file) {
        Record()
            .event("exported")
            .word("file", path)
            .number("parameters", g_selected.count)
            .number("current", g_selected.current)
            .number("backup", g_selected.backup)
            .number("default", g_selected.by_default);
    } else if (g_selected.current != g_selected.count) {
        note("exported without a current copy: %u from the backup, %u defaults", g_selected.backup,
             g_selected.by_default);
    }
    return kDone;
}

int nv_import(char *const *operands)
{
    const bool standard = strcmp(operands[0], kStandardStream) == 0;
    const char *const shown = standard ? "standard input" : operands[0];
    ImportRequest request = {"import", operands[0], shown, g_mask, !g_no_checksum, g_identity};
    if (!standard && !is_stream(request.path)) {
        return import_by(import_file, request);
    }
    // The file is read more than once.
    const ScratchFile content;
    if (const int code = content.made(); code != kDone) {
        return code;
    }
    const Fd opened{standard ? -1 : open(request.path, O_RDONLY | O_CLOEXEC)};
    if (!standard && !opened) {
        return cannot("read", request.path, errno);
    }
    const int filled = content.fill(standard ? STDIN_FILENO : opened.get(), shown);
    request.path = content.path();
    return filled == kDone ? import_by(import_file, request) : filled;
}

int nv_reset(char *const *)
{
    return import_by(reset,
                     {"reset", NVM_DEFAULTS_FILE, NVM_DEFAULTS_FILE, NV_ATTR_RESET, false, false});
}

} // namespace lterouter::tools
