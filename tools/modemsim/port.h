// The modem's end of a serial port: the master of a pseudo-terminal; a symbolic link leads to its
// slave.
#pragma once

#include <cstddef>
#include <sys/types.h>

namespace lterouter::tools {

class Port {
public:
    explicit Port(const char *link) : link_(link) {}
    ~Port();
    Port(const Port &) = delete;
    Port &operator=(const Port &) = delete;

    // Makes the path this port's own, also while the port is gone, up to the end of the process. False
    // with EADDRINUSE when it is another port's, or with another errno.
    bool claim();
    // Makes the port and its link; a link that is there is replaced, anything else is not touched.
    // False when the system refuses, with errno.
    bool appear();
    // Simulates unplugging: removes the link, and a host that has the port open gets a hang-up.
    void disappear();

    const char *link() const { return link_; }
    // To be polled and read; -1 while the port is gone.
    int fd() const { return far_; }

    bool write(const void *bytes, size_t size) const;
    // Whether the host has not read all of it yet.
    bool holds_unread() const;

    // Flow control: a host that writes to the port blocks until it is released.
    void hold(bool held) const;
    // Leaves so little room that no whole frame fits.
    void fill() const;

private:
    // Bytes from the near end, as many as it takes. The near end must not block.
    size_t add(size_t most) const;
    void take_until_writable() const;

    const char *const link_;
    int claim_ = -1;
    char name_[64] = ""; // of the near end
    int far_ = -1;
    int near_ = -1; // kept open: without anybody at its near end the far end reads as an error
};

} // namespace lterouter::tools
