#include "ltectl/wakeup.h"

#include "ltectl/clock.h"
#include "ltectl/deadline.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

constexpr int64_t kLookMs = 250;

// As the kernel has them; a small libc comes without its headers.
struct NetlinkAddress {
    sa_family_t family;
    unsigned short pad;
    uint32_t pid;
    uint32_t groups;
};
constexpr int kNetlinkRoute = 0;
constexpr uint32_t kLinkGroup = 0x1;
constexpr uint32_t kIpv4AddressGroup = 0x10;

// -1 when it is not wanted, or the kernel refuses.
int open_interfaces(bool wanted)
{
    if (!wanted) {
        return -1;
    }
    Fd fd(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, kNetlinkRoute));
    const NetlinkAddress address = {AF_NETLINK, 0, 0, kLinkGroup | kIpv4AddressGroup};
    return fd && bind(fd.get(), reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0
               ? fd.release()
               : -1;
}

// What it says does not matter: what has changed is read anew. Too much of it is an error, and a
// change.
void drain(int fd)
{
    char told[4096];
    while (read(fd, told, sizeof(told)) > 0 || errno == ENOBUFS || errno == EINTR) {
    }
}

} // namespace

Wakeup::Wakeup(const Of &of)
    : interfaces_(open_interfaces(of.interfaces)), looks_(of.others || (of.interfaces && !interfaces_))
{
    if (of.directory != nullptr) {
        files_.emplace();
        looks_ = files_->add(of.directory, kFileChanges | IN_MODIFY) < 0 || looks_;
    }
}

Wakeup::Reason Wakeup::await(int64_t until_ms) const
{
    pollfd watched[] = {{stop_fd(), POLLIN, 0},
                        {files_ ? files_->fd() : -1, POLLIN, 0},
                        {interfaces_.get(), POLLIN, 0}};
    const int64_t left_ms = std::max<int64_t>(until_ms - now_ms(), 0);
    const bool looks_first = looks_ && kLookMs < left_ms;
    const int ready =
        poll(watched, std::size(watched), static_cast<int>(looks_first ? kLookMs : left_ms));
    if (ready < 0) {
        return Reason::kError;
    }
    if (watched[0].revents != 0) {
        return Reason::kSignal;
    }
    for (const pollfd &told : watched) {
        if (told.revents != 0) {
            drain(told.fd);
        }
    }
    return ready == 0 && !looks_first ? Reason::kTime : Reason::kChange;
}

} // namespace lterouter::tools
