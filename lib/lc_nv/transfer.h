// Moving a value into and out of a parameter file under its lock. Other processes, also ones that do
// not use this library, guard the same files with the same record locks.
#pragma once

#include "lc_pthread/mutex.h"

#include <cstddef>
#include <sys/types.h>

namespace lterouter {

// Held from opening a parameter file to closing it. Record locks belong to the process: they do not
// keep its own threads apart, and closing any descriptor of the file gives them up.
extern Mutex g_nv_mutex;

// Reads at most size bytes from the start of the file under a shared lock; as read(2) returns.
ssize_t nv_read_locked(int fd, char *buf, size_t size);

// Writes size bytes to the start of the file under an exclusive lock and cuts the file behind them.
// Cutting comes last: a longer old value is shortened only when the new bytes are in place.
void nv_write_locked(int fd, const char *value, size_t size);

} // namespace lterouter

// A whole-file record lock: command F_SETLKW or F_SETLK, type F_RDLCK, F_WRLCK or F_UNLCK; as fcntl(2)
// returns.
extern "C" int nv_lock_file(int fd, int command, short type);
