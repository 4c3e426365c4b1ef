// Signal and traffic of the last hour.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>

namespace lterouter::tools {

struct Sample {
    int64_t time_ms; // on a clock that nobody sets
    bool has_signal;
    uint32_t signal; // as AT+CSQ has it
    bool has_traffic;
    uint64_t rx_bytes;
    uint64_t tx_bytes;
};

class History {
public:
    // Those that come soon after the one before are left out, so that an hour has room.
    void add(const Sample &sample);
    // Both with times of the wall clock as it is now: a router learns the time after it has started.
    void write(FILE *file, uint32_t sample_seconds) const;
    static void write_sample(FILE *file, const Sample &sample);

private:
    static constexpr size_t kRoom = 360; // an hour of samples every 10 s
    static constexpr int64_t kLongestMs = 3600 * 1000;
    static constexpr int64_t kStepMs = 10 * 1000;

    template <typename Write>
    void write_list(FILE *file, int64_t since_ms, int64_t offset_ms, Write write) const;

    Sample samples_[kRoom];
    size_t next_ = 0;
    size_t count_ = 0;
};

} // namespace lterouter::tools
