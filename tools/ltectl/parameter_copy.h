// The file that holds a parameter's value, looked at beyond what the library tells: it says neither
// where a value comes from nor whether one has arrived.
#pragma once

#include "lc_nv.h"

#include <cstddef>
#include <cstdint>

namespace lterouter::tools {

// Holds every value that can be read: the stores cut longer ones.
constexpr uint32_t kValueSize = NV_VALUE_MAX + 1;

struct CopyPlace {
    const char *name; // as the output calls it
    const char *directory;
};

struct CopyPath {
    CopyPath(const CopyPlace &place, const char *name);
    char text[sizeof(NVM_CURRENT_DIR) + 128];
};

// A parameter's file, read under the lock that its writers take.
struct Copy {
    Copy(const CopyPlace &place, const char *name);

    // Whether this is what readers get of it.
    bool holds(const char *text) const;
    // Prints that it cannot be read, and why; returns kFailed.
    int complain() const;

    const CopyPath path;
    // What is wrong with the file; NULL when nothing is.
    const char *problem;
    // Why it cannot be read, as an errno value; 0 when it can, or is not there.
    int error = 0;
    // Whether the copy holds something, which is then in value as readers get it.
    bool usable = false;
    char value[kValueSize];

private:
    const char *read_file(int fd);
    const char *unreadable(int reason);
};

// A value that has not arrived in a file.
class MissingValue {
public:
    // False when the file holds it. What the library has stored without success is stored again: only
    // that tells the reason.
    bool found(const CopyPlace &place, const char *name, const char *value);
    // Prints it; returns kFailed.
    int complain() const;

private:
    char path_[sizeof(CopyPath::text)] = "";
    int error_ = 0; // an errno value; 0 when the file was written and holds something else
};

} // namespace lterouter::tools
