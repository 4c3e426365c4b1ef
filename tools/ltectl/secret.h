// Secrets of the command line: an argument can be seen by every process of the machine.
#pragma once

#include "common/command.h"

namespace lterouter::tools {

// Parses what an operand stands for: itself, a line of standard input when it is "-", or what is typed
// without echo when it is missing. name: of the operand. Returns kDone, or the exit code after saying
// what is wrong; what was not an argument is then not repeated.
int parse_secret(const char *name, const char *operand, const ValueType &type, void *target);

} // namespace lterouter::tools
