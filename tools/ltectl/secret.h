// Secrets: an argument can be seen by every process of the machine, and what is on a screen by whoever
// stands in front of it or gets a copy of it.
#pragma once

#include "common/command.h"

namespace lterouter::tools {

// Parses what an operand stands for: itself, a line of standard input when it is "-", or what is typed
// without echo when it is missing. name: of the operand. Returns kDone, or the exit code after saying
// what is wrong; what was not an argument is then not repeated.
// echo: of a value that is typed and no secret.
int parse_secret(const char *name, const char *operand, const ValueType &type, void *target,
                 bool echo = false);

// What is shown for a secret unless it is asked for.
inline constexpr char kMasked[] = "********";
inline bool g_show_secrets = false;

} // namespace lterouter::tools
