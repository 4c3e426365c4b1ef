// Sending that gives up while the receiver's socket stays full.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <sys/types.h>
#include <sys/un.h>

namespace lterouter {

// How long a send may wait for room in the receiver's socket.
struct SendBound {
    uint32_t limit = 0; // milliseconds; 0: without limit
    const timespec *deadline =
        nullptr; // of a send with a limit, by the wall clock: whichever is sooner
};

// As sendto, but -1 with ETIMEDOUT when the bound is reached. It is tried at least once. A signal does
// not end the wait. bound: must have a limit.
ssize_t send_within(SendBound bound, int fd, const void *bytes, size_t size, const sockaddr_un &to);

// Whether a send that failed with ETIMEDOUT was ended by its deadline, not by the limit.
bool has_passed(const timespec &deadline);

} // namespace lterouter
