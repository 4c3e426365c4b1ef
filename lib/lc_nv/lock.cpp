#include "lc_nv/lock.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

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

} // namespace lterouter

int nv_lock_file(int fd, int command, short type)
{
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    return fcntl(fd, command, &lock);
}
