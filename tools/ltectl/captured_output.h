// What the library prints to standard output on its own, for commands that show it in their own way.
#pragma once

#include <cstdio>

namespace lterouter::tools {

class CapturedOutput {
public:
    CapturedOutput();
    ~CapturedOutput();
    CapturedOutput(const CapturedOutput &) = delete;
    CapturedOutput &operator=(const CapturedOutput &) = delete;

    // False when the system refuses; nothing is captured then.
    explicit operator bool() const { return file_ != nullptr; }

    // Ends the capture; the text so far, at most size - 1 bytes of it. Returns its length.
    size_t take(char *text, size_t size);

private:
    void restore();

    FILE *file_;
    int saved_ = -1;
};

} // namespace lterouter::tools
