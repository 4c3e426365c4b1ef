// Records that the host holds in memory together with the library consist of pointers, machine words
// and exact widths. The source that owns one asserts its layout as the router's other programs know it.
#pragma once

namespace lterouter {

// What holds where words have 32 bits, as on the router; wider words need not follow.
constexpr bool on_32_bits(bool layout) { return sizeof(void *) != 4 || layout; }

} // namespace lterouter
