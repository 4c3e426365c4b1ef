// This process as a host of the LTE client, or as an endpoint that subscribes.
#pragma once

#include "common/command.h"
#include "ltectl/deadline.h"

#include <cstddef>
#include <cstdint>

namespace lterouter::tools {

// Starts the client and subscribes; next_event returns the events. The end of the command cancels the
// subscriptions and stops the client. Returns kDone, or the exit code after an error message.
int start_client();

// Subscribes this process, which has an endpoint, at the WAN manager. Returns kDone, or the exit code
// after an error message.
int subscribe(uint32_t notification);
int subscribe_to_all();

// The socket of the WAN manager that was there when this process first subscribed; 0 when not known.
uint32_t first_served();

// Whether a response may be the answer to that. Any thread.
bool is_subscribing();

// The WAN manager is gone, or is back: a line, and after a restart another with the state of the link.
void print_presence(bool is_back);

bool is_output_lost(); // an error of standard output

// Where events go.
struct Showing {
    void (*event)(const void *event);
    void (*presence)(bool is_back) = print_presence;
    bool (*is_lost)() = is_output_lost;
};

// Shows events until there were count of them (0: no limit), a signal comes or the output is closed.
// Reports lost events and restarts of the WAN manager; after a restart it subscribes again. Returns the
// exit code.
int show_events(void *event, size_t size, uint32_t count, const Showing &showing);

} // namespace lterouter::tools
