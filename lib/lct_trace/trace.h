// The trace file of the LTE client and of the modem upgrade: /tmp/ltelog.1, one older generation in
// /tmp/ltelog.2. It is opened and closed for every entry, so that it survives a crash and can be read
// while the process runs. No lock: each entry is one formatted write in append mode.
#pragma once

#include "lc_api.h"
#include "support/place.h"

namespace lterouter {

// The families that trace.
enum TraceFamily : unsigned { kTraceSdk, kTraceUp };

// Appends one entry, "[FAMILY:FUNCTION:LINE]" and the text, and rotates the file when it has grown past
// its limit. Reports no failure; keeps errno.
void trace(uint32_t place, const char *function, const char *text, ...) LC_PRINTF(3, 4);

} // namespace lterouter

// Traces with the calling function and the line; result is the expression's value. kTraceFamily is the
// family's.
#define LC_TRACE(result, ...) \
    (lterouter::trace(lterouter::place(kTraceFamily, __LINE__), __func__, __VA_ARGS__), (result))
