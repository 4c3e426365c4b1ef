// A file of parameter lines, read line by line as the library reads it, for what the library does not
// tell: which line is malformed, and which bits a parameter is declared with.
#pragma once

#include "lc_nv.h"

#include <cstdio>

namespace lterouter::tools {

enum class Line {
    kParameter,
    kEnd,
    kBad, // malformed, or the file cannot be read
};

class ParameterFile {
public:
    // shown: what the file is called in messages; the path itself if it is not given.
    explicit ParameterFile(const char *path, const char *shown = nullptr);
    ~ParameterFile();
    ParameterFile(const ParameterFile &) = delete;
    ParameterFile &operator=(const ParameterFile &) = delete;

    // Whether the file begins with the checksum of what follows it; if so, the first line is next.
    bool checksum_matches();
    // Goes back to the first line behind the checksum.
    void rewind_to_lines();

    // The next parameter; comments and empty lines are passed over.
    Line next();
    // Searches on for a parameter of this name.
    Line find(const char *name);

    // Of the last parameter, up to the next call.
    const char *name() const { return name_; }
    uint32_t bits() const { return bits_; }
    const char *value() const { return value_; }

    // The number of the last line, from 1.
    uint32_t line() const { return line_; }
    // Why the file cannot be read, as an errno value; 0 when it can.
    int error() const { return error_; }
    // Prints what is wrong with the file between two other pieces of the sentence; returns kFailed.
    int complain(const char *before, const char *after) const;

private:
    bool read_line();

    const char *const shown_;
    FILE *const file_;
    int error_;
    uint32_t line_ = 0;
    bool line_ended_ = true;
    char *name_ = nullptr;
    uint32_t bits_ = 0;
    char *value_ = nullptr;
    char text_[NV_LINE_SIZE];
};

// Shows every declared parameter to visit, in the order of the defaults file. A file that is missing or
// malformed is complained about. Returns kDone when every visit does and the file is whole.
int each_declared(int (*visit)(const ParameterFile &declared));

} // namespace lterouter::tools
