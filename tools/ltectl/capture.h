// Received messages in a capture file (pcap), for Wireshark; docs/formats.md describes it.
#pragma once

#include "ltectl/message.h"

#include <cstdint>
#include <unistd.h>

namespace lterouter::tools {

// Of the process's one command: the file is open until that ends.
class Capture {
public:
    Capture() = default;
    Capture(const Capture &) = delete;
    Capture &operator=(const Capture &) = delete;

    // "-" is standard output. An earlier file is replaced as soon as the new one has its header.
    // Returns kDone, or the exit code after an error message.
    int open(const char *path);
    // Once a write has failed nothing more is written, and the file ends with the last whole packet.
    void add(const Message &message);
    bool is_lost() const { return error_ != 0; }
    // Tells how many packets the file has, or why it has no more. Returns the exit code.
    int finish();

private:
    bool is_file() const { return fd_ != STDOUT_FILENO; }
    void close_file();
    int replace_earlier();
    int begin_in_place();
    int start(int fd);
    int put(const void *bytes, size_t size);
    void cut(size_t partial);
    int explain() const;

    const char *path_ = nullptr;
    int fd_ = STDOUT_FILENO;
    int error_ = 0;
    bool is_cut_ = true; // no part of a packet is at the end
    uint32_t packets_ = 0;
};

} // namespace lterouter::tools
