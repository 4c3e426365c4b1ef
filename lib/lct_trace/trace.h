// The trace file of the LTE client and of the modem upgrade: /tmp/ltelog.1, one older generation in
// /tmp/ltelog.2. It is opened and closed for every entry, so that it survives a crash and can be read
// while the process runs. No lock: each entry is one formatted write in append mode.
#pragma once

#include "lc_api.h"

namespace lterouter {

// Appends one entry and rotates the file when it has grown past its limit. Never fails visibly; keeps
// errno.
void trace(const char *format, ...) LC_PRINTF(1, 2);

} // namespace lterouter

// Traces with the family's tag (kUnit), the calling function and the line, and yields the result.
#define LCT_TRACE(result, text, ...)                                                            \
    (lterouter::trace("[%s:%s:%d]" text, kUnit, __func__, __LINE__ __VA_OPT__(, ) __VA_ARGS__), \
     (result))
