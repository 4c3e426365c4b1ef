// What the library tells of an upgrade in the trace file: its calls only return that they failed.
#pragma once

#include <cstdint>
#include <sys/types.h>

namespace lterouter::tools {

// The frame that an upgrade last tried to send.
enum class Frame { kNone, kBegin, kPiece, kLastPiece, kEnd };

struct Attempts {
    Frame frame; // kNone: it did not come to one
    uint32_t tries;
};

// The end of the trace file at a moment.
struct TraceMark {
    ino_t file = 0;
    off_t size = 0;
};

TraceMark mark_trace();

// What one call of the library has traced since. first: the frame that the call begins with.
Attempts attempts_since(const TraceMark &mark, Frame first);

} // namespace lterouter::tools
