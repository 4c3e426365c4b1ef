// nv export, import and reset: parameters in files.

#include "common/program.h"
#include "common/record.h"
#include "ltectl/commands.h"
#include "ltectl/nv_file.h"
#include "ltectl/nv_import.h"
#include "ltectl/nv_store.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>

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

bool is_regular(const char *path)
{
    struct stat status;
    return stat(path, &status) == 0 && S_ISREG(status.st_mode);
}

uint32_t g_selected;

void count_selected(const ParameterFile &declared)
{
    g_selected += (declared.bits() & g_mask) != 0 ? 1 : 0;
}

// Whether a file holds as many lines as were selected, each of them whole.
bool holds_selected(const char *path)
{
    ParameterFile file(path);
    if (!g_no_checksum && !file.checksum_matches()) {
        return false;
    }
    uint32_t count = 0;
    Line line;
    while ((line = file.next()) == Line::kParameter) {
        ++count;
    }
    return line == Line::kEnd && count == g_selected;
}

// ---- Import ----

uint32_t import_file(const ImportRequest &request)
{
    return nvm_import(request.path, request.mask, request.checksum, request.identity);
}

uint32_t reset(const ImportRequest &) { return nvm_routerreset(); }

int import_by(uint32_t (*import)(const ImportRequest &), const ImportRequest &request)
{
    if (const char *directory = missing_directory()) {
        return fail(kFailed, "%s is not there; ltectl nv init makes it", directory);
    }
    // The library would print this in its own way.
    if (const ParameterFile file(request.path); file.error() != 0) {
        return file.complain("", "");
    }
    if (g_dry_run) {
        return preview_import(request);
    }
    const uint32_t result = import(request);
    const int code = report_import(request);
    return code == kDone && result != NV_SUCCESS
               ? fail(kFailed, "%s has changed while it was read", request.path)
               : code;
}

} // namespace

const Option kNvExportOptions[] = {
    kMaskOption,
    {"no-checksum", nullptr, "write no checksum line", &kSwitch, &g_no_checksum},
    {},
};

const Option kNvImportOptions[] = {
    kMaskOption,
    {"identity", nullptr, "only a file that is for this router", &kSwitch, &g_identity},
    {"no-checksum", nullptr, "the file has no checksum line", &kSwitch, &g_no_checksum},
    kDryRunOption,
    {},
};

const Option kNvResetOptions[] = {kDryRunOption, {}};

int nv_export(char *const *operands)
{
    const char *path = operands[0];
    if (same_file(path, NVM_DEFAULTS_FILE)) {
        return fail(kFailed, "%s declares the parameters and is not to be overwritten", path);
    }
    // Before the library empties the file.
    if (const int code = each_declared(count_selected); code != kDone) {
        return code;
    }
    if (nvm_export(path, g_mask, !g_no_checksum) != NV_SUCCESS) {
        return fail(kFailed, "cannot write %s: %s", path, strerror(errno));
    }
    // A terminal or a pipe cannot be read back.
    if (is_regular(path) && !holds_selected(path)) {
        return fail(kFailed,
                    "%s is no good for an import: a value has a line feed in it, or the disk is full",
                    path);
    }
    Record().word("file", path).number("parameters", g_selected);
    return kDone;
}

int nv_import(char *const *operands)
{
    return import_by(import_file, {"import", operands[0], g_mask, !g_no_checksum, g_identity});
}

int nv_reset(char *const *)
{
    return import_by(reset, {"reset", NVM_DEFAULTS_FILE, NV_ATTR_RESET, false, false});
}

} // namespace lterouter::tools
