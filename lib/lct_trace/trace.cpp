#include "lct_trace/trace.h"

#include "lc_mem/alloc.h"
#include "lte_sdk.h"
#include "support/errno_guard.h"
#include "support/fd.h"
#include "support/ignore.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <sys/stat.h>

namespace lterouter {
namespace {

constexpr mode_t kMode = 0666; // as fopen makes files

constexpr char kFamilies[][8] = {"lte_sdk", "lc_up"};
static_assert(std::size(kFamilies) == kTraceUp + 1);

struct Entry {
    uint32_t place;
    const char *function;
    const char *text;
    va_list arguments;
};

// Prints what fits; returns how long the whole is.
size_t print(Entry &entry, char *room, size_t size)
{
    const auto head =
        static_cast<size_t>(snprintf(room, size, "[lib/%s:%s:%u]", kFamilies[family_of(entry.place)],
                                     entry.function, line_of(entry.place)));
    va_list arguments;
    va_copy(arguments, entry.arguments);
    const int rest = vsnprintf(room + head, size - head, entry.text, arguments);
    va_end(arguments);
    return head + static_cast<size_t>(rest);
}

// A single write, so that entries of several writers are never interleaved; stdio would need a buffer
// from the heap for that.
void append(int fd, Entry &entry)
{
    constexpr char kEnd[] = "\n\n";
    char usual[512];
    const char *bytes = usual;
    size_t length = print(entry, usual, sizeof(usual));
    // A longer entry, such as a modem's answer, is allocated; out of memory it is truncated.
    mem::Ptr<char, MEM_OWNER_LCT> longer;
    if (length >= sizeof(usual)) {
        longer.reset(static_cast<char *>(mem::allocate(MEM_OWNER_LCT, length + 1)));
        if (longer != nullptr) {
            bytes = longer.get();
            length = std::min(length, print(entry, longer.get(), length + 1));
        } else {
            length = sizeof(usual) - 1;
            memcpy(usual + sizeof(usual) - sizeof(kEnd), kEnd, sizeof(kEnd));
        }
    }
    ignore(write(fd, bytes, length), "what the trace is about goes on");
}

void rotate_if_over_limit()
{
    struct stat status;
    if (stat(LCT_TRACE_FILE, &status) == 0 && status.st_size > LCT_TRACE_LIMIT) {
        ignore(rename(LCT_TRACE_FILE, LCT_TRACE_OLDER_FILE), "the next entry tries again");
    }
}

} // namespace

void trace(uint32_t place, const char *function, const char *text, ...)
{
    const ErrnoGuard keep_errno;
    {
        const Fd file{open(LCT_TRACE_FILE, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, kMode)};
        if (file) {
            Entry entry = {place, function, text, {}};
            va_start(entry.arguments, text);
            append(file.get(), entry);
            va_end(entry.arguments);
        }
    }
    rotate_if_over_limit();
}

} // namespace lterouter
