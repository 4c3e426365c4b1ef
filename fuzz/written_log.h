// Log messages that are put together as for syslog, which would read beyond a text that is not ended,
// and go nowhere. Takes over a call of libc: for the one source file of a target.
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
