#include "ltectl/replacement.h"

#include "support/fd.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

// In the directory of the file that it replaces.
char g_unfinished[PATH_MAX];

// Sets the owner and rights of another file, or those of a new one: nullptr. False with errno set.
bool take_rights(int fd, const struct stat *of)
{
    if (of == nullptr) {
        const mode_t mask = umask(0);
        umask(mask);
        return fchmod(fd, 0666 & ~mask) == 0;
    }
    // Only root may change the owner.
    const bool given = fchown(fd, of->st_uid, of->st_gid) == 0 || geteuid() != 0;
    return given && fchmod(fd, of->st_mode & 07777) == 0;
}

} // namespace

void remove_unfinished() { unlink(g_unfinished); }

Replacement::Replacement(const char *path)
{
    replaces_ = realpath(path, path_) != nullptr && stat(path_, &replaced_) == 0;
    if (!replaces_) {
        snprintf(path_, sizeof(path_), "%s", path);
    }
}

int Replacement::open() const
{
    constexpr char kEnd[] = ".XXXXXX";
    if (strlen(path_) + sizeof(kEnd) > sizeof(g_unfinished)) {
        errno = ENAMETOOLONG;
        return -1;
    }
    strcpy(g_unfinished, path_);
    strcat(g_unfinished, kEnd);
    Fd fd{mkostemp(g_unfinished, O_CLOEXEC)};
    if (!fd) {
        g_unfinished[0] = '\0';
        return -1;
    }
    return take_rights(fd.get(), replaces_ ? &replaced_ : nullptr) ? fd.release() : -1;
}

const char *Replacement::unfinished() const { return g_unfinished; }

bool Replacement::take_place() const { return rename(g_unfinished, path_) == 0; }

bool Replacement::is_refused(int error) const
{
    return replaces_ && (error == EACCES || error == EPERM || error == EROFS || error == EBUSY);
}

bool is_stream(const char *path)
{
    struct stat status;
    return stat(path, &status) == 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode);
}

} // namespace lterouter::tools
