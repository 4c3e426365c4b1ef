// Files of directories, of whose changes the kernel tells.
#pragma once

#include "support/fd.h"

#include <cstdint>
#include <sys/inotify.h>

namespace lterouter::tools {

// They are made, removed, moved, or have been written.
constexpr uint32_t kFileChanges = IN_CLOSE_WRITE | IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;

class FileWatch {
public:
    // False, with errno set, where the kernel refuses.
    explicit operator bool() const { return static_cast<bool>(fd_); }

    // To be polled, and read without a wait.
    int fd() const { return fd_.get(); }

    // The number of the watch in what is read; -1, with errno set, on failure.
    int add(const char *directory, uint32_t changes) const
    {
        return inotify_add_watch(fd_.get(), directory, changes);
    }

private:
    const Fd fd_{inotify_init1(IN_CLOEXEC | IN_NONBLOCK)};
};

} // namespace lterouter::tools
