// Error messages about files and directories.
#pragma once

#include <cstddef>

namespace lterouter::tools {

// Prints "cannot write FILE: REASON", with advice if there is any; returns kFailed. error: an errno
// value.
int cannot(const char *action, const char *path, int error);

// The same for an open file, which may have no path. shown: its name in messages.
int cannot_write_to(int fd, const char *shown, int error);

// The advice, "; make room ..."; empty when there is none.
struct Remedy {
    Remedy(const char *path, int error);
    char text[1088] = ""; // for a path of 1023 characters
};

// Writes everything. Returns 0 or an errno value.
int write_all(int fd, const char *bytes, size_t size);

} // namespace lterouter::tools
