#include "ltectl/parameter_copy.h"

#include "common/program.h"
#include "ltectl/deadline.h"
#include "ltectl/storage.h"
#include "support/fd.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

// What is wrong with what a reader has got of a file. last: what was in the terminator's place.
const char *judge(const char *text, size_t count, char last, size_t file_size)
{
    const size_t used = strlen(text) + 1;
    if (used == count && last != '\0') {
        return file_size > count ? "too-long" : "unterminated";
    }
    return used == file_size ? nullptr : "trailing-bytes";
}

// Given up when the descriptor is closed.
void lock(int fd, short type)
{
    const Waiting waiting(kStoreWait);
    nv_wait_for_lock(fd, type);
}

// As the library stores it, but told how it went.
int store(const char *path, const char *value)
{
    Fd fd{open(path, O_WRONLY | O_CREAT | O_NONBLOCK | O_CLOEXEC, 0666)};
    if (!fd) {
        return errno;
    }
    lock(fd.get(), F_WRLCK);
    const size_t size = strlen(value) + 1;
    int error = write_all(fd.get(), value, size);
    if (error == 0 && ftruncate(fd.get(), static_cast<off_t>(size)) != 0) {
        error = errno;
    }
    return close(fd.release()) == 0 || error != 0 ? error : errno;
}

} // namespace

CopyPath::CopyPath(const CopyPlace &place, const char *name)
{
    snprintf(text, sizeof(text), "%s%s", place.directory, name);
}

Copy::Copy(const CopyPlace &place, const char *name) : path(place, name)
{
    // What is no file is not waited for.
    const Fd fd{open(path.text, O_RDONLY | O_NONBLOCK | O_CLOEXEC)};
    if (!fd) {
        problem = errno == ENOENT ? "missing" : unreadable(errno);
        return;
    }
    problem = read_file(fd.get()); // the lock goes with the descriptor
}

const char *Copy::unreadable(int reason)
{
    error = reason;
    return "unreadable";
}

const char *Copy::read_file(int fd)
{
    lock(fd, F_RDLCK);
    struct stat status;
    if (fstat(fd, &status) != 0) {
        return unreadable(errno);
    }
    if (!S_ISREG(status.st_mode)) {
        return unreadable(S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
    }
    char last = '\0';
    const ssize_t count = nv_read_locked(fd, value, &last);
    if (count < 0) {
        return unreadable(errno);
    }
    if (count == 0) {
        return "empty";
    }
    usable = true;
    return judge(value, static_cast<size_t>(count), last, static_cast<size_t>(status.st_size));
}

bool Copy::holds(const char *text) const { return usable && strcmp(value, text) == 0; }

int Copy::complain() const { return cannot("read", path.text, error); }

bool MissingValue::found(const CopyPlace &place, const char *name, const char *value)
{
    if (Copy(place, name).holds(value)) {
        return false;
    }
    const CopyPath path(place, name);
    error_ = store(path.text, value);
    if (error_ == 0 && Copy(place, name).holds(value)) {
        return false;
    }
    strcpy(path_, path.text);
    return true;
}

int MissingValue::complain() const
{
    return error_ != 0 ? cannot("write", path_, error_)
                       : fail(kFailed, "%s holds something else than was written", path_);
}

} // namespace lterouter::tools
