// The persistent store's two copies of a parameter.
#pragma once

#include "lc_nv.h"

#include "lc_nv/access.h"

namespace lterouter {

struct NvCopies {
    NvPath<sizeof(NVM_CURRENT_DIR)> current;
    NvPath<sizeof(NVM_BACKUP_DIR)> backup;

    explicit NvCopies(const char *name) : NvCopies(name, strlen(name) + 1) {}

    // Writes a value, size bytes with its NUL, into the current copy and then into the backup, each
    // created if needed. A copy that does not open is left out.
    void store(const char *value, size_t size) const;

private:
    NvCopies(const char *name, size_t size);
};

} // namespace lterouter
