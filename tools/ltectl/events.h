// What a command waits for, in one place: notifications, a signal to end, the reader of its output
// going away, and time. The callback on the receive thread puts notifications into a pipe and never
// blocks; the command's thread takes them out.
#pragma once

#include "lte_sdk.h"

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

// The host's callback.
uint32_t on_event(const lct_event *event);

// A moment on the monotonic clock, in milliseconds.
int64_t now_ms();

// Waits for the next event, until the deadline if there is one.
Arrival next_event(Event *event, std::optional<int64_t> deadline_ms);

} // namespace lterouter::tools
