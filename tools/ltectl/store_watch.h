// Waiting for changes of the files that hold the persistent parameters, of which the kernel tells.
#pragma once

#include "ltectl/file_watch.h"
#include "support/fd.h"

#include <cstddef>
#include <optional>

namespace lterouter::tools {

class StoreWatch {
public:
    // Begins, or begins anew: what has changed before is not told any more. Returns kDone, or the exit
    // code after an error message.
    int begin();

    enum class Told {
        kParameter,  // the one called name() may have changed
        kEverything, // anything may have; the watch is to begin anew
        kSignal,
        kReaderGone,
        kError // with errno
    };
    Told await();

    // Valid until the next wait.
    const char *name() const { return name_; }

private:
    int add(const char *directory, int *watch);
    std::optional<Told> tell(const inotify_event &event);
    std::optional<Told> tell_next();

    std::optional<FileWatch> events_;
    std::optional<Fd> mounts_;
    int current_ = -1;
    int backup_ = -1;
    const char *name_ = nullptr;
    size_t position_ = 0;
    size_t end_ = 0;
    alignas(inotify_event) char told_[4096];
};

} // namespace lterouter::tools
