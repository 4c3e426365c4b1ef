#include "modemsim/port.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

// What a filled port still takes.
constexpr size_t kRoom = 1024;

bool replace_link(const char *target, const char *link)
{
    struct stat status;
    if (lstat(link, &status) == 0 && !S_ISLNK(status.st_mode)) {
        errno = EEXIST;
        return false;
    }
    unlink(link);
    return symlink(target, link) == 0;
}

// Until it is set otherwise a port neither echoes nor translates, as a modem's does not.
void make_raw(int fd)
{
    termios settings;
    tcgetattr(fd, &settings);
    cfmakeraw(&settings);
    tcsetattr(fd, TCSANOW, &settings);
}

void set_nonblocking(int fd, bool nonblocking)
{
    const int flags = fcntl(fd, F_GETFL);
    fcntl(fd, F_SETFL, nonblocking ? flags | O_NONBLOCK : flags & ~O_NONBLOCK);
}

} // namespace

bool Port::appear()
{
    far_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    char name[64];
    if (far_ < 0 || grantpt(far_) != 0 || unlockpt(far_) != 0 ||
        ptsname_r(far_, name, sizeof(name)) != 0) {
        return false;
    }
    near_ = open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (near_ < 0) {
        return false;
    }
    make_raw(near_);
    return replace_link(name, link_);
}

void Port::disappear()
{
    if (far_ < 0) {
        return;
    }
    unlink(link_);
    close(near_);
    close(far_);
    near_ = far_ = -1;
}

bool Port::write(const void *bytes, size_t size) const
{
    return ::write(far_, bytes, size) == static_cast<ssize_t>(size);
}

void Port::hold(bool held) const { tcflow(near_, held ? TCOOFF : TCOON); }

void Port::fill() const
{
    const char block[kRoom] = {};
    set_nonblocking(near_, true);
    while (::write(near_, block, sizeof(block)) > 0) {
    }
    set_nonblocking(near_, false);
    char taken[kRoom];
    static_cast<void>(!read(far_, taken, sizeof(taken)));
}

} // namespace lterouter::tools
