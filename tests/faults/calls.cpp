// The definitions: once in the program, since what they define is libc's.
#include "calls.h"

#include "lc_mem.h"
#include "support/interpose.h"

#include <cstdarg>
#include <fcntl.h>
#include <netinet/in.h>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/sysinfo.h>
#include <sys/wait.h>
#include <syslog.h>
#include <termios.h>

namespace faults {

using testing_support::next_definition;

#ifdef WITH_ADDRESS_SANITIZER

static void note_taken(const volatile void *block, size_t)
{
    if (t_role != Role::kNone) {
        heap_fails("malloc"); // counted, though it cannot be refused
        Blocks::took(block);
    }
}

static void note_given(const volatile void *block) { Blocks::gave(block); }

extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*)(const volatile void *, size_t),
                                                         void (*)(const volatile void *));
static const int g_heap_hooks = __sanitizer_install_malloc_and_free_hooks(note_taken, note_given);

#endif

struct Started {
    void *(*routine)(void *);
    void *argument;
};

static void *run_library_thread(void *started)
{
    const Started own = *static_cast<Started *>(started);
    delete static_cast<Started *>(started);
    t_role = Role::kLibrary;
    return own.routine(own.argument);
}

// A copy that replaces a path or command of the caller; never freed.
static const char *in_place_of(const char *path)
{
    if (!on_caller()) {
        return path;
    }
    const Quiet quiet;
    const auto found = g_hooks.instead.find(path);
    return found == g_hooks.instead.end() ? path : found->second.c_str();
}

} // namespace faults

// Declares a call with its faults.
#define CALL(id, symbol, ...)                       \
    namespace faults {                              \
    static Call g_call_##id{symbol, {__VA_ARGS__}}; \
    }

// A fault of this call that is due now, or null.
#define DUE(id, subject) \
    (faults::counted() ? [&] { const faults::Quiet quiet; return faults::due(faults::g_call_##id, subject); }() : nullptr)

#define REAL(symbol, Result, parameters) \
    static auto *const real = faults::next_definition<Result parameters>(symbol)

// Takes over a call that does nothing when it fails.
#define TAKE_AS(id, symbol, Result, parameters, arguments, subject, failure, ...) \
    CALL(id, symbol, __VA_ARGS__)                                                 \
    extern "C" Result taken_##id parameters __asm__(symbol);                      \
    Result taken_##id parameters                                                  \
    {                                                                             \
        REAL(symbol, Result, parameters);                                         \
        if (const faults::Fault *fault = DUE(id, subject); fault != nullptr) {    \
            return failure;                                                       \
        }                                                                         \
        return real arguments;                                                    \
    }
#define TAKE(name, Result, parameters, arguments, subject, failure, ...) \
    TAKE_AS(name, #name, Result, parameters, arguments, subject, failure, __VA_ARGS__)

// Takes over a thread call: its result is the error number. The families' own locks cannot fail. What
// stands before is done by a call that does not fail.
#define TAKE_WAIT(name, parameters, arguments, before, ...)                              \
    CALL(name, #name, __VA_ARGS__)                                                       \
    extern "C" int taken_##name parameters __asm__(#name);                               \
    int taken_##name parameters                                                          \
    {                                                                                    \
        static int(*real) parameters = nullptr; /* without a lock, which may be taken */ \
        if (real == nullptr) {                                                           \
            real = reinterpret_cast<int(*) parameters>(dlsym(RTLD_NEXT, #name));         \
        }                                                                                \
        const faults::Fault *fault = faults::g_threads_count ? DUE(name, "") : nullptr;  \
        if (fault != nullptr) {                                                          \
            return fault->error;                                                         \
        }                                                                                \
        before;                                                                          \
        return real arguments;                                                           \
    }
// ThreadSanitizer makes all of these calls but the waits itself, also on threads on which nothing of
// the program's may run yet: there they cannot fail.
#ifdef WITH_THREAD_SANITIZER
#define TAKE_THREAD(name, ...) CALL(name, #name)
#else
#define TAKE_THREAD(name, parameters, arguments, ...) \
    TAKE_WAIT(name, parameters, arguments, , __VA_ARGS__)
#endif

using faults::Form;
using faults::kNothing;
using faults::kShort;
using faults::kStatus;
using faults::Subject;

// ---- Files by path ----

TAKE(access, int, (const char *path, int mode), (path, mode), path, -1, EACCES, ENOENT)
TAKE(stat64, int, (const char *path, struct stat *status), (path, status), path, -1, EACCES, ENOENT,
     ENOMEM)
TAKE(mkdir, int, (const char *path, mode_t mode), (path, mode), path, -1, EACCES, EEXIST, ENOSPC)
TAKE(rmdir, int, (const char *path), (path), path, -1, EBUSY, ENOTEMPTY)
TAKE(rename, int, (const char *from, const char *to), (from, to), from, -1, EACCES, ENOSPC)
TAKE(opendir, DIR *, (const char *path), (path), path, nullptr, EMFILE, ENOMEM)

// About what it would give: an entry, or the end.
CALL(readdir64, "readdir64", EBADF)
extern "C" dirent *taken_readdir64(DIR *directory) __asm__("readdir64");
dirent *taken_readdir64(DIR *directory)
{
    REAL("readdir64", dirent *, (DIR *));
    dirent *const entry = real(directory);
    return DUE(readdir64, entry == nullptr ? "the end" : entry->d_name) != nullptr ? nullptr : entry;
}

CALL(open64, "open64", EINTR, EACCES, EMFILE, ENOENT)
extern "C" int taken_open64(const char *path, int flags, ...) __asm__("open64");
int taken_open64(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    REAL("open64", int, (const char *, int, ...));
    if (DUE(open64, path) != nullptr) {
        return -1;
    }
    if (faults::on_caller() && faults::g_hooks.open) {
        const faults::Quiet quiet;
        if (const int fd = faults::g_hooks.open(path); fd >= 0) {
            return fd;
        }
    }
    return real(faults::in_place_of(path), flags, mode);
}

// ---- Descriptors ----

// A descriptor is closed whatever close says.
CALL(close, "close", EINTR, EIO)
extern "C" int taken_close(int fd) __asm__("close");
int taken_close(int fd)
{
    REAL("close", int, (int));
    const faults::Fault *fault = DUE(close, Subject(fd).text);
    const int result = real(fd);
    if (fault != nullptr) {
        errno = fault->error;
        return -1;
    }
    return result;
}

CALL(read, "read", EINTR, EIO, kShort, kNothing)
extern "C" ssize_t taken_read(int fd, void *bytes, size_t size) __asm__("read");
ssize_t taken_read(int fd, void *bytes, size_t size)
{
    REAL("read", ssize_t, (int, void *, size_t));
    const faults::Fault *fault = DUE(read, Subject(fd).text);
    if (fault != nullptr && fault->form != Form::kShort) {
        return fault->form == Form::kNothing ? 0 : -1;
    }
    return real(fd, bytes, fault != nullptr && size > 1 ? 1 : size);
}

namespace faults {

static bool is_trace(int fd)
{
    if (!on_caller() && !counted()) {
        return false;
    }
    const Quiet quiet;
    return strcmp(Subject(fd).text, "/tmp/ltelog.1") == 0;
}

// An entry that was written whole is one line that has been said.
static void note_entry(std::string_view entry, ssize_t written)
{
    const Quiet quiet;
    if (written == static_cast<ssize_t>(entry.size())) {
        say(without_position(std::string(entry)));
    }
}

} // namespace faults

CALL(write, "write", EINTR, EIO, ENOSPC, kShort)
CALL(write_entry, "write of an entry", EINTR, EIO, ENOSPC, kShort)
extern "C" ssize_t taken_write(int fd, const void *bytes, size_t size) __asm__("write");
ssize_t taken_write(int fd, const void *bytes, size_t size)
{
    REAL("write", ssize_t, (int, const void *, size_t));
    const bool is_entry = faults::is_trace(fd);
    const faults::Fault *fault =
        is_entry ? DUE(write_entry, Subject(fd).text) : DUE(write, Subject(fd).text);
    if (fault != nullptr && fault->form == Form::kFails) {
        return -1;
    }
    const ssize_t written = real(fd, bytes, fault != nullptr && size > 1 ? 1 : size);
    if (is_entry) {
        faults::note_entry({static_cast<const char *>(bytes), size}, written);
    } else if (faults::on_caller() && faults::g_hooks.after_write && written > 0) {
        const faults::Quiet quiet;
        faults::g_hooks.after_write(fd, bytes, static_cast<size_t>(written));
    }
    return written;
}

CALL(fcntl64, "fcntl64", EINTR, EDEADLK, ENOLCK)
extern "C" int taken_fcntl64(int fd, int command, ...) __asm__("fcntl64");
int taken_fcntl64(int fd, int command, ...)
{
    va_list arguments;
    va_start(arguments, command);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    REAL("fcntl64", int, (int, int, ...));
    return DUE(fcntl64, Subject(fd).text) != nullptr ? -1 : real(fd, command, argument);
}

CALL(ioctl, "ioctl", EPERM, ENODEV, ESRCH, EEXIST)
extern "C" int taken_ioctl(int fd, unsigned long request, ...) __asm__("ioctl");
int taken_ioctl(int fd, unsigned long request, ...)
{
    va_list arguments;
    va_start(arguments, request);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    REAL("ioctl", int, (int, unsigned long, ...));
    return DUE(ioctl, "") != nullptr ? -1 : real(fd, request, argument);
}

TAKE(ftruncate64, int, (int fd, off_t size), (fd, size), Subject(fd).text, -1, EINTR, EIO)
TAKE(lseek64, off_t, (int fd, off_t offset, int whence), (fd, offset, whence), Subject(fd).text, -1,
     ESPIPE)
TAKE(pipe, int, (int ends[2]), (ends), "", -1, EMFILE, ENFILE)
TAKE(dup2, int, (int from, int to), (from, to), Subject(from).text, -1, EINTR, EBUSY, EMFILE)
TAKE(tcflush, int, (int fd, int queue), (fd, queue), "", -1, EIO, ENOTTY)
TAKE(tcsetattr, int, (int fd, int when, const termios *settings), (fd, when, settings), "", -1, EINTR,
     ENOTTY)
TAKE(cfsetspeed, int, (termios * settings, speed_t speed), (settings, speed), "", -1, EINVAL)

// ---- Streams ----

CALL(fopen64, "fopen64", EINTR, EMFILE, ENOENT, ENOMEM)
extern "C" FILE *taken_fopen64(const char *path, const char *mode) __asm__("fopen64");
FILE *taken_fopen64(const char *path, const char *mode)
{
    REAL("fopen64", FILE *, (const char *, const char *));
    if (DUE(fopen64, path) != nullptr) {
        return nullptr;
    }
    return real(faults::in_place_of(path), mode);
}

// A stream is gone whatever fclose says.
CALL(fclose, "fclose", EINTR, EIO, ENOSPC)
extern "C" int taken_fclose(FILE *stream) __asm__("fclose");
int taken_fclose(FILE *stream)
{
    REAL("fclose", int, (FILE *));
    const faults::Fault *fault = DUE(fclose, Subject(stream).text);
    const int result = real(stream);
    if (fault != nullptr) {
        errno = fault->error;
        return EOF;
    }
    return result;
}

// What reads from a stream leaves its mark there when it fails; ferror shows it.
#define BROKEN(stream, result) (faults::g_broken_stream = (stream), (result))

TAKE(fgets, char *, (char *buffer, int size, FILE *stream), (buffer, size, stream),
     Subject(stream).text, BROKEN(stream, nullptr), EINTR, EIO)
TAKE(getc, int, (FILE * stream), (stream), Subject(stream).text, BROKEN(stream, EOF), EINTR, EIO)

CALL(fread, "fread", EINTR, EIO, kShort)
extern "C" size_t taken_fread(void *bytes, size_t size, size_t count, FILE *stream) __asm__("fread");
size_t taken_fread(void *bytes, size_t size, size_t count, FILE *stream)
{
    REAL("fread", size_t, (void *, size_t, size_t, FILE *));
    const faults::Fault *fault = DUE(fread, Subject(stream).text);
    if (fault != nullptr && fault->form == Form::kFails) {
        return BROKEN(stream, 0);
    }
    return real(bytes, size, fault != nullptr && count > 1 ? 1 : count, stream);
}

CALL(fwrite, "fwrite", ENOSPC, EINTR, kShort)
extern "C" size_t taken_fwrite(const void *bytes, size_t size, size_t count,
                               FILE *stream) __asm__("fwrite");
size_t taken_fwrite(const void *bytes, size_t size, size_t count, FILE *stream)
{
    REAL("fwrite", size_t, (const void *, size_t, size_t, FILE *));
    const faults::Fault *fault = DUE(fwrite, Subject(stream).text);
    if (fault != nullptr && fault->form == Form::kFails) {
        return 0;
    }
    return real(bytes, size, fault != nullptr && count > 1 ? 1 : count, stream);
}

extern "C" int taken_ferror(FILE *stream) __asm__("ferror");
int taken_ferror(FILE *stream)
{
    REAL("ferror", int, (FILE *));
    return faults::on_caller() && stream == faults::g_broken_stream ? 1 : real(stream);
}

TAKE(putc, int, (int ch, FILE *stream), (ch, stream), Subject(stream).text, EOF, EINTR, ENOSPC)
TAKE(fputs, int, (const char *text, FILE *stream), (text, stream), Subject(stream).text, EOF, EINTR,
     ENOSPC)
TAKE(puts, int, (const char *text), (text), "stdout", EOF, EINTR, ENOSPC)
TAKE(fseek, int, (FILE * stream, long offset, int whence), (stream, offset, whence),
     Subject(stream).text, -1, EINTR, EIO)
TAKE(ftell, long, (FILE * stream), (stream), Subject(stream).text, -1, EINTR, EIO)

// With fortification and without it, printing has two names.
CALL(vfprintf, "vfprintf", EINTR, ENOSPC)
CALL(printf, "printf", EINTR, ENOSPC)
namespace faults {

static int print_to(FILE *stream, const char *format, va_list arguments)
{
    static auto *const real = next_definition<int(FILE *, const char *, va_list)>("vfprintf");
    return DUE(vfprintf, Subject(stream).text) != nullptr ? -1 : real(stream, format, arguments);
}

} // namespace faults

extern "C" int taken_vfprintf(FILE *stream, const char *format, va_list arguments) __asm__("vfprintf");
int taken_vfprintf(FILE *stream, const char *format, va_list arguments)
{
    return faults::print_to(stream, format, arguments);
}

extern "C" int taken_vfprintf_chk(FILE *stream, int flag, const char *format,
                                  va_list arguments) __asm__("__vfprintf_chk");
int taken_vfprintf_chk(FILE *stream, int, const char *format, va_list arguments)
{
    return faults::print_to(stream, format, arguments);
}

namespace faults {

static int print(const char *format, va_list arguments)
{
    if (DUE(printf, "stdout") != nullptr) {
        return -1;
    }
    const Quiet quiet;
    return vfprintf(stdout, format, arguments);
}

} // namespace faults

extern "C" int taken_printf(const char *format, ...) __asm__("printf");
int taken_printf(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int result = faults::print(format, arguments);
    va_end(arguments);
    return result;
}

extern "C" int taken_printf_chk(int flag, const char *format, ...) __asm__("__printf_chk");
int taken_printf_chk(int, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int result = faults::print(format, arguments);
    va_end(arguments);
    return result;
}

// ---- The log: it has no result to fail with ----

extern "C" void taken_vsyslog(int priority, const char *format, va_list arguments) __asm__("vsyslog");
void taken_vsyslog(int priority, const char *format, va_list arguments)
{
    const faults::Quiet quiet;
    char text[4096];
    vsnprintf(text, sizeof(text), format, arguments);
    faults::say("<" + std::to_string(priority) + ">" + faults::without_position(text));
}

extern "C" void taken_vsyslog_chk(int priority, int flag, const char *format,
                                  va_list arguments) __asm__("__vsyslog_chk");
void taken_vsyslog_chk(int priority, int, const char *format, va_list arguments)
{
    taken_vsyslog(priority, format, arguments);
}

extern "C" void taken_perror(const char *text) __asm__("perror");
void taken_perror(const char *text)
{
    const faults::Quiet quiet;
    const std::string line = std::string(text) + ": " + std::to_string(errno);
    const std::lock_guard guard(faults::g_said_mutex);
    faults::g_said.push_back(line);
}

// ---- Sockets ----

CALL(socket, "socket", EMFILE, ENOBUFS, EACCES)
extern "C" int taken_socket(int domain, int type, int protocol) __asm__("socket");
int taken_socket(int domain, int type, int protocol)
{
    REAL("socket", int, (int, int, int));
    if (DUE(socket, "") != nullptr) {
        return -1;
    }
    const int fd = faults::on_caller() && faults::g_hooks.socket ? faults::g_hooks.socket(domain) : -1;
    return fd >= 0 ? fd : real(domain, type, protocol);
}

TAKE(bind, int, (int fd, const sockaddr *address, socklen_t size), (fd, address, size), "", -1,
     EADDRINUSE, EACCES)
TAKE(listen, int, (int fd, int backlog), (fd, backlog), "", -1, EADDRINUSE, EOPNOTSUPP)
TAKE(accept, int, (int fd, sockaddr *address, socklen_t *size), (fd, address, size), "", -1, EINTR,
     EAGAIN, ECONNABORTED, EMFILE)
TAKE(connect, int, (int fd, const sockaddr *address, socklen_t size), (fd, address, size), "", -1,
     EINTR, EAGAIN, ECONNREFUSED, EINPROGRESS)
TAKE(setsockopt, int, (int fd, int level, int option, const void *value, socklen_t size),
     (fd, level, option, value, size), "", -1, ENOPROTOOPT, ENOMEM)

CALL(sendto, "sendto", EINTR, EAGAIN, ECONNREFUSED, ENOBUFS)
extern "C" ssize_t taken_sendto(int fd, const void *bytes, size_t size, int flags,
                                const sockaddr *address, socklen_t address_size) __asm__("sendto");
ssize_t taken_sendto(int fd, const void *bytes, size_t size, int flags, const sockaddr *address,
                     socklen_t address_size)
{
    REAL("sendto", ssize_t, (int, const void *, size_t, int, const sockaddr *, socklen_t));
    if (DUE(sendto, "") != nullptr) {
        return -1;
    }
    if (faults::on_caller() && faults::g_hooks.sendto) {
        const faults::Quiet quiet;
        if (faults::g_hooks.sendto(bytes, size)) {
            return static_cast<ssize_t>(size);
        }
    }
    return real(fd, bytes, size, flags, address, address_size);
}

CALL(recv, "recv", EINTR, EAGAIN, ENETDOWN, kShort, kNothing)
extern "C" ssize_t taken_recv(int fd, void *bytes, size_t size, int flags) __asm__("recv");
ssize_t taken_recv(int fd, void *bytes, size_t size, int flags)
{
    REAL("recv", ssize_t, (int, void *, size_t, int));
    const faults::Fault *fault = DUE(recv, "");
    if (fault != nullptr && fault->form != Form::kShort) {
        return fault->form == Form::kNothing ? 0 : -1;
    }
    return real(fd, bytes, fault != nullptr ? 1 : size, flags);
}

// One that fails leaves the datagram where it is; short or nothing, it is an empty or a cut one.
CALL(recvfrom, "recvfrom", EINTR, EAGAIN, ENOMEM, kShort, kNothing)
extern "C" ssize_t taken_recvfrom(int fd, void *bytes, size_t size, int flags, sockaddr *address,
                                  socklen_t *address_size) __asm__("recvfrom");
ssize_t taken_recvfrom(int fd, void *bytes, size_t size, int flags, sockaddr *address,
                       socklen_t *address_size)
{
    REAL("recvfrom", ssize_t, (int, void *, size_t, int, sockaddr *, socklen_t *));
    const faults::Fault *fault = DUE(recvfrom, "");
    if (fault != nullptr && fault->form == Form::kFails) {
        return -1;
    }
    const ssize_t length = real(fd, bytes, size, flags, address, address_size);
    return fault == nullptr ? length : fault->form == Form::kNothing ? 0 : 8;
}

// The caller's time stands still: what is not there at once does not come.
CALL(select, "select", EINTR, ENOMEM)
extern "C" int taken_select(int count, fd_set *readable, fd_set *writable, fd_set *exceptional,
                            timeval *timeout) __asm__("select");
int taken_select(int count, fd_set *readable, fd_set *writable, fd_set *exceptional, timeval *timeout)
{
    REAL("select", int, (int, fd_set *, fd_set *, fd_set *, timeval *));
    if (DUE(select, "") != nullptr) {
        return -1;
    }
    if (faults::on_caller()) {
        *timeout = {0, 0};
    }
    if (faults::t_role != faults::Role::kLibrary) {
        return real(count, readable, writable, exceptional, timeout);
    }
    if (faults::g_library_thread.blind) {
        usleep(1000);
        return 0;
    }
    faults::g_library_thread.fd = count - 1;
    faults::g_library_thread.in_select = true;
    const int result = real(count, readable, writable, exceptional, timeout);
    faults::g_library_thread.in_select = false;
    return result;
}

// The library waits for room; the tests themselves look for what has come.
CALL(poll, "poll", EINTR, ENOMEM)
extern "C" int taken_poll(pollfd *polled, nfds_t count, int timeout) __asm__("poll");
int taken_poll(pollfd *polled, nfds_t count, int timeout)
{
    REAL("poll", int, (pollfd *, nfds_t, int));
    const bool for_room = count == 0 || polled->events == POLLOUT;
    if (for_room && DUE(poll, "") != nullptr) {
        return -1;
    }
    if (for_room && timeout != 0 && faults::on_caller() && faults::g_hooks.room) {
        const faults::Quiet quiet;
        faults::g_hooks.room();
    }
    return real(polled, count, timeout);
}

CALL(if_nametoindex, "if_nametoindex", EMFILE, ENODEV)
extern "C" unsigned taken_if_nametoindex(const char *name) __asm__("if_nametoindex");
unsigned taken_if_nametoindex(const char *name)
{
    REAL("if_nametoindex", unsigned, (const char *));
    if (DUE(if_nametoindex, name) != nullptr ||
        (faults::on_caller() && faults::g_hooks.hide_interfaces)) {
        return 0;
    }
    return real(name);
}

// ---- Processes and time ----

TAKE(fork, pid_t, (), (), "", -1, EAGAIN, ENOMEM)
TAKE(waitpid, pid_t, (pid_t pid, int *status, int options), (pid, status, options), "", -1, EINTR,
     ECHILD)
TAKE(kill, int, (pid_t pid, int sig), (pid, sig), "", -1, EPERM, ESRCH)
TAKE(execvp, int, (const char *file, char *const argv[]), (file, argv), file, -1, ENOENT, EACCES,
     ENOMEM)
TAKE(setsid, pid_t, (), (), "", -1, EPERM)
TAKE(signal, sighandler_t, (int sig, sighandler_t handler), (sig, handler), "", SIG_ERR, EINVAL)
TAKE(sigprocmask, int, (int how, const sigset_t *set, sigset_t *old), (how, set, old), "", -1, EINVAL)
TAKE(system, int, (const char *command), (faults::in_place_of(command)), command,
     fault->form == Form::kStatus ? 127 << 8 : -1, EAGAIN, ECHILD, kStatus)
TAKE(gettimeofday, int, (timeval * now, void *zone), (now, zone), "", -1, EOVERFLOW)
TAKE(sysinfo, int, (struct sysinfo * info), (info), "", -1, EFAULT)

// No test waits for what the library waits for.
namespace faults {

template <typename Sleep> bool pauses(Sleep real_sleep)
{
    if (!on_caller()) {
        real_sleep();
        return false;
    }
    if (g_hooks.pause) {
        const Quiet quiet;
        g_hooks.pause();
    }
    return true;
}

} // namespace faults

CALL(sleep, "sleep", kShort)
extern "C" unsigned taken_sleep(unsigned seconds) __asm__("sleep");
unsigned taken_sleep(unsigned seconds)
{
    REAL("sleep", unsigned, (unsigned));
    const bool cut = DUE(sleep, "") != nullptr;
    faults::pauses([&] { real(seconds); });
    return cut ? 1 : 0;
}

CALL(usleep, "usleep", EINTR)
extern "C" int taken_usleep(useconds_t microseconds) __asm__("usleep");
int taken_usleep(useconds_t microseconds)
{
    REAL("usleep", int, (useconds_t));
    const faults::Fault *fault = DUE(usleep, "");
    faults::pauses([&] { real(microseconds); });
    return fault != nullptr ? -1 : 0;
}

// ---- Threads ----

CALL(pthread_create, "pthread_create", EAGAIN, EPERM)
extern "C" int taken_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                                    void *(*routine)(void *), void *argument) __asm__("pthread_create");
int taken_pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*routine)(void *),
                         void *argument)
{
    REAL("pthread_create", int, (pthread_t *, const pthread_attr_t *, void *(*)(void *), void *));
    if (!faults::on_caller()) {
        return real(thread, attributes, routine, argument);
    }
    if (const faults::Fault *fault = DUE(pthread_create, ""); fault != nullptr) {
        return fault->error;
    }
    const faults::Quiet quiet; // a thread's stack is libc's to keep
    return real(thread, attributes, faults::run_library_thread, new faults::Started{routine, argument});
}

CALL(pthread_join, "pthread_join", ESRCH, EINVAL, EDEADLK)
extern "C" int taken_pthread_join(pthread_t thread, void **result) __asm__("pthread_join");
int taken_pthread_join(pthread_t thread, void **result)
{
    REAL("pthread_join", int, (pthread_t, void **));
    const faults::Fault *fault = faults::g_threads_count ? DUE(pthread_join, "") : nullptr;
    if (fault != nullptr) {
        return fault->error;
    }
    if (faults::on_caller() && faults::g_hooks.join) {
        const faults::Quiet quiet;
        faults::g_hooks.join();
    }
    return real(thread, result);
}

TAKE_THREAD(pthread_cancel, (pthread_t thread), (thread), ESRCH)
TAKE_THREAD(pthread_attr_init, (pthread_attr_t * attr), (attr), ENOMEM)
TAKE_THREAD(pthread_attr_destroy, (pthread_attr_t * attr), (attr), EINVAL)
TAKE_THREAD(pthread_attr_getscope, (const pthread_attr_t *attr, int *scope), (attr, scope), EINVAL)
TAKE_THREAD(pthread_attr_setscope, (pthread_attr_t * attr, int scope), (attr, scope), EINVAL, ENOTSUP)
TAKE_THREAD(pthread_attr_getdetachstate, (const pthread_attr_t *attr, int *state), (attr, state),
            EINVAL)
TAKE_THREAD(pthread_attr_setdetachstate, (pthread_attr_t * attr, int state), (attr, state), EINVAL)
TAKE_THREAD(pthread_attr_getstacksize, (const pthread_attr_t *attr, size_t *size), (attr, size), EINVAL)
TAKE_THREAD(pthread_attr_setstacksize, (pthread_attr_t * attr, size_t size), (attr, size), EINVAL)
TAKE_THREAD(pthread_mutex_init, (pthread_mutex_t * mutex, const pthread_mutexattr_t *attr),
            (mutex, attr), EAGAIN, ENOMEM)
TAKE_THREAD(pthread_mutex_destroy, (pthread_mutex_t * mutex), (mutex), EBUSY)
TAKE_THREAD(pthread_mutex_lock, (pthread_mutex_t * mutex), (mutex), EINVAL, EDEADLK, EAGAIN)
TAKE_THREAD(pthread_mutex_trylock, (pthread_mutex_t * mutex), (mutex), EBUSY, EAGAIN)
TAKE_THREAD(pthread_mutex_unlock, (pthread_mutex_t * mutex), (mutex), EPERM)
TAKE_THREAD(pthread_cond_init, (pthread_cond_t * cond, const pthread_condattr_t *attr), (cond, attr),
            EAGAIN, ENOMEM)
TAKE_THREAD(pthread_cond_destroy, (pthread_cond_t * cond), (cond), EBUSY)
TAKE_THREAD(pthread_cond_broadcast, (pthread_cond_t * cond), (cond), EINVAL)
TAKE_THREAD(pthread_cond_signal, (pthread_cond_t * cond), (cond), EINVAL)

namespace faults {

// What somebody does for a caller that waits, unless its time is over.
static void begin_wait(const timespec *deadline = nullptr)
{
    if (!on_caller() || !g_hooks.wait) {
        return;
    }
    const Quiet quiet;
    if (deadline == nullptr || deadline->tv_sec >= time(nullptr)) {
        g_hooks.wait();
    }
}

} // namespace faults

// A wait that comes to nothing has ended without a signal.
TAKE_WAIT(pthread_cond_wait, (pthread_cond_t * cond, pthread_mutex_t *mutex), (cond, mutex),
          faults::begin_wait(), kNothing, EPERM)
TAKE_WAIT(pthread_cond_timedwait,
          (pthread_cond_t * cond, pthread_mutex_t *mutex, const timespec *deadline),
          (cond, mutex, deadline), faults::begin_wait(deadline), kNothing, ETIMEDOUT, EPERM)

// ---- The allocation layer ----

CALL(mem_malloc_ex, "mem_malloc_ex", ENOMEM)
void *mem_malloc_ex(uint32_t thread_tag, uint32_t line, uint32_t owner, size_t size)
{
    REAL("mem_malloc_ex", void *, (uint32_t, uint32_t, uint32_t, size_t));
    return DUE(mem_malloc_ex, "") != nullptr ? nullptr : real(thread_tag, line, owner, size);
}

#if !defined(WITH_ADDRESS_SANITIZER) && !defined(WITH_THREAD_SANITIZER)

extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);
void __libc_free(void *block);

void *malloc(size_t size)
{
    void *const block = faults::heap_fails("malloc") ? nullptr : __libc_malloc(size);
    faults::Blocks::took(block);
    return block;
}

void *calloc(size_t count, size_t size)
{
    void *const block = __libc_calloc(count, size);
    faults::Blocks::took(block);
    return block;
}

void *realloc(void *block, size_t size)
{
    if (faults::heap_fails("realloc")) {
        return nullptr;
    }
    faults::Blocks::gave(block);
    void *const grown = __libc_realloc(block, size);
    faults::Blocks::took(grown);
    return grown;
}

void free(void *block)
{
    faults::Blocks::gave(block);
    __libc_free(block);
}
}

#endif
