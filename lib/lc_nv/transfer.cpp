#include "lc_nv/transfer.h"

#include <cstdio>
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

Mutex g_nv_mutex;

ssize_t nv_read_locked(int fd, char *buf, size_t size)
{
    nv_lock_file(fd, F_SETLKW, F_RDLCK);
    const ssize_t length = read(fd, buf, size);
    nv_lock_file(fd, F_SETLKW, F_UNLCK);
    return length;
}

void nv_write_locked(int fd, const char *value, size_t size)
{
    nv_lock_file(fd, F_SETLKW, F_WRLCK);
    const ssize_t written = write(fd, value, size);
    // Short writes are not detected by this store; after a failed one the file keeps its length.
    static_cast<void>(!ftruncate(fd, written));
    nv_lock_file(fd, F_SETLKW, F_UNLCK);
}

} // namespace lterouter
