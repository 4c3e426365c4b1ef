#include "lc_ipc_msg/bounded.h"

#include "support/fd.h"
#include "support/socket.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <poll.h>
#include <sys/socket.h>

namespace lterouter {
namespace {

// Retry interval where nothing signals room in the receiver's socket.
constexpr int kRetryMs = 10;

timespec after(uint32_t milliseconds)
{
    timespec moment = {};
    clock_gettime(CLOCK_MONOTONIC, &moment);
    moment.tv_sec += static_cast<time_t>(milliseconds / 1000);
    moment.tv_nsec += static_cast<long>(milliseconds % 1000) * 1'000'000L;
    return moment; // tv_nsec may exceed a second: until() copes
}

// Milliseconds until then, as poll takes them; 0 once it is past.
int until(clockid_t clock, const timespec &moment)
{
    timespec now = {};
    clock_gettime(clock, &now);
    int64_t seconds = static_cast<int64_t>(moment.tv_sec) - now.tv_sec;
    long nanoseconds = moment.tv_nsec - now.tv_nsec;
    if (nanoseconds < 0) {
        nanoseconds += 1'000'000'000L;
        --seconds;
    }
    // A 64-bit division would add a function of a kilobyte to the router's code: divide the fraction.
    const long fraction = (nanoseconds + 999'999L) / 1'000'000L;
    return static_cast<int>(std::clamp<int64_t>(seconds * 1000 + fraction, 0, INT_MAX));
}

// Waits up to that many milliseconds for room in a receiver's socket; false when there is room
// already, or no descriptor for the wait. poll reports a full receiver only on a socket connected to
// it. The endpoint's own must not be connected, or it would receive from that peer only; so a second
// socket is, through which nothing is sent. SO_SNDTIMEO needs none, but is one value for all threads'
// sends, whatever their deadlines. Retrying after pauses alone reaches a fortieth of the throughput of
// a busy receiver, and delivers almost nothing to one that others flood.
bool wait_for_receiver(const sockaddr_un &to, int milliseconds)
{
    const Fd watch{open_socket(AF_UNIX, SOCK_DGRAM, 0)};
    if (!watch || connect(watch.get(), reinterpret_cast<const sockaddr *>(&to), sizeof(to)) != 0) {
        return false;
    }
    pollfd receiver = {watch.get(), POLLOUT, 0};
    if (poll(&receiver, 1, 0) != 0) {
        return false;
    }
    poll(&receiver, 1, milliseconds);
    return true;
}

} // namespace

ssize_t send_within(SendBound bound, int fd, const void *bytes, size_t size, const sockaddr_un &to)
{
    const auto *address = reinterpret_cast<const sockaddr *>(&to);
    const auto try_once = [&] { return sendto(fd, bytes, size, MSG_DONTWAIT, address, sizeof(to)); };
    ssize_t sent = try_once();
    if (sent >= 0 || errno != EAGAIN) {
        return sent;
    }
    const timespec end = after(bound.limit);
    int in_vain = 0;
    do {
        int left = until(CLOCK_MONOTONIC, end);
        if (bound.deadline != nullptr) {
            left = std::min(left, until(CLOCK_REALTIME, *bound.deadline));
        }
        if (left == 0) {
            errno = ETIMEDOUT;
            return -1;
        }
        // Room at once after a failed send is a race the first time. The second time this socket's send
        // buffer is full of unread messages, or the kernel, before 2.6.26, does not report room.
        if (wait_for_receiver(to, left)) {
            in_vain = 0;
        } else if (++in_vain > 1) {
            poll(nullptr, 0, std::min(left, kRetryMs));
        }
        sent = try_once();
    } while (sent < 0 && errno == EAGAIN);
    return sent;
}

bool has_passed(const timespec &deadline) { return until(CLOCK_REALTIME, deadline) == 0; }

} // namespace lterouter
