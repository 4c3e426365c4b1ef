// Interposes every libc function that the library calls and that can fail, and its allocation layer:
// each counts its calls and fails on demand. Those that cannot fail are listed at the end.
#pragma once

#include "run.h"

#include <dirent.h>
#include <functional>
#include <map>
#include <poll.h>
#include <sys/socket.h>

namespace faults {

// What a scenario puts in the place of the world. Used while the function under test runs.
struct Hooks {
    std::map<std::string, std::string> instead;   // files opened, and commands run, in place of others
    std::function<int(const std::string &)> open; // a descriptor for a path, or -1 to open the path
    std::function<int(int)> socket;               // a descriptor for a family, or -1
    std::function<bool(const void *, size_t)> sendto; // true: sent
    std::function<void(int, const void *, size_t)> after_write;
    std::function<void()> pause; // in the place of a sleep
    std::function<void()> join;  // before a thread is waited for
    std::function<void()> wait;  // before a condition is, with the mutex held
    std::function<void()> room;  // before room is, in a receiver's socket
    bool hide_interfaces = false;
};
inline Hooks g_hooks;

// The endpoint's or the timer service's thread, at rest.
struct LibraryThread {
    std::atomic<bool> in_select{false};
    std::atomic<int> fd{-1};
    std::atomic<bool> blind{false}; // sees nothing of what comes

    // Nothing there to wake it, and asleep: the other way round it could take what is there in between.
    bool rests() const
    {
        pollfd poller = {fd, POLLIN, 0};
        return poll(&poller, 1, 0) == 0 && in_select;
    }
};
inline LibraryThread g_library_thread;

// The stream whose reading has failed.
inline FILE *g_broken_stream = nullptr;

// The name of what a descriptor is open on.
struct Subject {
    explicit Subject(int fd)
    {
        char link[32];
        snprintf(link, sizeof(link), "/proc/self/fd/%d", fd);
        const ssize_t length = readlink(link, text, sizeof(text) - 1);
        text[length > 0 ? length : 0] = '\0';
        text[strcspn(text, "[")] = '\0'; // one socket is like another
    }
    explicit Subject(FILE *stream) : Subject(fileno(stream)) {}

    char text[60];
};

inline Call g_malloc{"malloc", {ENOMEM}};
inline Call g_realloc{"realloc", {ENOMEM}};

inline bool heap_fails(const char *call)
{
    if (!counted()) {
        return false;
    }
    const bool grows = *call == 'r';
    return (grows || g_heap_counts) && due(grows ? g_realloc : g_malloc, "") != nullptr;
}

// What the library calls besides. It cannot fail: it computes, or has no failure that could be seen,
// or none as the library calls it.
inline constexpr const char *kCannotFail[] = {
    // text, memory, numbers
    "__isoc99_sscanf",
    "sscanf",
    "snprintf",
    "__snprintf_chk",
    "vsnprintf",
    "__vsnprintf_chk",
    "memchr",
    "bcmp",
    "memcmp",
    "memcpy",
    "__memcpy_chk",
    "memset",
    "memmove",
    "strcat",
    "strchr",
    "strcmp",
    "strcpy",
    "strcspn",
    "strerror",
    "strlen",
    "strncat",
    "strncmp",
    "strncpy",
    "strnlen",
    "strrchr",
    "strsep",
    "strspn",
    "strstr",
    "strtok",
    "strtol",
    "strtoul",
    "__isoc99_strtol",
    "isspace",
    "isxdigit",
    "isdigit",
    "tolower",
    "toupper",
    "inet_addr",
    "inet_aton",
    "inet_ntoa",
    "inet_ntop",
    "sigemptyset",
    "ferror",
    // the kernel, which always answers these
    "_exit",
    "alarm",
    "clock_gettime",
    "getpid",
    "syscall",
    "umask",
    "pthread_exit",
    "pthread_setcancelstate",
    // clean-up handlers of threads, as the GNU libc's macros make them
    "__sigsetjmp",
    "__pthread_register_cancel",
    "__pthread_unregister_cancel",
    "__pthread_unwind_next",
    // no result
    "free",
    "openlog",
    "vsyslog",
    "__vsyslog_chk",
    "perror",
    "rewind",
    // fails only when the library is loaded without memory to note it
    "__register_atfork",
    "pthread_atfork",
    // the directory is closed whatever it says, and nobody asks
    "closedir",
    // what compilers and linkers add
    "__errno_location",
    "__fdelt_chk",
    "__stack_chk_fail",
    "__stack_chk_guard",
    "__tls_get_addr",
    "__cxa_finalize",
    "__gmon_start__",
    "_ITM_deregisterTMCloneTable",
    "_ITM_registerTMCloneTable",
    "stdout",
};

// Other names of calls that are taken over.
inline constexpr const char *kOtherNames[] = {"__vfprintf_chk", "__printf_chk"};

} // namespace faults
