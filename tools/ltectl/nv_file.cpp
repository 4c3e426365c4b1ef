#include "ltectl/nv_file.h"

#include "common/program.h"
#include "ltectl/storage.h"

#include <cstring>

namespace lterouter::tools {

// By the line feeds before it: the reader has a line that is longer than its buffer in pieces.
uint32_t line_at(const char *path, long position)
{
    const Stream file{lc_fopen(path, "re")};
    uint32_t line = 0;
    int before = '\n';
    for (long i = 0; file && i < position && before != EOF; ++i) {
        line += before == '\n' ? 1 : 0;
        before = getc(file.get());
    }
    return line;
}

int complain(const NvParameterFile &file, const NamedFile &named, const char *before, const char *after)
{
    if (const int error = file.error(); error != 0) {
        return fail(kFailed, "%scannot read %s: %s%s%s", before, named.shown, strerror(error), after,
                    Remedy(named.shown, error).text);
    }
    return fail(kFailed, "%sline %u of %s is malformed%s", before, line_at(named.path, file.position()),
                named.shown, after);
}

int each_declared(int (*visit)(const NvParameter &declared))
{
    ParameterFile defaults(NVM_DEFAULTS_FILE);
    int code = kDone;
    const NvLine line = each_parameter(defaults, [&](const NvParameter &declared) {
        const int visited = visit(declared);
        code = code == kDone ? visited : code;
        return true;
    });
    return line == NvLine::kEnd ? code : complain(defaults, kDefaultsFile, "", "");
}

} // namespace lterouter::tools
