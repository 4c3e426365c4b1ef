// What a command waits for, in one place: notifications, a signal to end, the reader of its output
// going away, and time. The callback on the receive thread puts notifications into a pipe and never
// blocks; the command's thread takes them out.
#pragma once

#include "lte_sdk.h"

#include <climits>
#include <cstddef>
#include <optional>

namespace lterouter::tools {

struct Event {
    uint32_t number; // counts the events that arrived; a gap is what was lost
    uint32_t kind;   // LCT_EVENT_...
    union {
        lct_link_status link;
        lct_iface_status interface;
    };
};

enum class Arrival { kEvent, kSignal, kReaderGone, kTimeout, kError };

// Opens the pipe and directs SIGINT and SIGTERM to next_event. Before any thread starts, so that none
// of them takes the signals. False when the system refuses, with errno.
bool open_events();

// Written to the pipe and read from it whole.
template <typename T> constexpr bool is_passed_whole = sizeof(T) <= PIPE_BUF;
static_assert(is_passed_whole<Event>);

// Gives an event its number, with which it begins, and passes it on. Only on the receive thread.
bool pass_on(void *event, size_t size);

// The host's callback: passes Event on.
uint32_t on_event(const lct_event *event);

// A moment on the monotonic clock, in milliseconds.
int64_t now_ms();

// Waits for the next event, until the deadline if there is one.
Arrival next_event(void *event, size_t size, std::optional<int64_t> deadline_ms);
inline Arrival next_event(Event *event, std::optional<int64_t> deadline_ms)
{
    return next_event(event, sizeof(*event), deadline_ms);
}

// Waits until something can be printed; false when a signal comes first, which next_event then tells. A
// write would wait for the reader as well, but no signal would end it.
bool await_reader();

// Reads event after event and prints each, until there were count of them (0: no limit), a signal comes
// or nobody reads the output. Says when events were lost. Returns the exit code.
int print_events(void *event, size_t size, uint32_t count, void (*print)(const void *event));

} // namespace lterouter::tools
