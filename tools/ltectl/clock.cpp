#include "ltectl/clock.h"

#include <cstdio>
#include <ctime>

namespace lterouter::tools {
namespace {

constexpr int64_t kSecond = 1000;

} // namespace

int64_t wall_clock_us()
{
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<int64_t>(now.tv_sec) * 1'000'000 + now.tv_nsec / 1000;
}

int64_t wall_clock_ms() { return wall_clock_us() / 1000; }

uint32_t whole_timeout(uint32_t ms)
{
    return ms + static_cast<uint32_t>(wall_clock_ms() % kSecond) + 1; // rounded up
}

TimeText::TimeText(int64_t wall_clock_ms)
{
    const auto seconds = static_cast<time_t>(wall_clock_ms / kSecond);
    tm parts = {};
    gmtime_r(&seconds, &parts);
    char second[24] = "";
    strftime(second, sizeof(second), "%Y-%m-%dT%H:%M:%S", &parts);
    snprintf(text, sizeof(text), "%s.%03dZ", second, static_cast<int>(wall_clock_ms % kSecond));
}

} // namespace lterouter::tools
