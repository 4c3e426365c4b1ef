#include "ltectl/scratch_file.h"

#include "common/program.h"
#include "ltectl/storage.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

// More than any file of parameters has; a device may go on for ever.
constexpr size_t kMost = size_t{8} << 20;

ssize_t read_some(int fd, char *bytes, size_t size)
{
    ssize_t count;
    do {
        count = read(fd, bytes, size);
    } while (count < 0 && errno == EINTR);
    return count;
}

int make_file()
{
    const int fd = memfd_create("ltectl", MFD_CLOEXEC);
    if (fd >= 0 || errno != ENOSYS) {
        return fd;
    }
    // A kernel without files in memory.
    char name[] = "/tmp/ltectl.XXXXXX";
    const int in_tmp = mkostemp(name, O_CLOEXEC);
    if (in_tmp >= 0) {
        unlink(name);
    }
    return in_tmp;
}

} // namespace

ScratchFile::ScratchFile() : fd_(make_file()), error_(errno)
{
    snprintf(path_, sizeof(path_), "/proc/self/fd/%d", fd_.get());
}

int ScratchFile::made() const { return fd_ ? kDone : cannot("make a file in", "/tmp", error_); }

int ScratchFile::fill(int from, const char *shown) const
{
    char bytes[4096];
    size_t total = 0;
    ssize_t count;
    while ((count = read_some(from, bytes, sizeof(bytes))) > 0) {
        total += static_cast<size_t>(count);
        if (total > kMost) {
            return fail(kFailed, "%s has more than %zu bytes, which is no file of parameters", shown,
                        kMost);
        }
        if (const int error = write_all(fd_.get(), bytes, static_cast<size_t>(count)); error != 0) {
            return cannot("keep the content of", shown, error);
        }
    }
    return count == 0 ? kDone : cannot("read", shown, errno);
}

int ScratchFile::empty_into(int to, const char *shown) const
{
    char bytes[4096];
    off_t offset = 0;
    ssize_t count;
    while ((count = pread(fd_.get(), bytes, sizeof(bytes), offset)) > 0) {
        if (const int error = write_all(to, bytes, static_cast<size_t>(count)); error != 0) {
            return cannot_write_to(to, shown, error);
        }
        offset += count;
    }
    return count == 0 ? kDone : cannot("read", path_, errno);
}

} // namespace lterouter::tools
