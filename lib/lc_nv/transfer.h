// Reading and writing the value in a parameter file under its lock.
#pragma once

#include "lc_nv/lock.h"

#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

namespace lterouter {

class NvTurn;

// The most bytes that one read of a parameter file takes, terminator included.
constexpr size_t kNvReadSize = 4096;

// Holds a lock on the whole file, as nv_wait_for_lock gets it, until the end of the scope. turn: for a
// volatile parameter, whose wait can be cancelled.
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

// The part of nv_read_text that needs the lock, for who has it already. last: the byte that is
// overwritten.
inline ssize_t nv_read_locked(int fd, char *text, char *last = nullptr)
{
    const ssize_t length = read(fd, text, kNvReadSize);
    if (length > 0) {
        if (last != nullptr) {
            *last = text[length - 1];
        }
        text[length - 1] = '\0';
    }
    return length;
}

// Reads a text of at most kNvReadSize bytes from the file's position, under a shared lock. Returns the
// number of bytes, the last of which, the stored terminator, is overwritten with NUL (a file without a
// terminator loses a byte); 0 or less: there is nothing to read.
ssize_t nv_read_text(int fd, char *text, NvTurn *turn = nullptr);

// Writes size bytes at the file's position, under an exclusive lock, then truncates the file after
// them: a longer old value is shortened only when the new bytes are written.
void nv_write_text(int fd, const char *text, size_t size, NvTurn *turn = nullptr);

// Copies the value in a file into buf. Returns 0, NV_ERR_NAME when there is nothing to read,
// NV_ERR_BUFFER when the value with its NUL is longer than size.
uint32_t nv_load(const char *path, char *buf, uint32_t size, NvTurn *turn = nullptr);

// Writes a value, size bytes with its NUL, into a file; creation: O_CREAT to make a missing one, or 0.
// false: the file does not open.
bool nv_store(const char *path, int creation, const char *value, size_t size, NvTurn *turn = nullptr);

} // namespace lterouter
