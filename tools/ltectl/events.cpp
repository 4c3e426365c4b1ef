#include "ltectl/events.h"

#include "common/program.h"
#include "ltectl/clock.h"
#include "ltectl/deadline.h"

#include <climits>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <poll.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

// Set before the receive thread starts.
int g_read_end = -1;
int g_write_end = -1;

// Only on the receive thread.
uint32_t g_arrived = 0;

int g_output = STDOUT_FILENO;

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
    return true;
}

bool pass_on(void *event, size_t size)
{
    if (g_write_end < 0) {
        return false;
    }
    const EventHead head = {++g_arrived, wall_clock_us()};
    memcpy(event, &head, sizeof(head));
    // A full pipe loses the event: a slow reader of the output must not block the WAN manager.
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

Arrival next_event(void *event, size_t size, std::optional<int64_t> deadline_ms)
{
    pollfd watched[] = {{g_read_end, POLLIN, 0}, {stop_fd(), POLLIN, 0}, {g_output, 0, 0}};
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

void set_output(int fd) { g_output = fd; }

bool await_reader()
{
    pollfd watched[] = {{stop_fd(), POLLIN, 0}, {g_output, POLLOUT, 0}};
    poll(watched, std::size(watched), -1);
    return watched[0].revents == 0;
}

void note_lost(const void *event, uint32_t *last)
{
    EventHead head;
    memcpy(&head, event, sizeof(head));
    const uint32_t lost = head.number - *last - 1;
    *last = head.number;
    if (lost != 0) {
        note("%u events lost: the output is not read fast enough", lost);
    }
}

void add_time(Record &record, int64_t wall_clock_ms)
{
    if (g_timestamps) {
        record.word("time", TimeText(wall_clock_ms).text);
    }
}

} // namespace lterouter::tools
