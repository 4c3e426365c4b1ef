// JSON texts.
#pragma once

#include <cstdio>
#include <string_view>

namespace lterouter::tools {

// Writes text as a JSON string, quotes included. Bytes that are not UTF-8 become U+FFFD: a parameter
// may hold anything, and one odd value must not make the line unreadable.
void put_json_string(FILE *file, std::string_view text);

} // namespace lterouter::tools
