// Details of an upgrade from the trace file, since the library's calls only return that they failed.
#pragma once

#include <cstdint>
#include <sys/types.h>

namespace lterouter::tools {

// The frame that an upgrade last tried to send.
enum class Frame { kNone, kBegin, kPiece, kLastPiece, kEnd };

struct Attempts {
    Frame frame; // kNone: none was sent
    uint32_t tries;
};

// The position of the end of the trace file.
struct TraceMark {
    ino_t file = 0;
    off_t size = 0;
};

TraceMark mark_trace();

// Evaluates the entries of one call of the library since then. first: the first frame of the call.
Attempts attempts_since(const TraceMark &mark, Frame first);

} // namespace lterouter::tools
