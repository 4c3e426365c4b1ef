// Records the system calls that the library makes on the files of the parameter stores, and makes one
// of them fail or kill the process. For programs that are linked with the
// shared library.
#pragma once

#include "lc_nv.h"
#include "support/interpose.h"

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <fcntl.h>
#include <map>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace testing_support {

using Steps = std::vector<std::string>;

struct FileSteps {
    bool recording = false;
    Steps steps;
    std::map<int, std::string> names; // of the descriptors opened while recording
    std::map<FILE *, std::string> streams;
    std::optional<ssize_t> write_result; // what the next writes take, or a negative result
    bool locks_fail = false;
    size_t failing = 0;          // the step, counted from 1, that fails with EIO; 0: none
    std::optional<size_t> taken; // if it is a read or a write, it takes so many bytes instead
    size_t killed_at = 0;    // the step, counted from 1, before which the process is killed; 0: none
    size_t killed_after = 0; // if it is a write, so many of its bytes are written first

    // From now on this step fails; if it is a read or a write and taken is set, it is cut short
    // instead.
    void fail(size_t step, std::optional<size_t> so_many = std::nullopt)
    {
        failing = step;
        taken = so_many;
    }
    // True when this step is to fail.
    bool note(const std::string &step)
    {
        const bool fails = next_fails();
        if (recording) {
            steps.push_back(step);
        }
        return fails;
    }
    bool next_kills() const { return recording && steps.size() + 1 == killed_at; }
    bool next_fails() const
    {
        if (next_kills()) {
            kill(getpid(), SIGKILL);
        }
        if (!recording || steps.size() + 1 != failing) {
            return false;
        }
        errno = EIO;
        return true;
    }
    // The same for what is done with a stream that was opened while recording.
    bool note_stream(const char *action, FILE *stream, const std::string &end = "")
    {
        const auto named = streams.find(stream);
        return named != streams.end() && note(action + named->second + end);
    }
    // What a descriptor that was opened while recording is called; empty for any other.
    std::string name_of(int fd) const
    {
        const auto found = recording ? names.find(fd) : names.end();
        return found == names.end() ? "" : found->second;
    }
};

inline FileSteps &g_file_steps = kept<FileSteps>();

// What the steps call a file of the stores; empty for any other.
inline std::string name_of_file(const std::string &path)
{
    static const struct {
        std::string folder;
        std::string name;
    } kFolders[] = {{NVMRAM_DIR, ""},
                    {NVM_CURRENT_DIR, "current "},
                    {NVM_BACKUP_DIR, "backup "},
                    {"/2ndfile/nv/", ""},
                    {"/2ndfile/", ""}};
    for (const auto &[folder, name] : kFolders) {
        if (path.starts_with(folder)) {
            return name + (path == folder ? "folder" : path.substr(folder.size()));
        }
    }
    return "";
}

inline std::string octal(mode_t mode)
{
    char text[16];
    snprintf(text, sizeof(text), "%04o", mode);
    return text;
}

inline std::string open_flags(int flags, mode_t mode)
{
    static const std::map<int, std::string> kAccess = {
        {O_RDONLY, "to read"}, {O_WRONLY, "to write"}, {O_RDWR, "for both"}};
    std::string text = kAccess.at(flags & O_ACCMODE);
    if ((flags & O_CREAT) != 0) {
        text += ", creating " + octal(mode);
    }
    if ((flags & O_TRUNC) != 0) {
        text += ", truncating";
    }
    if ((flags & O_APPEND) != 0) {
        text += ", appending";
    }
    return text;
}

inline std::string lock_step(int command, const struct flock &lock, const std::string &name)
{
    const char *type = lock.l_type == F_RDLCK   ? "shared lock of "
                       : lock.l_type == F_WRLCK ? "exclusive lock of "
                                                : "unlock ";
    const bool whole = lock.l_whence == SEEK_SET && lock.l_start == 0 && lock.l_len == 0;
    return type + name + (whole ? "" : ", in part") + (command == F_SETLKW ? "" : ", not waiting");
}

// The calls that `action` makes on the stores' files.
template <typename Action> Steps steps_of(Action action)
{
    g_file_steps.steps.clear();
    g_file_steps.names.clear();
    g_file_steps.streams.clear();
    g_file_steps.recording = true;
    action();
    g_file_steps.recording = false;
    return g_file_steps.steps;
}

} // namespace testing_support

extern "C" {

int taken_open(const char *path, int flags, ...) __asm__("open64");
int taken_fcntl(int fd, int command, ...) __asm__("fcntl64");
int taken_ftruncate(int fd, off_t length) __asm__("ftruncate64");
off_t taken_lseek(int fd, off_t offset, int whence) __asm__("lseek64");
ssize_t taken_read(int fd, void *bytes, size_t size) __asm__("read");
FILE *taken_fopen(const char *path, const char *mode) __asm__("fopen64");
int taken_fclose(FILE *stream) __asm__("fclose");

TAKES_OVER int taken_open(const char *path, int flags, ...)
{
    using namespace testing_support;
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = va_arg(arguments, mode_t);
    va_end(arguments);
    const std::string name = name_of_file(path);
    const int fd = !name.empty() && g_file_steps.next_fails()
                       ? -1
                       : next_definition<int(const char *, int, ...)>("open64")(path, flags, mode);
    if (!name.empty()) {
        g_file_steps.note("open " + name + " " + open_flags(flags, mode) + (fd < 0 ? ": fails" : ""));
        g_file_steps.names[fd] = name;
    }
    return fd;
}

TAKES_OVER int taken_fcntl(int fd, int command, ...)
{
    using namespace testing_support;
    va_list arguments;
    va_start(arguments, command);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    const std::string name = g_file_steps.name_of(fd);
    if (!name.empty()) {
        if (g_file_steps.note(lock_step(command, *static_cast<struct flock *>(argument), name))) {
            return -1;
        }
        if (g_file_steps.locks_fail) {
            errno = ENOLCK;
            return -1;
        }
    }
    return next_definition<int(int, int, ...)>("fcntl64")(fd, command, argument);
}

TAKES_OVER int taken_ftruncate(int fd, off_t length)
{
    using namespace testing_support;
    const std::string name = g_file_steps.name_of(fd);
    if (!name.empty() && g_file_steps.note("cut " + name + " to " + std::to_string(length))) {
        return -1;
    }
    return next_definition<int(int, off_t)>("ftruncate64")(fd, length);
}

TAKES_OVER off_t taken_lseek(int fd, off_t offset, int whence)
{
    using namespace testing_support;
    const std::string name = g_file_steps.name_of(fd);
    if (!name.empty() && g_file_steps.note("seek " + name + " to " + std::to_string(offset) +
                                           (whence == SEEK_SET ? "" : " from elsewhere"))) {
        return -1;
    }
    return next_definition<off_t(int, off_t, int)>("lseek64")(fd, offset, whence);
}

TAKES_OVER ssize_t write(int fd, const void *bytes, size_t size)
{
    using namespace testing_support;
    const auto write_out = next_definition<ssize_t(int, const void *, size_t)>("write");
    const std::string name = g_file_steps.name_of(fd);
    if (!name.empty()) {
        if (g_file_steps.next_kills()) {
            write_out(fd, bytes, g_file_steps.killed_after);
        }
        if (g_file_steps.note("write " + std::to_string(size) + " to " + name)) {
            if (!g_file_steps.taken.has_value()) {
                return -1;
            }
            size = *g_file_steps.taken;
        }
        if (g_file_steps.write_result.has_value()) {
            if (*g_file_steps.write_result < 0) {
                errno = ENOSPC;
                return -1;
            }
            size = static_cast<size_t>(*g_file_steps.write_result);
        }
    }
    return write_out(fd, bytes, size);
}

TAKES_OVER ssize_t taken_read(int fd, void *bytes, size_t size)
{
    using namespace testing_support;
    const std::string name = g_file_steps.name_of(fd);
    if (!name.empty() && g_file_steps.note("read " + std::to_string(size) + " from " + name)) {
        if (!g_file_steps.taken.has_value()) {
            return -1;
        }
        size = *g_file_steps.taken;
    }
    return next_definition<ssize_t(int, void *, size_t)>("read")(fd, bytes, size);
}

TAKES_OVER int close(int fd)
{
    using namespace testing_support;
    const std::string name = g_file_steps.name_of(fd);
    if (!name.empty()) {
        g_file_steps.note("close " + name);
        g_file_steps.names.erase(fd);
    }
    return next_definition<int(int)>("close")(fd);
}

TAKES_OVER FILE *taken_fopen(const char *path, const char *mode)
{
    using namespace testing_support;
    const std::string name = name_of_file(path);
    FILE *const stream =
        !name.empty() && g_file_steps.next_fails()
            ? nullptr
            : next_definition<FILE *(const char *, const char *)>("fopen64")(path, mode);
    if (!name.empty()) {
        g_file_steps.note("open " + name + " as a stream" + (stream == nullptr ? ": fails" : ""));
        g_file_steps.streams[stream] = name;
    }
    return stream;
}

TAKES_OVER int taken_fclose(FILE *stream)
{
    using namespace testing_support;
    const auto named = g_file_steps.streams.find(stream);
    if (named != g_file_steps.streams.end()) {
        g_file_steps.note("close " + named->second);
        g_file_steps.streams.erase(named);
    }
    return next_definition<int(FILE *)>("fclose")(stream);
}

TAKES_OVER int mkdir(const char *path, mode_t mode) noexcept
{
    using namespace testing_support;
    if (g_file_steps.note("make " + name_of_file(path) + " " + octal(mode))) {
        return -1;
    }
    return next_definition<int(const char *, mode_t)>("mkdir")(path, mode);
}

TAKES_OVER int rmdir(const char *path) noexcept
{
    using namespace testing_support;
    if (g_file_steps.note("remove " + name_of_file(path))) {
        return -1;
    }
    return next_definition<int(const char *)>("rmdir")(path);
}

TAKES_OVER mode_t umask(mode_t mask) noexcept
{
    using namespace testing_support;
    g_file_steps.note("umask " + octal(mask));
    return next_definition<mode_t(mode_t)>("umask")(mask);
}

TAKES_OVER char *fgets(char *buffer, int size, FILE *stream)
{
    using namespace testing_support;
    if (g_file_steps.note_stream("line of ", stream)) {
        return nullptr;
    }
    return next_definition<char *(char *, int, FILE *)>("fgets")(buffer, size, stream);
}

TAKES_OVER size_t fread(void *buffer, size_t size, size_t count, FILE *stream)
{
    using namespace testing_support;
    if (g_file_steps.note_stream("bytes of ", stream)) {
        return 0;
    }
    return next_definition<size_t(void *, size_t, size_t, FILE *)>("fread")(buffer, size, count,
                                                                            stream);
}

TAKES_OVER int fseek(FILE *stream, long offset, int whence)
{
    using namespace testing_support;
    if (g_file_steps.note_stream("seek ", stream, " to " + std::to_string(offset))) {
        return -1;
    }
    return next_definition<int(FILE *, long, int)>("fseek")(stream, offset, whence);
}

TAKES_OVER int system(const char *command)
{
    using namespace testing_support;
    if (g_file_steps.note(command)) {
        return -1;
    }
    return next_definition<int(const char *)>("system")(command);
}
}
