// Reading and writing the value in a parameter file under its lock. Other processes, also some without
// this library, lock the same files with the same record locks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <sys/types.h>

// A whole-file record lock: command F_SETLKW or F_SETLK, type F_RDLCK, F_WRLCK or F_UNLCK; as fcntl(2)
// returns.
extern "C" int nv_lock_file(int fd, int command, short type);

namespace lterouter {

class NvTurn;

// The most bytes that one read of a parameter file takes, terminator included.
constexpr size_t kNvReadSize = 4096;

// Waits for a lock on the whole file, F_RDLCK shared or F_WRLCK exclusive. When it is refused the
// stores go on without it rather than lose a parameter.
void nv_wait_for_lock(int fd, short type);

// Holds such a lock until the end of the scope. turn: for a volatile parameter, whose wait can be
// cancelled.
class FileLock {
public:
    FileLock(int fd, short type, NvTurn *turn = nullptr) : fd_(fd) { take(fd, type, turn); }
    ~FileLock() { nv_lock_file(fd_, F_SETLKW, F_UNLCK); }
    FileLock(const FileLock &) = delete;
    FileLock &operator=(const FileLock &) = delete;

private:
    static void take(int fd, short type, NvTurn *turn);

    const int fd_;
};

// Reads a text of at most kNvReadSize bytes from the file's position, under a shared lock. Returns the
// number of bytes, the last of which, the stored terminator, is overwritten with NUL (a file without a
// terminator loses a byte); 0 or less: there is nothing to read.
ssize_t nv_read_text(int fd, char *text, NvTurn *turn = nullptr);

// Writes size bytes at the file's position, under an exclusive lock, then truncates the file behind
// them: a longer old value is shortened only when the new bytes are written.
void nv_write_text(int fd, const char *text, size_t size, NvTurn *turn = nullptr);

// Copies the value in a file into buf. Returns 0, NV_ERR_NAME when there is nothing to read,
// NV_ERR_BUFFER when the value with its NUL is longer than size.
uint32_t nv_load(const char *path, char *buf, uint32_t size, NvTurn *turn = nullptr);

// Writes a value, size bytes with its NUL, into a file; creation: O_CREAT to make a missing one, or 0.
// false: the file does not open.
bool nv_store(const char *path, int creation, const char *value, size_t size, NvTurn *turn = nullptr);

} // namespace lterouter
