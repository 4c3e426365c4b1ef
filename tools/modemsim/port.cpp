#include "modemsim/port.h"

#include "lc_nv.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <termios.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

// The room left in a filled port, and the size of the filling writes: the kernel buffers bytes in
// portions of 256, and takes a whole frame while it may begin another portion.
constexpr size_t kRoom = 128;
constexpr size_t kPortion = 64;
constexpr int kRounds = 4;

// The name of a socket that stands for a path, the same for every spelling of it; false when the folder
// is not there.
bool name_place(const char *path, sockaddr_un *address)
{
    const char *const slash = strrchr(path, '/');
    const char *const name = slash == nullptr ? path : slash + 1;
    char folder[256];
    snprintf(folder, sizeof(folder), "%.*s./", static_cast<int>(name - path), path);
    struct stat status;
    if (stat(folder, &status) != 0) {
        return false;
    }
    *address = {};
    address->sun_family = AF_UNIX;
    // Behind the NUL of the abstract namespace.
    snprintf(address->sun_path + 1, sizeof(address->sun_path) - 1, "modemsim %llx %llx %08x",
             static_cast<unsigned long long>(status.st_dev),
             static_cast<unsigned long long>(status.st_ino),
             static_cast<unsigned>(nv_crc32_update(0, name, strlen(name))));
    return true;
}

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

bool leads_to(const char *target, const char *link)
{
    char found[64];
    const ssize_t length = readlink(link, found, sizeof(found));
    return length >= 0 && std::string_view(found, static_cast<size_t>(length)) == target;
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

Port::~Port()
{
    disappear();
    if (claim_ >= 0) {
        close(claim_);
    }
}

bool Port::claim()
{
    sockaddr_un address;
    if (!name_place(link_, &address)) {
        return false;
    }
    claim_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    return claim_ >= 0 &&
           bind(claim_, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0;
}

bool Port::appear()
{
    far_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (far_ < 0 || grantpt(far_) != 0 || unlockpt(far_) != 0 ||
        ptsname_r(far_, name_, sizeof(name_)) != 0) {
        return false;
    }
    near_ = open(name_, O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (near_ < 0) {
        return false;
    }
    make_raw(near_);
    return replace_link(name_, link_);
}

void Port::disappear()
{
    if (far_ < 0) {
        return;
    }
    if (leads_to(name_, link_)) { // another program's file is not removed
        unlink(link_);
    }
    close(near_);
    close(far_);
    near_ = far_ = -1;
}

bool Port::write(const void *bytes, size_t size) const
{
    return ::write(far_, bytes, size) == static_cast<ssize_t>(size);
}

bool Port::holds_unread() const
{
    int count = 0;
    return ioctl(near_, FIONREAD, &count) == 0 && count > 0;
}

void Port::hold(bool held) const { tcflow(near_, held ? TCOOFF : TCOON); }

size_t Port::add(size_t most) const
{
    const char block[kPortion] = {};
    size_t count = 0;
    while (count<most && ::write(near_, block, sizeof(block))> 0) {
        count += sizeof(block);
    }
    return count;
}

void Port::take_until_writable() const
{
    pollfd room = {near_, POLLOUT, 0};
    char taken[4 * kPortion];
    while (poll(&room, 1, 1) == 0 && read(far_, taken, sizeof(taken)) > 0) {
    }
}

// The kernel frees a full port in steps of its own, of equal size after some rounds.
void Port::fill() const
{
    set_nonblocking(near_, true);
    add(SIZE_MAX);
    size_t step = 0;
    for (int round = 0; round < kRounds; ++round) {
        take_until_writable();
        step = add(SIZE_MAX);
    }
    take_until_writable();
    add(step - std::min(step, kRoom));
    set_nonblocking(near_, false);
}

} // namespace lterouter::tools
