// What an endpoint that has nothing to do holds.
#pragma once

#include "support/call_notes.h"
#include "support/counted_memory.h"

namespace testing_support {

// The library's blocks in use once the receive thread has started and freed what it was started with.
inline size_t settled_blocks()
{
    EXPECT_TRUE(until_rounds(1));
    return memory().blocks_in_use();
}

} // namespace testing_support
