// Where the library traces: the current file, and the one that it was renamed to when it had grown too
// long.
#pragma once

namespace lterouter::tools {

constexpr char kTraceFile[] = "/tmp/ltelog.1";
constexpr char kPreviousTraceFile[] = "/tmp/ltelog.2";

} // namespace lterouter::tools
