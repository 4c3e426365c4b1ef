#include "lc_nv/transfer.h"

#include "lc_nv.h"
#include "lc_nv/turn.h"
#include "support/fd.h"
#include "support/ignore.h"

#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace lterouter {

void FileLock::take(int fd, short type, NvTurn *turn)
{
    if (turn != nullptr) {
        turn->lock_file(fd, type);
    } else {
        nv_wait_for_lock(fd, type);
    }
}

ssize_t nv_read_text(int fd, char *text, NvTurn *turn)
{
    const FileLock lock(fd, F_RDLCK, turn);
    return nv_read_locked(fd, text);
}

void nv_write_text(int fd, const char *text, size_t size, NvTurn *turn)
{
    const FileLock lock(fd, F_WRLCK, turn);
    const ssize_t written = write(fd, text, size);
    // A short write is not reported; after a failed one (-1) the file keeps its length.
    ignore(ftruncate(fd, written), "the stores report no failed write");
}

uint32_t nv_load(const char *path, char *buf, uint32_t size, NvTurn *turn)
{
    const Fd file{open(path, O_RDONLY | O_CLOEXEC)};
    if (!file) {
        return NV_ERR_NAME;
    }
    char text[kNvReadSize];
    const ssize_t length = nv_read_text(file.get(), text, turn);
    if (length <= 0) {
        return NV_ERR_NAME;
    }
    if (static_cast<size_t>(length) > size) {
        return NV_ERR_BUFFER;
    }
    strcpy(buf, text);
    return NV_SUCCESS;
}

bool nv_store(const char *path, int creation, const char *value, size_t size, NvTurn *turn)
{
    const Fd file{open(path, O_WRONLY | O_CLOEXEC | creation, 0666)};
    if (!file) {
        return false;
    }
    nv_write_text(file.get(), value, size, turn);
    return true;
}

} // namespace lterouter
