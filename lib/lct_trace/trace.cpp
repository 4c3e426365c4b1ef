#include "lct_trace/trace.h"

#include "support/errno_guard.h"

#include <cstdarg>
#include <cstdio>
#include <iterator>
#include <sys/stat.h>

namespace lterouter {
namespace {

constexpr char kCurrent[] = "/tmp/ltelog.1";
constexpr char kPrevious[] = "/tmp/ltelog.2";
constexpr off_t kLimit = 262144;

constexpr char kFamilies[][8] = {"lte_sdk", "lc_up"};
static_assert(std::size(kFamilies) == kTraceUp + 1);

void rotate_if_over_limit()
{
    struct stat status;
    if (stat(kCurrent, &status) == 0 && status.st_size > kLimit) {
        static_cast<void>(!rename(kCurrent, kPrevious));
    }
}

} // namespace

void trace(uint32_t place, const char *function, const char *text, ...)
{
    const ErrnoGuard keep_errno;
    FILE *file = fopen(kCurrent, "ae");
    if (file != nullptr) {
        char format[512]; // a text of the library's own fits behind its beginning
        snprintf(format, sizeof(format), "[lib/%s:%s:%u]%s", kFamilies[family_of(place)], function,
                 line_of(place), text);
        va_list arguments;
        va_start(arguments, text);
        vfprintf(file, format, arguments);
        va_end(arguments);
        fclose(file);
    }
    rotate_if_over_limit();
}

} // namespace lterouter
