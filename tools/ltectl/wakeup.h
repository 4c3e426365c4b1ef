// Waiting for changes of which the kernel tells: of files in a directory, of interfaces. What it does
// not tell of, or refuses to, is looked for now and then.
#pragma once

#include "ltectl/file_watch.h"
#include "support/fd.h"

#include <cstdint>
#include <optional>

namespace lterouter::tools {

class Wakeup {
public:
    struct Of {
        const char *directory = nullptr; // files that are made, changed or removed there
        bool interfaces = false;         // they come, go, or change state or address
        bool others = false;             // changes of which nobody tells
    };

    explicit Wakeup(const Of &of);

    enum class Reason { kChange, kSignal, kTime, kError };

    // Waits for a change, which may be one of something else, a signal, or that point in time.
    Reason await(int64_t until_ms) const;

private:
    std::optional<FileWatch> files_;
    const Fd interfaces_;
    bool looks_;
};

} // namespace lterouter::tools
