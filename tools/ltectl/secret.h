// Secrets: every process of the machine can see an argument, and everyone who sees the screen or a copy
// of it can read the output.
#pragma once

#include "common/command.h"

namespace lterouter::tools {

// Parses the value of an operand: the operand itself, a line of standard input when it is "-", or input
// typed without echo when it is missing. name: of the operand. Returns kDone, or the exit code after an
// error message, which repeats the value only if it was an argument.
// echo: the value is typed and not secret.
int parse_secret(const char *name, const char *operand, const ValueType &type, void *target,
                 bool echo = false);

// Shown instead of a secret.
inline constexpr char kMasked[] = "********";
inline bool g_show_secrets = false;

} // namespace lterouter::tools
