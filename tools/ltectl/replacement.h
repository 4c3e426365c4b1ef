// A file that replaces another when that may be lost, and is removed otherwise.
#pragma once

#include <climits>
#include <sys/stat.h>

namespace lterouter::tools {

// For an Ending: removes the file if it has not taken its place.
void remove_unfinished();

// It has a name from the beginning: one without (O_TMPFILE) could not take another's place, since
// linkat replaces nothing, nor be made on every file system of a router. One at a time.
class Replacement {
public:
    // path: of the file to be replaced, or a new name. readable_by_all: with mode 0644.
    explicit Replacement(const char *path, bool readable_by_all = false);
    ~Replacement() { remove_unfinished(); }
    Replacement(const Replacement &) = delete;
    Replacement &operator=(const Replacement &) = delete;

    // Makes the file, with the owner and rights of the one to be replaced if nothing else is asked for.
    // Returns a descriptor; -1 with errno.
    int open() const;
    // Where it is until it takes its place.
    const char *unfinished() const;
    // False with errno.
    bool take_place() const;
    // Has the new name outlast a power failure. False with errno.
    bool synchronise_place() const;
    // Whether the error of making or renaming the file is due to the directory or the place in it.
    bool is_refused(int error) const;

private:
    bool take_rights(int fd) const;

    const bool readable_by_all_;
    char path_[PATH_MAX];
    bool replaces_;
    struct stat replaced_;
};

// Has what was written outlast a power failure. False with errno.
bool synchronise(int fd);

// Whether a path leads to a pipe, a terminal or the like: it can be neither replaced nor read twice.
bool is_stream(const char *path);

// As a file name: standard input or output.
inline constexpr char kStandardStream[] = "-";

} // namespace lterouter::tools
