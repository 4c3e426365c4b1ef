// Parameter names, the same for every store.
#pragma once

#include <cstddef>

namespace lterouter {

constexpr size_t kNvNameMax = 127;

// At most 127 letters, digits, "-", "_" and "."; the empty name passes.
bool nv_name_valid(const char *name);

} // namespace lterouter
