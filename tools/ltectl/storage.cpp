#include "ltectl/storage.h"

#include "common/program.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace lterouter::tools {

namespace {

// Where the file system that holds a path, or would, is mounted; empty when the path does not tell.
struct MountPoint {
    explicit MountPoint(const char *path)
    {
        snprintf(text, sizeof(text), "%s", *path == '/' ? path : "/");
        struct stat below;
        do {
            cut();
        } while (stat(text, &below) != 0);
        char folder[sizeof(text)];
        struct stat above;
        do {
            strcpy(folder, text);
        } while (cut() && stat(text, &above) == 0 && above.st_dev == below.st_dev);
        strcpy(text, folder);
    }
    // Goes on to the folder above; false at the root.
    bool cut()
    {
        char *const slash = strrchr(text, '/');
        const bool cuttable = slash[1] != '\0';
        *(slash == text ? slash + 1 : slash) = '\0';
        return cuttable;
    }
    char text[128];
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
