// The body of a request: a JSON object of strings.
#pragma once

#include <cstddef>
#include <string_view>

namespace lterouter::tools {

constexpr size_t kMaxFields = 4;

struct JsonField {
    std::string_view name;
    const char *value; // ends with a NUL and holds no other
    size_t length;
};

struct JsonFields {
    JsonField fields[kMaxFields];
    size_t count = 0;

    // nullptr when there is none of that name.
    const JsonField *find(std::string_view name) const;
};

// Decodes an object in place: the fields lie in text, which has room for a NUL behind its end. Nothing
// but strings as values, none with a NUL or with what is not UTF-8, no name twice; nothing behind the
// object. An empty text has no fields. False when text is anything else.
bool parse_fields(char *text, size_t length, JsonFields *fields);

} // namespace lterouter::tools
