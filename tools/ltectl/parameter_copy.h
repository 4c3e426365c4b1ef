// The file of a parameter's value, read directly, since the library reports neither where a value comes
// from nor whether a write succeeded.
#pragma once

#include "lc_nv.h"
#include "lc_nv/transfer.h"

#include <cstddef>
#include <cstdint>

namespace lterouter::tools {

// Large enough for every value: the stores truncate longer ones.
constexpr uint32_t kValueSize = kNvReadSize;
static_assert(kValueSize == NV_VALUE_MAX + 1);

struct CopyPlace {
    const char *name; // its name in the output
    const char *directory;
};

struct CopyPath {
    CopyPath(const CopyPlace &place, const char *name);
    char text[sizeof(NVM_CURRENT_DIR) + 128];
};

// A parameter's file, read under the lock that its writers take.
struct Copy {
    Copy(const CopyPlace &place, const char *name);

    // Whether readers get this value.
    bool holds(const char *text) const;
    // Prints why the file cannot be read; returns kFailed.
    int complain() const;

    const CopyPath path;
    // What is wrong with the file; NULL when nothing is.
    const char *problem;
    // The error of reading the file, as an errno value; 0 when it was read or does not exist.
    int error = 0;
    // Whether the copy holds a value, which is then in value.
    bool usable = false;
    char value[kValueSize];

private:
    const char *read_file(int fd);
    const char *unreadable(int reason);
};

// A value that is not in a file after it was stored.
class MissingValue {
public:
    // False when the file holds it. Otherwise stores it again to find out the reason, which the library
    // does not report.
    bool found(const CopyPlace &place, const char *name, const char *value);
    // Prints it; returns kFailed.
    int complain() const;

private:
    char path_[sizeof(CopyPath::text)] = "";
    int error_ = 0; // an errno value; 0 when the file was written and holds something else
};

} // namespace lterouter::tools
