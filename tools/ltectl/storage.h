// Places where things are kept: what to say when the system refuses one.
#pragma once

#include <cstddef>

namespace lterouter::tools {

// Prints "cannot write FILE: REASON" and, where something helps, what; returns kFailed. error: an errno
// value.
int cannot(const char *action, const char *path, int error);

// The same of what is open and has perhaps no path. shown: what it is called.
int cannot_write_to(int fd, const char *shown, int error);

// What helps against it, "; make room ..."; empty when nothing is known to.
struct Remedy {
    Remedy(const char *path, int error);
    char text[1088] = ""; // for a path of 1023 characters
};

// Writes everything. Returns 0, or why not, as an errno value.
int write_all(int fd, const char *bytes, size_t size);

} // namespace lterouter::tools
