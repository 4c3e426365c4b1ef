#include "lc_nv/transfer.h"

#include "lc_nv.h"
#include "lc_nv/turn.h"
#include "support/fd.h"
#include "support/ignore.h"

#include <cerrno>
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
namespace {

// The kernel's deadlock detection counts all threads of a process as one owner: if a thread here has
// one parameter and another waits for a second one, and in another process it is the other way round,
// the last request gets EDEADLK. No thread that has a lock waits for another, so the next transfer that
// ends resolves it. If it lasts longer, it is a deadlock with locks of the host's own.
constexpr int kDeadlockTries = 1000;
constexpr useconds_t kDeadlockPauseMicroseconds = 1000;

} // namespace

void nv_wait_for_lock(int fd, short type)
{
    for (int tries = 1; nv_lock_file(fd, F_SETLKW, type) != 0 && errno == EDEADLK; ++tries) {
        if (tries == kDeadlockTries) {
            return;
        }
        usleep(kDeadlockPauseMicroseconds);
    }
}

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
    const ssize_t length = read(fd, text, kNvReadSize);
    if (length > 0) {
        text[length - 1] = '\0';
    }
    return length;
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
