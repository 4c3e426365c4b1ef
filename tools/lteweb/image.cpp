#include "lteweb/image.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/statvfs.h>

namespace lterouter::tools {

bool ImageFile::open(const char *folder, uint64_t size)
{
    struct statvfs room;
    if (statvfs(folder, &room) != 0 || uint64_t{room.f_bavail} * room.f_frsize < size) {
        return false;
    }
    char path[512];
    snprintf(path, sizeof(path), "%s/lteweb.XXXXXX", folder);
    fd_.reset(mkostemp(path, O_CLOEXEC));
    return fd_ && unlink(path) == 0;
}

void ImageFile::add(const char *bytes, size_t size)
{
    while (size != 0 && error_ == 0) {
        const ssize_t count = write(fd_.get(), bytes, size);
        if (count <= 0) {
            error_ = count < 0 ? errno : ENOSPC;
            return;
        }
        bytes += count;
        size -= static_cast<size_t>(count);
    }
}

} // namespace lterouter::tools
