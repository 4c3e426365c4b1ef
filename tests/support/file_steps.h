// Records the system calls that the library makes on the files of the parameter stores, and makes one
// of them fail or kill the process. Outside steps_of() it does nothing.
#pragma once

#include "lc_nv.h"
#include "support/calls.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <map>
#include <mutex>
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

// Hears of the calls from now on.
inline void interpose_file_calls()
{
    calls::open.add([](auto &next, const char *path, int flags, mode_t mode) {
        const std::string name = name_of_file(path);
        if (name.empty()) {
            return next(path, flags, mode);
        }
        const int fd = g_file_steps.next_fails() ? -1 : next(path, flags, mode);
        g_file_steps.note("open " + name + " " + open_flags(flags, mode) + (fd < 0 ? ": fails" : ""));
        g_file_steps.names[fd] = name;
        return fd;
    });
    calls::fcntl.add([](auto &next, int fd, int command, void *argument) {
        const std::string name = g_file_steps.name_of(fd);
        if (name.empty()) {
            return next(fd, command, argument);
        }
        if (g_file_steps.note(lock_step(command, *static_cast<struct flock *>(argument), name))) {
            return -1;
        }
        if (g_file_steps.locks_fail) {
            errno = ENOLCK;
            return -1;
        }
        return next(fd, command, argument);
    });
    calls::ftruncate.add([](auto &next, int fd, off_t length) {
        const std::string name = g_file_steps.name_of(fd);
        const bool fails =
            !name.empty() && g_file_steps.note("cut " + name + " to " + std::to_string(length));
        return fails ? -1 : next(fd, length);
    });
    calls::lseek.add([](auto &next, int fd, off_t offset, int whence) -> off_t {
        const std::string name = g_file_steps.name_of(fd);
        const bool fails =
            !name.empty() && g_file_steps.note("seek " + name + " to " + std::to_string(offset) +
                                               (whence == SEEK_SET ? "" : " from elsewhere"));
        return fails ? -1 : next(fd, offset, whence);
    });
    calls::write.add([](auto &next, int fd, const void *bytes, size_t size) -> ssize_t {
        const std::string name = g_file_steps.name_of(fd);
        if (name.empty()) {
            return next(fd, bytes, size);
        }
        if (g_file_steps.next_kills()) {
            next(fd, bytes, g_file_steps.killed_after);
        }
        if (g_file_steps.note("write " + std::to_string(size) + " to " + name)) {
            return g_file_steps.taken.has_value() ? next(fd, bytes, *g_file_steps.taken) : -1;
        }
        if (!g_file_steps.write_result.has_value()) {
            return next(fd, bytes, size);
        }
        if (*g_file_steps.write_result < 0) {
            errno = ENOSPC;
            return -1;
        }
        return next(fd, bytes, static_cast<size_t>(*g_file_steps.write_result));
    });
    calls::read.add([](auto &next, int fd, void *bytes, size_t size) -> ssize_t {
        const std::string name = g_file_steps.name_of(fd);
        if (name.empty() || !g_file_steps.note("read " + std::to_string(size) + " from " + name)) {
            return next(fd, bytes, size);
        }
        return g_file_steps.taken.has_value() ? next(fd, bytes, *g_file_steps.taken) : -1;
    });
    calls::close.add([](auto &next, int fd) {
        const std::string name = g_file_steps.name_of(fd);
        if (!name.empty()) {
            g_file_steps.note("close " + name);
            g_file_steps.names.erase(fd);
        }
        return next(fd);
    });
    calls::fopen.add([](auto &next, const char *path, const char *mode) {
        const std::string name = name_of_file(path);
        if (name.empty()) {
            return next(path, mode);
        }
        FILE *const stream = g_file_steps.next_fails() ? nullptr : next(path, mode);
        g_file_steps.note("open " + name + " as a stream" + (stream == nullptr ? ": fails" : ""));
        g_file_steps.streams[stream] = name;
        return stream;
    });
    calls::fclose.add([](auto &next, FILE *stream) {
        const auto named = g_file_steps.streams.find(stream);
        if (named != g_file_steps.streams.end()) {
            g_file_steps.note("close " + named->second);
            g_file_steps.streams.erase(named);
        }
        return next(stream);
    });
    calls::mkdir.add([](auto &next, const char *path, mode_t mode) {
        return g_file_steps.note("make " + name_of_file(path) + " " + octal(mode)) ? -1
                                                                                   : next(path, mode);
    });
    calls::rmdir.add([](auto &next, const char *path) {
        return g_file_steps.note("remove " + name_of_file(path)) ? -1 : next(path);
    });
    calls::umask.add([](auto &next, mode_t mask) {
        g_file_steps.note("umask " + octal(mask));
        return next(mask);
    });
    calls::fgets.add([](auto &next, char *buffer, int size, FILE *stream) {
        return g_file_steps.note_stream("line of ", stream) ? nullptr : next(buffer, size, stream);
    });
    calls::fread.add([](auto &next, void *buffer, size_t size, size_t count, FILE *stream) -> size_t {
        return g_file_steps.note_stream("bytes of ", stream) ? 0 : next(buffer, size, count, stream);
    });
    calls::fseek.add([](auto &next, FILE *stream, long offset, int whence) {
        return g_file_steps.note_stream("seek ", stream, " to " + std::to_string(offset))
                   ? -1
                   : next(stream, offset, whence);
    });
    calls::system.add([](auto &next, const char *command) {
        return g_file_steps.note(command) ? -1 : next(command);
    });
}

// The calls that `action` makes on the stores' files.
template <typename Action> Steps steps_of(Action action)
{
    static std::once_flag interposed;
    std::call_once(interposed, interpose_file_calls);
    g_file_steps.steps.clear();
    g_file_steps.names.clear();
    g_file_steps.streams.clear();
    g_file_steps.recording = true;
    action();
    g_file_steps.recording = false;
    return g_file_steps.steps;
}

} // namespace testing_support
