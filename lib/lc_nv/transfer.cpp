#include "lc_nv/transfer.h"

#include "lc_nv.h"
#include "support/fd.h"

#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

int nv_lock_file(int fd, int command, short type)
{
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    return fcntl(fd, command, &lock);
}

namespace lterouter {

FileLock::FileLock(int fd, short type) : fd_(fd) { nv_lock_file(fd_, F_SETLKW, type); }

FileLock::~FileLock() { nv_lock_file(fd_, F_SETLKW, F_UNLCK); }

ssize_t nv_read_text(int fd, char *text)
{
    const FileLock lock(fd, F_RDLCK);
    const ssize_t length = read(fd, text, kNvReadSize);
    if (length > 0) {
        text[length - 1] = '\0';
    }
    return length;
}

void nv_write_text(int fd, const char *text, size_t size)
{
    const FileLock lock(fd, F_WRLCK);
    const ssize_t written = write(fd, text, size);
    // Short writes are not detected by the stores; after a failed one the file keeps its length.
    static_cast<void>(!ftruncate(fd, written));
}

uint32_t nv_load(const char *path, char *buf, uint32_t size)
{
    const Fd file{open(path, O_RDONLY | O_CLOEXEC)};
    if (!file) {
        return NV_ERR_NAME;
    }
    char text[kNvReadSize];
    const ssize_t length = nv_read_text(file.get(), text);
    if (length <= 0) {
        return NV_ERR_NAME;
    }
    if (static_cast<size_t>(length) > size) {
        return NV_ERR_BUFFER;
    }
    strcpy(buf, text);
    return NV_SUCCESS;
}

bool nv_store(const char *path, int creation, const char *value, size_t size)
{
    const Fd file{open(path, O_WRONLY | O_CLOEXEC | creation, 0666)};
    if (!file) {
        return false;
    }
    nv_write_text(file.get(), value, size);
    return true;
}

} // namespace lterouter
