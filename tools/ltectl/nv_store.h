// The persistent store beyond what its library functions tell: where a value comes from, and what is
// wrong with a file.
#pragma once

#include "ltectl/parameter.h"

namespace lterouter::tools {

extern const ParameterStore kPersistentStore;

struct CopyPlace {
    const char *name; // as the output calls it
    const char *directory;
};
// In the order in which they are asked for a value.
constexpr CopyPlace kCurrent = {"current", NVM_CURRENT_DIR};
constexpr CopyPlace kBackup = {"backup", NVM_BACKUP_DIR};
constexpr CopyPlace kCopyPlaces[] = {kCurrent, kBackup};

// One of a parameter's two files, read under the lock that its writers take.
struct Copy {
    Copy(const CopyPlace &place, const char *name);

    // What is wrong with the file; NULL when nothing is.
    const char *problem;
    // Whether the copy holds something, which is then in value as readers get it.
    bool usable = false;
    char value[kValueSize];

private:
    const char *read_file(int fd);
};

// The first of the store's directories that is not there; NULL when both are. Without them values go
// nowhere, and the library does not tell.
const char *missing_directory();

} // namespace lterouter::tools
