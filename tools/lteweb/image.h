// An image on its way to the modem: a file without a name, which nobody has to remove.
#pragma once

#include "lteweb/child.h"

#include <cstddef>

namespace lterouter::tools {

class ImageFile {
public:
    // False with errno set.
    bool open(const char *folder);
    // After a failure the rest is not written.
    void add(const char *bytes, size_t size);
    int error() const { return error_; }
    int fd() const { return fd_.get(); }

private:
    OwnFd fd_;
    int error_ = 0;
};

} // namespace lterouter::tools
