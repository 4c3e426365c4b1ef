// The link's interface: an end of a virtual cable, so that the kernel counts what goes through it. The
// other end, in a network of its own, is the mobile network, which answers echo requests to any
// address.
#pragma once

#include "lte_sdk.h"
#include "support/fd.h"

#include <cstddef>
#include <cstdint>

namespace lterouter::tools {

class Cable {
public:
    Cable() = default;
    ~Cable();
    Cable(const Cable &) = delete;
    Cable &operator=(const Cable &) = delete;

    // Makes the interface, which is down. Returns kDone, or the exit code after an error message.
    int open(const char *interface_name);

    // To be polled.
    int fd() const { return far_end_; }

    // Takes a packet, and answers it if it is an echo request: of ICMP, or to port 7 of UDP.
    void answer() const;

private:
    int far_end_ = -1;
    const char *name_ = nullptr; // of the interface that was made
};

// Gives the interface the addresses of a link that is connected, and sets it up, or takes both away.
void follow_link(const lct_link_status &link);

} // namespace lterouter::tools
