// A file for what the library takes by its path and what has none that it could read twice: a pipe, a
// terminal, standard input. It has no name and is gone with the process.
#pragma once

#include "support/fd.h"

#include <cstddef>

namespace lterouter::tools {

class ScratchFile {
public:
    ScratchFile();

    // Each returns kDone, or the exit code after saying what is wrong.
    int made() const;
    // Takes in everything that comes from a descriptor. shown: what that is called.
    int fill(int from, const char *shown) const;
    // Writes everything to a descriptor.
    int empty_into(int to, const char *shown) const;

    const char *path() const { return path_; }

private:
    Fd fd_;
    const int error_; // why there is none, as an errno value
    char path_[32];
};

} // namespace lterouter::tools
