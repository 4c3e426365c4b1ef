// An interface as the kernel has it: what the library says of an interface that is there is inverted.
#pragma once

#include "lc_network.h"

namespace lterouter::tools {

struct Interface {
    bool up;
    bool has_ip;
    in_addr ip;
    bool has_mac; // Ethernet has; what has no such address, or a longer one, has none here
    uint8_t mac[LC_MAC_SIZE];
};

using MacText = char[LC_MAC_TEXT_SIZE];

void format_mac(const uint8_t *mac, MacText &text);

// Reads an interface; says so when it cannot. name: at most 15 characters. Returns the exit code.
int read_interface(const char *name, Interface *interface);

} // namespace lterouter::tools
