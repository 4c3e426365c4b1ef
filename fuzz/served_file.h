// A file in memory in the place of one that the library opens by a fixed path. Interposes a libc
// function: for one source file of a target.
#pragma once

#include "support.h"

#include <dlfcn.h>

namespace fuzzing {

inline const char *g_served_path = nullptr; // NULL: none
inline std::string_view g_served;

// What a file holds for who reads it, until the scope is left.
class ServedFile {
public:
    ServedFile(const char *path, std::string_view content)
    {
        g_served_path = path;
        g_served = content;
    }
    ~ServedFile() { g_served_path = nullptr; }
    ServedFile(const ServedFile &) = delete;
    ServedFile &operator=(const ServedFile &) = delete;
};

} // namespace fuzzing

extern "C" FILE *fopen64(const char *path, const char *mode)
{
    using namespace fuzzing;
    if (g_served_path != nullptr && strcmp(path, g_served_path) == 0 && mode[0] == 'r') {
        return fmemopen(const_cast<char *>(g_served.empty() ? "" : g_served.data()), g_served.size(),
                        "r");
    }
    static auto *const real = reinterpret_cast<decltype(fopen64) *>(dlsym(RTLD_NEXT, "fopen64"));
    return real(path, mode);
}
