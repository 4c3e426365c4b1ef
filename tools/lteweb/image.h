// An image on its way to the modem: a file without a name, which nobody has to remove.
#pragma once

#include "lteweb/child.h"

#include <cstddef>

namespace lterouter::tools {

class ImageFile {
public:
    // False with errno set.
    bool open(const char *folder);
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
