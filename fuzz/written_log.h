// Formats log messages like syslog, so that a text without a terminator is noticed, and drops them.
// Interposes a libc function: for one source file of a target.
#pragma once

#include "lc_log.h"
#include "support.h"

#include <cstdarg>
#include <syslog.h>

namespace fuzzing {

// Switches every level on.
inline void write_log()
{
    require(log_init(3) == 0, "there is a module to log for");
    for (const char *level : {"DEBUG", "INFO", "ERROR"}) {
        write_file((std::string("/tmp/.LC_DEBUG_FLAG_WanManager_") + level).c_str(), "");
    }
}

} // namespace fuzzing

extern "C" void vsyslog(int, const char *format, va_list arguments)
{
    char message[2048];
    const int length = vsnprintf(message, sizeof(message), format, arguments);
    fuzzing::require(length >= 0 && message[0] == '[', "a message begins with its source");
}
