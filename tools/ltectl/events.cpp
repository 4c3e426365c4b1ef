#include "ltectl/events.h"

#include "common/program.h"
#include "common/record.h"

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

// Tells of events that came while the pipe was full.
void note_lost(const void *event, uint32_t *last)
{
    uint32_t number;
    memcpy(&number, event, sizeof(number));
    const uint32_t lost = number - *last - 1;
    *last = number;
    if (lost != 0) {
        note("%u events lost: the output is not read fast enough", lost);
    }
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

bool pass_on(void *event, size_t size)
{
    if (g_write_end < 0) {
        return false;
    }
    const uint32_t number = ++g_arrived;
    memcpy(event, &number, sizeof(number));
    // A full pipe loses the event: a slow reader of ours must not hold up the WAN manager.
    return write(g_write_end, event, size) == static_cast<ssize_t>(size);
}

uint32_t on_event(const lct_event *event)
{
    Event copy = {};
    copy.kind = event->event;
    if (event->event == LCT_EVENT_LINK_STATUS) {
        memcpy(&copy.link, event->data, sizeof(copy.link));
    } else {
        memcpy(&copy.interface, event->data, sizeof(copy.interface));
    }
    return pass_on(&copy, sizeof(copy)) ? 1 : 0;
}

int64_t now_ms()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1'000'000;
}

Arrival next_event(void *event, size_t size, std::optional<int64_t> deadline_ms)
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
        const ssize_t length = read(g_read_end, event, size);
        return length == static_cast<ssize_t>(size) ? Arrival::kEvent : Arrival::kError;
    }
    return ready == 0 ? Arrival::kTimeout : Arrival::kReaderGone;
}

bool await_reader()
{
    pollfd watched[] = {{g_signals, POLLIN, 0}, {STDOUT_FILENO, POLLOUT, 0}};
    poll(watched, std::size(watched), -1);
    return watched[0].revents == 0;
}

int print_events(void *event, size_t size, uint32_t count, void (*print)(const void *event))
{
    uint32_t last = 0;
    for (uint32_t printed = 0; count == 0 || printed < count; ++printed) {
        switch (next_event(event, size, std::nullopt)) {
        case Arrival::kEvent:
            note_lost(event, &last);
            if (!await_reader()) {
                return kDone;
            }
            print(event);
            break;
        case Arrival::kSignal:
        case Arrival::kReaderGone:
            return kDone;
        case Arrival::kTimeout:
        case Arrival::kError:
            return fail(kFailed, "cannot wait for events: %s", strerror(errno));
        }
        if (output_error() != 0) {
            return kDone; // whether this is a failure is judged at the program's end
        }
    }
    return kDone;
}

} // namespace lterouter::tools
