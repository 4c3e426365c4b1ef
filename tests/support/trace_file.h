// The LTE client's trace file, read back.
#pragma once

#include "lte_sdk.h"
#include "support/text_file.h"

namespace testing_support {

inline constexpr char kTraceFile[] = LCT_TRACE_FILE;
inline constexpr char kOldTraceFile[] = LCT_TRACE_OLDER_FILE;

// Everything in the current generation, line numbers as N.
inline std::string trace_text() { return without_line_numbers(read_text(kTraceFile)); }

// One entry of the client as trace_text gives it.
inline std::string trace_entry(const std::string &function, const std::string &text)
{
    return "[lib/lte_sdk:" + function + ":N]" + text;
}

} // namespace testing_support
