// A message bus of the benchmark's own: dbus-daemon, and connections to it with sd-bus.
#pragma once

#include <systemd/sd-bus.h>

namespace bench {

constexpr char kBusAddress[] = "unix:path=/tmp/bus";

// Starts the daemon and waits until it takes connections; it ends with this process.
void start_bus();

// A connection of the calling process.
sd_bus *join_bus();

// Handles what comes over the connection.
[[noreturn]] void handle_bus(sd_bus *bus);

} // namespace bench
