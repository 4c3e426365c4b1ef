// Files of parameter lines, which the library's reader reads, and what ltectl tells about them.
#pragma once

#include "lc_nv/parameter_file.h"

namespace lterouter::tools {

// As the library opens them, but no program that this process starts gets them.
constexpr char kReadOnly[] = "re";

struct ParameterFile : NvParameterFile {
    explicit ParameterFile(const char *path) : NvParameterFile(path, kReadOnly) {}
};

struct Declaration : NvDeclaration {
    Declaration() : NvDeclaration(kReadOnly) {}
};

struct NamedFile {
    const char *path;
    const char *shown; // what it is called in messages
};

constexpr NamedFile kDefaultsFile = {NVM_DEFAULTS_FILE, NVM_DEFAULTS_FILE};

// The number, from 1, of the line that a file has been read to.
uint32_t line_at(const char *path, long position);

// Asked for right after a call that failed: prints what is wrong with the file between two other pieces
// of the sentence; returns kFailed.
int complain(const NvParameterFile &file, const NamedFile &named, const char *before,
             const char *after);

// Shows one parameter after the other to visit, as long as that wants to go on. kMalformed also for a
// file that is not open.
template <typename Visit> NvLine each_parameter(NvParameterFile &file, Visit visit)
{
    NvParameter parameter;
    NvLine line = NvLine::kMalformed;
    while (file && (line = file.next(&parameter)) == NvLine::kParameter && visit(parameter)) {
    }
    return line;
}

// Shows every declared parameter to visit, in the order of the defaults file. A file that is missing or
// malformed is complained about. Returns kDone when every visit does and the file is whole.
int each_declared(int (*visit)(const NvParameter &declared));

} // namespace lterouter::tools
