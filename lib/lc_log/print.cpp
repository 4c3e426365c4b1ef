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

// By level.
constexpr char kLevelNames[][6] = {LC_LOG_LEVEL_NAMES};
constexpr uint8_t kPriorities[] = {LOG_DEBUG, LOG_INFO, LOG_ERR};
static_assert(std::size(kPriorities) == std::size(kLevelNames));

// The beginning of a family's messages, before and after the line number.
struct Family {
    int8_t level;
    char beginning[21];
    char rest[6];
};

constexpr Family kFamilies[] = {
    {LC_LOG_DEBUG, "[LOG][lib/lc_file", ":cos,"},    // kLogFile
    {LC_LOG_ERROR, "[ERR][lib/lc_ipc_mq", ""},       // kLogIpcMq
    {LC_LOG_ERROR, "[ERR][lib/lc_ipc_msg", ""},      // kLogIpcMsg
    {LC_LOG_DEBUG, "[LOG][lib/lc_network", ":cos,"}, // kLogNetwork
    {LC_LOG_DEBUG, "[LOG][lib/lc_pthread", ":"},     // kLogPthread
    {LC_LOG_ERROR, "[lib/sdk_timer", ""},            // kLogTimer
};
static_assert(std::size(kFamilies) == kLogTimer + 1);

// Both written before other threads start, then only read.
char g_module_name[LC_LOG_NAME_SIZE]; // empty until the process has named its module
// Flag files of that module, by level: every message tests whether one exists.
char g_flag_files[std::size(kLevelNames)]
                 [sizeof(LC_LOG_FLAG_PREFIX) + LC_LOG_NAME_SIZE + sizeof("_") + sizeof(kLevelNames[0])];

// Leaves errno as it was: the message may print it with %m.
bool exists(const char *path)
{
    const ErrnoGuard keep_errno;
    return access(path, F_OK) == 0;
}

// First field of /proc/uptime. Not through stdio, which would allocate a buffer for every message.
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

bool is_on(int32_t level)
{
    return log_has_module() && level >= 0 && level < static_cast<int32_t>(std::size(kLevelNames)) &&
           exists(g_flag_files[level]);
}

// Prefixes the format with the uptime. A format that does not fit is used as it is: truncated, it could
// end inside a conversion.
const char *with_uptime(const char *format, char (&buffer)[512])
{
    const ErrnoGuard keep_errno;
    char uptime[64];
    read_uptime(uptime);
    const int length = snprintf(buffer, sizeof(buffer), "[%s]%s", uptime, format);
    return length < static_cast<int>(sizeof(buffer)) ? buffer : format;
}

void write(int32_t level, const char *format, va_list arguments)
{
    char buffer[512];
    if (exists(LC_LOG_FLAG_PREFIX "TIME")) {
        format = with_uptime(format, buffer);
    }
    vsyslog(kPriorities[level] | LOG_USER, format, arguments);
}

} // namespace

bool log_has_module() { return g_module_name[0] != '\0'; }

void log_set_module(const char *name)
{
    snprintf(g_module_name, sizeof(g_module_name), "%s", name);
    for (size_t level = 0; level < std::size(kLevelNames); ++level) {
        snprintf(g_flag_files[level], sizeof(g_flag_files[level]), LC_LOG_FLAG_PREFIX "%s_%s", name,
                 kLevelNames[level]);
    }
}

void log_from(uint32_t place, const char *text, ...)
{
    const Family &family = kFamilies[family_of(place)];
    if (!is_on(family.level)) {
        return;
    }
    const ErrnoGuard keep_errno;
    char format[512]; // fits the longest beginning and text of the library
    snprintf(format, sizeof(format), "%s:%u]%s%s", family.beginning, line_of(place), family.rest, text);
    va_list arguments;
    va_start(arguments, text);
    write(family.level, format, arguments);
    va_end(arguments);
}

void log_null(uint32_t place, const char *parameter)
{
    log_from(place, "Para check failed! Para %s is NULL.\n", parameter);
}

} // namespace lterouter

using namespace lterouter;

void log_print(int32_t level, const char *format, ...)
{
    if (!is_on(level)) {
        return;
    }
    const ErrnoGuard keep_errno;
    va_list arguments;
    va_start(arguments, format);
    write(level, format, arguments);
    va_end(arguments);
}

void log_print_text(int32_t level, const char *text)
{
    if (text != nullptr) {
        log_print(level, "%s", text);
    }
}
