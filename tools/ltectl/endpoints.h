// The endpoints of this machine, by the kernel's table of sockets.
#pragma once

#include "lc_ipc_msg.h"

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string_view>

namespace lterouter::tools {

inline constexpr char kSocketTable[] = "/proc/net/unix";

// The beginning of every endpoint's name.
inline constexpr std::string_view kEndpointPrefix = "lc_socket_";

struct Bound {
    char name[sizeof(sockaddr_un::sun_path)];
    bool padded;    // with NULs up to the end, which is part of the name
    uint32_t inode; // of the socket: no two have the same
};

// The next endpoint of an open table; false at its end.
bool next_endpoint(FILE *table, Bound *bound);

// The inode of the socket that is bound to an address, or 0 when there is none; no value when the table
// cannot be read.
std::optional<uint32_t> socket_at(const ipc_addr &address);

} // namespace lterouter::tools
