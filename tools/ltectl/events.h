// What a command that shows events waits for, in one place: notifications, a signal to end, the reader
// of its output going away, and time. The callback on the receive thread puts notifications into a pipe
// and never blocks; the command's thread takes them out.
#pragma once

#include "common/command.h"
#include "common/record.h"
#include "lte_sdk.h"

#include <climits>
#include <cstddef>
#include <optional>

namespace lterouter::tools {

// With which everything that is passed on begins.
struct EventHead {
    uint32_t number;    // counts the events that arrived; a gap is what was lost
    int64_t arrived_ms; // on the wall clock
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

// Opens the pipe; before the receive thread starts. False when the system refuses, with errno.
bool open_events();

// Written to the pipe and read from it whole.
template <typename T> constexpr bool is_passed_whole = sizeof(T) <= PIPE_BUF;
static_assert(is_passed_whole<Event>);

// Gives an event its head and passes it on. Only on the receive thread.
bool pass_on(void *event, size_t size);

// The host's callback: passes Event on.
uint32_t on_event(const lct_event *event);

// Waits for the next event, until the deadline if there is one.
Arrival next_event(void *event, size_t size, std::optional<int64_t> deadline_ms);
inline Arrival next_event(Event *event, std::optional<int64_t> deadline_ms)
{
    return next_event(event, sizeof(*event), deadline_ms);
}

// Waits until something can be printed; false when a signal comes first, which next_event then tells. A
// write would wait for the reader as well, but no signal would end it.
bool await_reader();

// Tells of events that came while the pipe was full. last: the number of the event before.
void note_lost(const void *event, uint32_t *last);

// Begins a line with the moment, if the user wants it: --timestamps.
inline bool g_timestamps = false;
inline constexpr Option kTimestampsOption = {
    "timestamps", nullptr, "begin each line with the time it came, in UTC", &kSwitch, &g_timestamps};
void add_time(Record &record, int64_t wall_clock_ms);

} // namespace lterouter::tools
