// The persistent store beyond what its library functions tell: where a value comes from, and whether
// one has arrived.
#pragma once

#include "ltectl/nv_file.h"
#include "ltectl/parameter.h"

namespace lterouter::tools {

extern const ParameterStore kPersistentStore;

// In the order in which they are asked for a value.
constexpr CopyPlace kCurrent = {"current", NVM_CURRENT_DIR};
constexpr CopyPlace kBackup = {"backup", NVM_BACKUP_DIR};
constexpr CopyPlace kCopyPlaces[] = {kCurrent, kBackup, {}};

// A parameter's value as readers get it.
struct StoredValue {
    const char *source = nullptr; // a place's name, or "default"
    char text[kValueSize];

    bool is_from(const CopyPlace &place) const;

    // Each returns kDone, or the exit code after saying what cannot be read: what this process has no
    // right to read another may well get.
    int read(const ParameterFile &declared);
    int read(const char *name);

private:
    bool read_copy(const CopyPlace &place, const char *name, int *code);
};

// Whether both copies of a parameter hold a value; says which does not, and why. Returns an exit code.
int check_stored(const char *name, const char *value);

// Whether the store's directories are there and this process may look into them; says so if not.
// Returns an exit code. Without them values go nowhere, and the library does not tell.
int check_directories();
// The same, but a store that was never opened passes: it has its defaults.
int check_rights();

// Declared for a directory itself, which takes no value; the library does not tell.
bool is_unstorable(const char *name);

} // namespace lterouter::tools
