// What the command line says.
#pragma once

#include "common/command.h"

#include <cstddef>
#include <cstdint>
#include <sys/socket.h>

namespace lterouter::tools {

constexpr size_t kMaxHosts = 4;
constexpr size_t kPathSize = 256;
using HostText = char[256];

// Where to listen.
struct Listen {
    sockaddr_storage address;
    socklen_t length;
    uint32_t port;
    char text[48];   // the address as a Host header has it, in brackets if it is an IPv6 one
    bool everywhere; // every address of this machine
    bool loopback;
};

// The names besides the address by which browsers may call this server.
struct Hosts {
    HostText names[kMaxHosts];
    size_t count;
};

struct Settings {
    Listen listen;
    Hosts hosts;
    InterfaceText interface_name;
    char password_file[kPathSize];
    char make_password[kPathSize]; // empty: serve
    char ltectl[kPathSize];
    char image_folder[kPathSize];
    uint32_t image_limit_mib;
    uint32_t sample_seconds;
};

// Target: Listen.
extern const ValueType kListen;
// Target: Hosts; can be repeated.
extern const ValueType kHost;

} // namespace lterouter::tools
