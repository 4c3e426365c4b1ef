// What is wrong with the persistent store, as numbers.
#pragma once

#include <cstdint>

namespace lterouter::tools {

struct StoreHealth {
    uint32_t parameters; // that are declared
    uint32_t problems;   // as nv verify lists them
};

// Changes and prints nothing.
StoreHealth examine_store();

} // namespace lterouter::tools
