#include "ltectl/parameter_copy.h"

#include "common/program.h"
#include "ltectl/deadline.h"
#include "ltectl/storage.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

// What the bytes of a file, of which a reader takes no more than fit, are wrong in.
const char *judge(const char *bytes, size_t count, size_t file_size)
{
    const void *terminator = memchr(bytes, '\0', count);
    if (terminator != nullptr) {
        const size_t used = static_cast<size_t>(static_cast<const char *>(terminator) + 1 - bytes);
        return used == file_size ? nullptr : "trailing-bytes";
    }
    return file_size > count ? "too-long" : "unterminated";
}

// Given up when the descriptor is closed.
void lock(int fd, short type)
{
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    const Waiting waiting(kStoreWait);
    fcntl(fd, F_SETLKW, &lock);
}

// As the library stores it, but told how it went.
int store(const char *path, const char *value)
{
    const int fd = open(path, O_WRONLY | O_CREAT | O_NONBLOCK | O_CLOEXEC, 0666);
    if (fd < 0) {
        return errno;
    }
    lock(fd, F_WRLCK);
    const size_t size = strlen(value) + 1;
    int error = write_all(fd, value, size);
    if (error == 0 && ftruncate(fd, static_cast<off_t>(size)) != 0) {
        error = errno;
    }
    return close(fd) == 0 || error != 0 ? error : errno;
}

} // namespace

CopyPath::CopyPath(const CopyPlace &place, const char *name)
{
    snprintf(text, sizeof(text), "%s%s", place.directory, name);
}

Copy::Copy(const CopyPlace &place, const char *name) : path(place, name)
{
    // What is no file is not waited for.
    const int fd = open(path.text, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        problem = errno == ENOENT ? "missing" : unreadable(errno);
        return;
    }
    problem = read_file(fd);
    close(fd); // and with it goes the lock
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
    const ssize_t count = read(fd, value, sizeof(value));
    if (count < 0) {
        return unreadable(errno);
    }
    if (count == 0) {
        return "empty";
    }
    const auto size = static_cast<size_t>(count);
    const char *const wrong = judge(value, size, static_cast<size_t>(status.st_size));
    value[size - 1] = '\0';
    usable = true;
    return wrong;
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
