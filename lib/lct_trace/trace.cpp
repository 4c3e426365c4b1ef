#include "lct_trace/trace.h"

#include "support/errno_guard.h"

#include <cstdarg>
#include <cstdio>
#include <sys/stat.h>

namespace lterouter {
namespace {

constexpr char kCurrent[] = "/tmp/ltelog.1";
constexpr char kPrevious[] = "/tmp/ltelog.2";
constexpr off_t kLimit = 262144;

void rotate_if_over_limit()
{
    struct stat status;
    if (stat(kCurrent, &status) == 0 && status.st_size > kLimit) {
        static_cast<void>(!rename(kCurrent, kPrevious));
    }
}

} // namespace

void trace(const char *format, ...)
{
    const ErrnoGuard keep_errno;
    FILE *file = fopen(kCurrent, "ae");
    if (file != nullptr) {
        va_list arguments;
        va_start(arguments, format);
        vfprintf(file, format, arguments);
        va_end(arguments);
        fclose(file);
    }
    rotate_if_over_limit();
}

} // namespace lterouter
