// Records that the host shares with the library in memory consist of pointers, machine words and exact
// widths. The source that owns one asserts the layout that the router's other programs rely on.
#pragma once

namespace lterouter {

// A condition that must hold where words have 32 bits, as on the router; other machines may differ.
constexpr bool on_32_bits(bool layout) { return sizeof(void *) != 4 || layout; }

} // namespace lterouter
