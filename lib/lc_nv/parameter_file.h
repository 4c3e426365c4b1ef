// Reading a file of parameter lines "NAME=BITS=VALUE", which declares, exports or imports parameters.
#pragma once

#include "lc_file/stream.h"
#include "lc_nv.h"

#include <cerrno>
#include <cstdlib>

namespace lterouter {

// A number as strtoul takes it, which must end where the text ends.
inline bool nv_parse_hexadecimal(const char *text, const char *end, unsigned long *number)
{
    char *stop;
    errno = 0;
    *number = strtoul(text, &stop, 16);
    return stop == end && errno == 0;
}

// Points into the file's line buffer: valid until the next line is read.
struct NvParameter {
    char *name;
    uint32_t bits;
    char *value;
};

enum class NvLine { kParameter, kEnd, kMalformed };

class NvParameterFile {
public:
    // mode: as for fopen.
    explicit NvParameterFile(const char *path, const char *mode = "r")
        : stream_(lc_fopen(path, mode)), path_(path)
    {
    }

    // Whether the file could be opened.
    explicit operator bool() const { return static_cast<bool>(stream_); }

    // Where the last line ends, in bytes from the beginning.
    long position() const { return lc_ftell(stream_.get()); }
    // Asked for right after a call that failed: why the file cannot be opened or read, as an errno
    // value; 0 when it can.
    int error() const;

    // Whether the file begins with the checksum of what follows it; if so, the first line is next.
    bool checksum_matches();
    // Goes back to the first line after the checksum.
    bool rewind_to_lines();

    // The next parameter; comments and empty lines are passed over.
    NvLine next(NvParameter *out);
    // Searches on for a parameter of this name. A malformed line before it ends the search.
    NvLine find(const char *name, NvParameter *out);

private:
    bool read_checksum(uint32_t *crc);

    Stream stream_;
    const char *const path_;
    uint32_t line_number_ = 0;
    char line_[NV_LINE_SIZE];
};

// The defaults file and one parameter that it declares.
struct NvDeclaration {
    explicit NvDeclaration(const char *mode = "r") : file(NVM_DEFAULTS_FILE, mode) {}

    NvParameterFile file;
    NvParameter parameter;

    // Returns 0, NV_ERR_NAME when the name is not declared, NV_ERR_SYSTEM when the file is missing or
    // malformed.
    uint32_t find(const char *name);
};

} // namespace lterouter
