// Start-up of the persistent store: after a run that did not end in order, every declared parameter
// gets two equal copies again. The current copy counts whenever it holds something; the backup replaces
// a missing or empty one, and the default fills a parameter that has neither.

#include "lc_nv.h"

#include "lc_nv/parameter_file.h"
#include "lc_nv/store.h"
#include "lc_nv/transfer.h"
#include "support/fd.h"
#include "support/ignore.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lterouter {
namespace {

void cut(int fd, size_t size)
{
    ignore(ftruncate(fd, static_cast<off_t>(size)), "the next start repairs again");
}

void cut_locked(int fd, size_t size)
{
    const FileLock lock(fd, F_WRLCK);
    cut(fd, size);
}

// Whether a file holds this text, size bytes with its NUL, and nothing else. Like the two repairs not
// inlined, so that the buffers of only one are on the stack at a time.
[[gnu::noinline]] bool holds(int fd, const char *text, size_t size)
{
    char held[kNvReadSize];
    const FileLock lock(fd, F_RDLCK);
    return read(fd, held, sizeof(held)) == static_cast<ssize_t>(size) && memcmp(held, text, size) == 0;
}

// Makes the backup equal to the current copy's text. false: the backup cannot be opened.
bool mirror(const char *backup, const char *text, size_t size)
{
    const Fd file{open(backup, O_RDWR | O_CREAT | O_CLOEXEC, 0666)};
    if (!file) {
        return false;
    }
    if (!holds(file.get(), text, size)) {
        const FileLock lock(file.get(), F_WRLCK);
        lseek(file.get(), 0, SEEK_SET);
        ignore(write(file.get(), text, size), "the next start repairs again");
        cut(file.get(), size);
    }
    return true;
}

// false: the current copy is missing or empty, or the backup cannot be opened.
[[gnu::noinline]] bool repair_from_current(const NvCopies &copies)
{
    const Fd current{open(copies.current.text, O_RDWR | O_CLOEXEC)};
    char text[kNvReadSize];
    if (!current || nv_read_text(current.get(), text) <= 0) {
        return false;
    }
    const size_t size = strlen(text) + 1;
    if (!mirror(copies.backup.text, text, size)) {
        return false;
    }
    cut_locked(current.get(), size); // what follows the first NUL was never part of the value
    return true;
}

// false: the backup is missing or empty, or the current copy cannot be created.
[[gnu::noinline]] bool repair_from_backup(const NvCopies &copies)
{
    const Fd backup{open(copies.backup.text, O_RDWR | O_CLOEXEC)};
    char text[kNvReadSize];
    if (!backup || nv_read_text(backup.get(), text) <= 0) {
        return false;
    }
    const Fd current{open(copies.current.text, O_RDWR | O_CREAT | O_CLOEXEC, 0666)};
    if (!current) {
        return false;
    }
    const size_t size = strlen(text) + 1;
    nv_write_text(current.get(), text, size);
    cut_locked(backup.get(), size);
    return true;
}

void repair(const NvParameter &parameter)
{
    const NvCopies copies(parameter.name);
    if (!repair_from_current(copies) && !repair_from_backup(copies)) {
        copies.store(parameter.value, strlen(parameter.value) + 1);
    }
}

bool make_directory(const char *path) { return mkdir(path, 0666) == 0 || errno == EEXIST; }

} // namespace
} // namespace lterouter

using namespace lterouter;

uint32_t nvm_init()
{
    umask(0);
    if (lc_dir_exist(NVM_SHUTDOWN_MARKER) == 0) {
        return rmdir(NVM_SHUTDOWN_MARKER) == 0 ? NV_SUCCESS : NV_ERR_SYSTEM;
    }
    NvParameterFile defaults(NVM_DEFAULTS_FILE);
    if (!defaults || !make_directory(NVM_CURRENT_DIR) || !make_directory(NVM_BACKUP_DIR)) {
        return NV_ERR_SYSTEM;
    }
    NvParameter parameter;
    NvLine line;
    while ((line = defaults.next(&parameter)) == NvLine::kParameter) {
        repair(parameter);
    }
    return line == NvLine::kEnd ? NV_SUCCESS : NV_ERR_SYSTEM;
}
