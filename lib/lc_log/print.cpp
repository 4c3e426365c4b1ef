#include "lc_log/print.h"

#include "support/errno_guard.h"
#include "support/fd.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <syslog.h>

namespace lterouter {
namespace {

#define FLAG_PREFIX "/tmp/.LC_DEBUG_FLAG"

struct Level {
    const char *name;
    int priority;
};

constexpr Level kLevels[] = {
    {"DEBUG", LOG_DEBUG},
    {"INFO", LOG_INFO},
    {"ERROR", LOG_ERR},
};

// Both written before other threads start, then only read.
char g_module_name[LC_LOG_NAME_SIZE]; // empty until the process has named its module
// Of that module, by level: every message looks for one.
char g_flag_files[std::size(kLevels)][sizeof(FLAG_PREFIX) + LC_LOG_NAME_SIZE + sizeof("_DEBUG")];

// Leaves errno as it was: the message may print it with %m.
bool exists(const char *path)
{
    const ErrnoGuard keep_errno;
    return access(path, F_OK) == 0;
}

// First field of /proc/uptime. Not through stdio, whose buffer would be an allocation per message.
void read_uptime(char (&uptime)[64])
{
    const Fd file{open("/proc/uptime", O_RDONLY | O_CLOEXEC)};
    const ssize_t length = file ? read(file.get(), uptime, sizeof(uptime) - 1) : -1;
    if (length <= 0) {
        strcpy(uptime, "0.00");
        return;
    }
    uptime[length] = '\0';
    uptime[strcspn(uptime, " ")] = '\0';
}

// Puts the uptime before the message. A format that does not fit is used as it is: cut short, it could
// end inside a conversion.
const char *with_uptime(const char *format, char (&buffer)[512])
{
    const ErrnoGuard keep_errno;
    char uptime[64];
    read_uptime(uptime);
    const int length = snprintf(buffer, sizeof(buffer), "[%s]%s", uptime, format);
    return length < static_cast<int>(sizeof(buffer)) ? buffer : format;
}

} // namespace

bool log_has_module() { return g_module_name[0] != '\0'; }

void log_set_module(const char *name)
{
    snprintf(g_module_name, sizeof(g_module_name), "%s", name);
    for (size_t level = 0; level < std::size(kLevels); ++level) {
        snprintf(g_flag_files[level], sizeof(g_flag_files[level]), FLAG_PREFIX "_%s_%s", name,
                 kLevels[level].name);
    }
}

} // namespace lterouter

void log_print(int32_t level, const char *format, ...)
{
    using namespace lterouter;
    if (!log_has_module() || level < 0 || level >= static_cast<int32_t>(std::size(kLevels))) {
        return;
    }
    const ErrnoGuard keep_errno;
    if (!exists(g_flag_files[level])) {
        return;
    }
    char buffer[512];
    if (exists(FLAG_PREFIX "_TIME")) {
        format = with_uptime(format, buffer);
    }
    va_list arguments;
    va_start(arguments, format);
    vsyslog(kLevels[level].priority | LOG_USER, format, arguments);
    va_end(arguments);
}

void log_print_text(int32_t level, const char *text)
{
    if (text != nullptr) {
        log_print(level, "%s", text);
    }
}
