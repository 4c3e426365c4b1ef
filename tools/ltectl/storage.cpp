#include "ltectl/storage.h"

#include "common/program.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace lterouter::tools {

namespace {

constexpr size_t kPathSize = 1024;

// Where the file system that holds a path, or would, is mounted.
struct MountPoint {
    explicit MountPoint(const char *path)
    {
        char above[kPathSize];
        snprintf(above, sizeof(above), "%s%s", *path == '/' ? "" : "./", path);
        char *real;
        while ((real = realpath(above, nullptr)) == nullptr && cut(above)) {
        }
        snprintf(text, sizeof(text), "%s", real != nullptr ? real : "/");
        free(real);
        strcpy(above, text);
        size_t length;
        do {
            length = strlen(above);
        } while (cut(above) && on_one_device(above, text));
        text[length] = '\0';
    }
    // Goes on to the folder above; false where there is none.
    static bool cut(char *path)
    {
        char *const slash = strrchr(path, '/');
        if (slash == nullptr || path[1] == '\0') {
            return false;
        }
        *(slash == path ? slash + 1 : slash) = '\0';
        return true;
    }
    static bool on_one_device(const char *path, const char *other)
    {
        struct stat status[2];
        return stat(path, &status[0]) == 0 && stat(other, &status[1]) == 0 &&
               status[0].st_dev == status[1].st_dev;
    }
    char text[kPathSize];
};

} // namespace

Remedy::Remedy(const char *path, int error)
{
    switch (error) {
    case EACCES:
    case EPERM:
        snprintf(text, sizeof(text), "; it takes root's rights");
        break;
    case ENOSPC:
    case EDQUOT:
        snprintf(text, sizeof(text), "; make room: df %s tells how full it is", MountPoint(path).text);
        break;
    case EROFS:
        snprintf(text, sizeof(text), "; make it writable: mount -o remount,rw %s",
                 MountPoint(path).text);
        break;
    default:
        break;
    }
}

int cannot(const char *action, const char *path, int error)
{
    return fail(kFailed, "cannot %s %s: %s%s", action, path, strerror(error), Remedy(path, error).text);
}

int cannot_write_to(int fd, const char *shown, int error)
{
    char path[32];
    snprintf(path, sizeof(path), "/proc/self/fd/%d", fd);
    return fail(kFailed, "cannot write %s: %s%s", shown, strerror(error), Remedy(path, error).text);
}

int write_all(int fd, const char *bytes, size_t size)
{
    while (size != 0) {
        const ssize_t count = write(fd, bytes, size);
        if (count < 0 && errno != EINTR) {
            return errno;
        }
        if (count > 0) {
            bytes += count;
            size -= static_cast<size_t>(count);
        }
    }
    return 0;
}

} // namespace lterouter::tools
