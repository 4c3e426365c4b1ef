#include "common/clock.h"

#include <ctime>

namespace lterouter::tools {

int64_t now_ms()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1'000'000;
}

} // namespace lterouter::tools
