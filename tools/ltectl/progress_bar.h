// Progress of long work: a bar on a terminal, otherwise a line at each tenth.
#pragma once

#include <cstdint>

namespace lterouter::tools {

class ProgressBar {
public:
    explicit ProgressBar(uint64_t total);
    ~ProgressBar() { clear(); }
    ProgressBar(const ProgressBar &) = delete;
    ProgressBar &operator=(const ProgressBar &) = delete;

    // done: bytes, never fewer than before.
    void show(uint64_t done);
    // Removes the bar, so that a message can be printed.
    void clear();

private:
    void draw(uint64_t done, int64_t now);
    void print(uint64_t done);

    const uint64_t total_;
    const bool terminal_;
    const int64_t started_ms_;
    int64_t drawn_ms_ = 0; // 0: not yet
    uint64_t tenths_ = 0;
};

} // namespace lterouter::tools
