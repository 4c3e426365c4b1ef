// The wait of a command that shows events: for notifications, a signal, the closing of its output and a
// deadline. The callback on the receive thread writes notifications to a pipe and never blocks; the
// command's thread reads them.
#pragma once

#include "common/command.h"
#include "common/record.h"
#include "lte_sdk.h"

#include <climits>
#include <cstddef>
#include <optional>

namespace lterouter::tools {

// The beginning of every record in the pipe.
struct EventHead {
    uint32_t number;    // counts the events that arrived; a gap: events were lost
    int64_t arrived_us; // on the wall clock
};

struct Event {
    EventHead head;
    uint32_t kind; // LCT_EVENT_...
    union {
        lct_link_status link;
        lct_iface_status interface;
    };
};

enum class Arrival { kEvent, kSignal, kReaderGone, kTimeout, kError };

// Opens the pipe; to be called before the receive thread starts. False on failure, with errno set.
bool open_events();

// Writes of at most PIPE_BUF are atomic.
template <typename T> constexpr bool is_passed_whole = sizeof(T) <= PIPE_BUF;
static_assert(is_passed_whole<Event>);

// Fills the head of an event and writes it to the pipe. Only on the receive thread.
bool pass_on(void *event, size_t size);

// The client's callback: writes an Event to the pipe.
uint32_t on_event(const lct_event *event);

// Waits for the next event, until the deadline if there is one.
Arrival next_event(void *event, size_t size, std::optional<int64_t> deadline_ms);
inline Arrival next_event(Event *event, std::optional<int64_t> deadline_ms)
{
    return next_event(event, sizeof(*event), deadline_ms);
}

// Where the events are written to, if not to standard output.
void set_output(int fd);

// Waits until output can be written; false when a signal comes first, which next_event then returns. A
// blocking write would not be ended by the signal.
bool await_reader();

// Reports events that were lost while the pipe was full. last: the number of the event before.
void note_lost(const void *event, uint32_t *last);

// Begins a line with the time, with --timestamps.
inline bool g_timestamps = false;
inline constexpr Option kTimestampsOption = {
    "timestamps", nullptr, "begin each line with the time of arrival, in UTC", &kSwitch, &g_timestamps};
void add_time(Record &record, int64_t wall_clock_ms);

} // namespace lterouter::tools
