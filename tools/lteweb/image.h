// An image on its way to the modem: a file without a name, which nobody has to remove.
#pragma once

#include "lteweb/child.h"

#include <cstddef>
#include <cstdint>

namespace lterouter::tools {

class ImageFile {
public:
    // False with errno set, also when there is no room for that many bytes.
    bool open(const char *folder, uint64_t size);
    // What reads it begins at its beginning. False with errno set.
    bool rewind() { return lseek(fd_.get(), 0, SEEK_SET) == 0; }
    // After a failure the rest is not written.
    void add(const char *bytes, size_t size);
    int error() const { return error_; }
    int fd() const { return fd_.get(); }

private:
    OwnFd fd_;
    int error_ = 0;
};

} // namespace lterouter::tools
