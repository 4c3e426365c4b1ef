// Checks of names and arguments, and comparison: the same for every store.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace lterouter {

constexpr size_t kNvNameMax = 127;

// At most 127 letters, digits, "-", "_" and "."; the empty name passes.
bool nv_name_valid(const char *name);

// The order of the checks is part of the interface; each returns 0 or the result code.
uint32_t nv_check_read(const char *name, const char *buf);
// length: of the value with its NUL.
uint32_t nv_check_write(const char *name, const char *value, uint32_t size, size_t *length);

// Compares what `read` yields with an expected value, as nvram_match and nvm_match return it.
uint32_t nv_match(uint32_t (*read)(const char *, char *, uint32_t), const char *name,
                  const char *value);

// The file of a parameter in a directory, which ends in a slash. The name has passed nv_name_valid.
template <size_t DirectorySize> struct NvPath {
    char text[DirectorySize + kNvNameMax];

    // size: of the name with its NUL.
    NvPath(const char (&directory)[DirectorySize], const char *name, size_t size)
    {
        memcpy(text, directory, DirectorySize - 1);
        memcpy(text + DirectorySize - 1, name, size);
    }
    NvPath(const char (&directory)[DirectorySize], const char *name)
        : NvPath(directory, name, strlen(name) + 1)
    {
    }
};

} // namespace lterouter
