// Export of parameters to a file, import, and the reset of the router's settings. The attribute bits in
// the defaults file select the parameters.

#include "lc_nv.h"

#include "lc_nv/import.h"
#include "lc_nv/store.h"
#include "lc_nv/transfer.h"
#include "support/fd.h"
#include "support/ignore.h"

#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lterouter {
namespace {

// ---- Export ----

void write_line(int fd, const char *text, size_t size)
{
    ignore(write(fd, text, size), "an export reports no failed write");
}

// Reads the text of a copy; false when it holds none.
bool read_copy(const char *path, char *text)
{
    const Fd file{open(path, O_RDONLY | O_CLOEXEC)};
    return file && nv_read_text(file.get(), text) > 0;
}

// Writes a parameter's line, with the value read from the copy into the line; updates the checksum.
// Not inlined: its line buffer would add to the caller's stack frame, which has one already, while the
// defaults are read.
[[gnu::noinline]] void export_parameter(int output, const NvParameter &parameter, uint32_t *crc)
{
    char line[NV_LINE_SIZE];
    char *const value = line + snprintf(line, sizeof(line), "%s=%lx=", parameter.name,
                                        static_cast<unsigned long>(parameter.bits));
    const NvCopies copies(parameter.name);
    if (!read_copy(copies.current.text, value) && !read_copy(copies.backup.text, value)) {
        strcpy(value, parameter.value);
    }
    char *const end = value + strlen(value);
    *end = '\n';
    const size_t size = static_cast<size_t>(end + 1 - line);
    if (crc != nullptr) {
        *crc = nv_crc32_update(*crc, line, size);
    }
    write_line(output, line, size);
}

// crc: NULL without a checksum line.
uint32_t export_parameters(int output, uint32_t mask, uint32_t *crc)
{
    NvParameterFile defaults(NVM_DEFAULTS_FILE);
    if (!defaults) {
        return NV_ERR_SYSTEM;
    }
    NvParameter parameter;
    NvLine line;
    while ((line = defaults.next(&parameter)) == NvLine::kParameter) {
        if ((parameter.bits & mask) != 0) {
            export_parameter(output, parameter, crc);
        }
    }
    return line == NvLine::kEnd ? NV_SUCCESS : NV_ERR_SYSTEM;
}

// ---- Import ----

struct Storing {
    using Result = uint32_t;
    using Declaration = NvDeclaration;

    static uint32_t wrong_checksum() { return NV_ERR_FILE; }
    static uint32_t no_identity(NvLine) { return NV_ERR_FILE; }
    static uint32_t malformed() { return NV_ERR_FILE; }
    static uint32_t no_defaults(const NvParameterFile &, bool) { return NV_ERR_SYSTEM; }
    static uint32_t compared(const NvParameter &, const NvParameter *) { return NV_SUCCESS; }
    static uint32_t found_identity() { return NV_SUCCESS; }
    static uint32_t undeclared(const NvParameter &) { return NV_SUCCESS; }
    static uint32_t masked(const NvParameter &, const NvParameter &) { return NV_SUCCESS; }
    static uint32_t apply(const NvParameter &parameter, const NvParameter &)
    {
        NvCopies(parameter.name).store(parameter.value, strlen(parameter.value) + 1);
        return NV_SUCCESS;
    }
};

} // namespace
} // namespace lterouter

using namespace lterouter;

uint32_t nvm_export(const char *path, uint32_t mask, int with_crc)
{
    if (path == nullptr) {
        return NV_ERR_FILE;
    }
    const Fd output{open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)};
    if (!output) {
        return NV_ERR_FILE;
    }
    if (with_crc == 0) {
        return export_parameters(output.get(), mask, nullptr);
    }
    // A placeholder that no import accepts, until the checksum is known.
    char checksum[NV_CHECKSUM_SIZE + 1];
    memset(checksum, 0xFF, sizeof(checksum));
    write_line(output.get(), checksum, NV_CHECKSUM_SIZE);
    uint32_t crc = 0;
    if (const uint32_t failure = export_parameters(output.get(), mask, &crc); failure != NV_SUCCESS) {
        return failure;
    }
    if (lseek(output.get(), 0, SEEK_SET) != 0) {
        return NV_ERR_FILE;
    }
    snprintf(checksum, sizeof(checksum), "%08X\n", static_cast<unsigned>(crc));
    write_line(output.get(), checksum, NV_CHECKSUM_SIZE);
    return NV_SUCCESS;
}

uint32_t nvm_import(const char *path, uint32_t mask, int has_crc, int check_identity)
{
    umask(0);
    if (path == nullptr) {
        return NV_ERR_FILE;
    }
    NvParameterFile input(path);
    if (!input) {
        perror("lc_fopen");
        return NV_ERR_FILE;
    }
    Storing storing;
    return NvImport(input, mask, storing).run(has_crc != 0, check_identity != 0);
}

uint32_t nvm_routerreset() { return nvm_import(NVM_DEFAULTS_FILE, NV_ATTR_RESET, 0, 0); }
