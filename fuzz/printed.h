// What is printed to a stream of libc, in memory.
#pragma once

#include "support.h"

namespace fuzzing {

class Printed {
public:
    // stream: stdout or stderr.
    explicit Printed(FILE *&stream) : stream_(stream), real_(stream)
    {
        stream_ = open_memstream(&text_, &size_);
    }
    ~Printed()
    {
        end();
        free(text_);
    }
    Printed(const Printed &) = delete;
    Printed &operator=(const Printed &) = delete;

    // What has been printed; ends the printing.
    std::string take()
    {
        end();
        return {text_, size_};
    }

private:
    void end()
    {
        if (stream_ != real_) {
            fclose(stream_);
            stream_ = real_;
        }
    }

    FILE *&stream_;
    FILE *const real_;
    char *text_ = nullptr;
    size_t size_ = 0;
};

} // namespace fuzzing
