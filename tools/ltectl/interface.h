// An interface's state from the kernel, since the library's answers about existing interfaces are
// deliberately inverted.
#pragma once

#include "lc_network.h"

#include <optional>

namespace lterouter::tools {

struct Interface {
    bool up;
    bool has_ip;
    in_addr ip;
    bool has_mac; // false without an address of 6 bytes
    uint8_t mac[LC_MAC_SIZE];
};

using MacText = char[LC_MAC_TEXT_SIZE];

void format_mac(const uint8_t *mac, MacText &text);

// Reads an interface; prints an error message on failure. name: at most 15 characters. Returns the exit
// code.
int read_interface(const char *name, Interface *interface);

// Prints nothing; no value when it is not there or cannot be read.
std::optional<bool> is_interface_up(const char *name);

} // namespace lterouter::tools
