// New lines of the library's trace file, while somebody reads them.
#pragma once

#include "lteweb/child.h"

#include <cstdint>
#include <optional>
#include <sys/types.h>

namespace lterouter::tools {

class TraceTail {
public:
    // From the file's end on, as long as it is wanted.
    void want(bool wanted);
    std::optional<int64_t> next_ms() const;
    // Publishes the lines that have come since the last look; when they are too many, how much is left
    // out and the last ones.
    void tick(int64_t now_ms, void (*publish)(void *context, std::string_view line), void *context);

private:
    void open_at_end();
    bool is_current() const;

    OwnFd file_;
    off_t position_ = 0;
    off_t left_out_ = 0; // bytes of which nothing has been published yet
    bool wanted_ = false;
    int64_t next_ms_ = 0;
};

} // namespace lterouter::tools
