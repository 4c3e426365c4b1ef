// Owner of a stdio stream: closes it at the end of the scope, on every path. May be empty.
#pragma once

#include "lc_file.h"

namespace lterouter {

class Stream {
public:
    explicit Stream(FILE *stream) : stream_(stream) {}
    __attribute__((always_inline)) ~Stream()
    {
        if (stream_ != nullptr) {
            lc_fclose(stream_);
        }
    }
    Stream(const Stream &) = delete;
    Stream &operator=(const Stream &) = delete;

    explicit operator bool() const { return stream_ != nullptr; }
    FILE *get() const { return stream_; }

private:
    FILE *stream_;
};

} // namespace lterouter
