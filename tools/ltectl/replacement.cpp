#include "ltectl/replacement.h"

#include "support/fd.h"

#include <atomic>
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
std::atomic<bool> g_is_made{false}; // the farewell of a command that is ended may come at any moment

// The rights of a new file.
mode_t usual_mode()
{
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

// Only root may change the owner.
bool take_owner(int fd, const struct stat &of)
{
    return fchown(fd, of.st_uid, of.st_gid) == 0 || geteuid() != 0;
}

} // namespace

// Not every file can be synchronised, nor every directory (EINVAL).
bool synchronise(int fd) { return fsync(fd) == 0 || errno == EINVAL; }

void remove_unfinished()
{
    if (g_is_made.exchange(false)) {
        unlink(g_unfinished);
    }
}

Replacement::Replacement(const char *path, bool readable_by_all) : readable_by_all_(readable_by_all)
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
    g_is_made = static_cast<bool>(fd);
    return fd && take_rights(fd.get()) ? fd.release() : -1;
}

bool Replacement::take_rights(int fd) const
{
    if (readable_by_all_) {
        return fchmod(fd, 0644) == 0;
    }
    return replaces_ ? take_owner(fd, replaced_) && fchmod(fd, replaced_.st_mode & 07777) == 0
                     : fchmod(fd, usual_mode()) == 0;
}

const char *Replacement::unfinished() const { return g_unfinished; }

bool Replacement::take_place() const { return rename(g_unfinished, path_) == 0; }

// A directory that may not be read cannot be synchronised.
bool Replacement::synchronise_place() const
{
    char directory[PATH_MAX];
    strcpy(directory, path_);
    char *const slash = strrchr(directory, '/');
    strcpy(slash != nullptr ? slash + 1 : directory, ".");
    const Fd fd{::open(directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    return !fd || synchronise(fd.get());
}

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
