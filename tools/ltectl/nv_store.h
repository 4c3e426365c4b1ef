// Details of the persistent store that the library does not report: where a value comes from, and
// whether a write succeeded.
#pragma once

#include "ltectl/nv_file.h"
#include "ltectl/parameter.h"

namespace lterouter::tools {

extern const ParameterStore kPersistentStore;

// In the order in which they are searched for a value.
constexpr CopyPlace kCurrent = {"current", NVM_CURRENT_DIR};
constexpr CopyPlace kBackup = {"backup", NVM_BACKUP_DIR};
constexpr CopyPlace kCopyPlaces[] = {kCurrent, kBackup, {}};

// A parameter's value as readers get it.
struct StoredValue {
    const char *source = nullptr; // a place's name, or "default"
    char text[kValueSize];

    bool is_from(const CopyPlace &place) const;

    // Each returns kDone, or the exit code after an error message about an unreadable file: a value
    // that this process may not read must not be reported as missing.
    int read(const NvParameter &declared);
    int read(const char *name);

private:
    bool read_copy(const CopyPlace &place, const char *name, int *code);
};

// Tests whether both copies of a parameter hold a value; prints which does not, and why. Returns an
// exit code.
int check_stored(const char *name, const char *value);

// Tests whether the store's directories exist and this process may search them; prints an error message
// if not. Returns an exit code. Without them values are lost, which the library does not report.
int check_directories();
// The same, but accepts a store that was never opened: it has its defaults.
int check_rights();

// The attribute bits of a parameter; 0 for one that is not declared.
uint32_t declared_bits(const char *name);

// Declared with the name of a directory (".", ".."), which cannot hold a value; the library does not
// report that.
bool is_unstorable(const char *name);

} // namespace lterouter::tools
