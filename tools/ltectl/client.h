// This process as a host of the LTE client, or as an endpoint that subscribes.
#pragma once

#include "common/command.h"
#include "ltectl/deadline.h"

#include <cstddef>
#include <cstdint>

namespace lterouter::tools {

// Starts the client and subscribes; events arrive at next_event. It is ended, and its subscriptions
// given back, with the command. Returns kDone, or the exit code after saying what is wrong.
int start_client();

// Subscribes this process, which has an endpoint, at the WAN manager. Returns kDone, or the exit code
// after saying what is wrong.
int subscribe(uint32_t notification);
int subscribe_to_all();

// The socket of the WAN manager that was there when this process first subscribed; 0 when not known.
uint32_t first_served();

// Whether a response may be the answer to that. Any thread.
bool is_subscribing();

// Shows event after event, until there were count of them (0: no limit), a signal comes or nobody reads
// the output. Says when events were lost, and when the WAN manager went and came back; then subscribes
// again and begins with the state as it is. Returns the exit code.
int show_events(void *event, size_t size, uint32_t count, void (*print)(const void *event));

} // namespace lterouter::tools
