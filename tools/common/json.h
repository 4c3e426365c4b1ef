// JSON texts.
#pragma once

#include <cstdio>
#include <string_view>

namespace lterouter::tools {

// Writes text as a JSON string, quotes included. Bytes that are not UTF-8 become U+FFFD: a parameter
// may hold any bytes, and the line must remain valid JSON.
void put_json_string(FILE *file, std::string_view text);

} // namespace lterouter::tools
