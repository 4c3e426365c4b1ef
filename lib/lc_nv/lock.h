// Record locks on parameter files. Other processes, also some without this library, lock the same files
// with the same record locks.
#pragma once

// A whole-file record lock: command F_SETLKW or F_SETLK, type F_RDLCK, F_WRLCK or F_UNLCK; as fcntl(2)
// returns.
extern "C" int nv_lock_file(int fd, int command, short type);

namespace lterouter {

// Waits for a lock on the whole file, F_RDLCK shared or F_WRLCK exclusive. When it is refused the
// stores go on without it rather than lose a parameter.
void nv_wait_for_lock(int fd, short type);

} // namespace lterouter
