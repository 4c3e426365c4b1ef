#include "ltectl/events.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <iterator>
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

// Written and read whole.
static_assert(sizeof(Event) <= PIPE_BUF);

// Set before the receive thread starts.
int g_read_end = -1;
int g_write_end = -1;
int g_signals = -1;

// Only on the receive thread.
uint32_t g_arrived = 0;

int poll_timeout(std::optional<int64_t> deadline_ms)
{
    if (!deadline_ms) {
        return -1;
    }
    const int64_t left = *deadline_ms - now_ms();
    if (left <= 0) {
        return 0;
    }
    return left < INT_MAX ? static_cast<int>(left) : INT_MAX;
}

} // namespace

bool open_events()
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        return false;
    }
    g_read_end = ends[0];
    g_write_end = ends[1];
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGINT);
    sigaddset(&ending, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);
    g_signals = signalfd(-1, &ending, SFD_CLOEXEC);
    return g_signals >= 0;
}

uint32_t on_event(const lct_event *event)
{
    if (g_write_end < 0) {
        return 0;
    }
    Event copy = {};
    copy.number = ++g_arrived;
    copy.kind = event->event;
    if (event->event == LCT_EVENT_LINK_STATUS) {
        memcpy(&copy.link, event->data, sizeof(copy.link));
    } else {
        memcpy(&copy.interface, event->data, sizeof(copy.interface));
    }
    // A full pipe loses the event: a slow reader of ours must not hold up the WAN manager.
    return write(g_write_end, &copy, sizeof(copy)) == sizeof(copy) ? 1 : 0;
}

int64_t now_ms()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1'000'000;
}

Arrival next_event(Event *event, std::optional<int64_t> deadline_ms)
{
    pollfd watched[] = {{g_read_end, POLLIN, 0}, {g_signals, POLLIN, 0}, {STDOUT_FILENO, 0, 0}};
    const int ready = poll(watched, std::size(watched), poll_timeout(deadline_ms));
    if (ready < 0) {
        return Arrival::kError;
    }
    if (watched[1].revents != 0) {
        return Arrival::kSignal;
    }
    if (watched[0].revents != 0) {
        return read(g_read_end, event, sizeof(*event)) == sizeof(*event) ? Arrival::kEvent
                                                                         : Arrival::kError;
    }
    return ready == 0 ? Arrival::kTimeout : Arrival::kReaderGone;
}

} // namespace lterouter::tools
