// Access point records as the targets fill them on their own.
#pragma once

#include "lte_sdk.h"
#include "support.h"

#include <vector>

namespace fuzzing {

// A record that nobody has filled.
inline apn_item unwritten_apn()
{
    apn_item item;
    memset(&item, 0xA5, sizeof(item));
    return item;
}

// The fields of a text that a separator ends, and what stands after the last.
inline std::vector<std::string> fields_of(const std::string &text, char separator, std::string *rest)
{
    std::vector<std::string> fields;
    size_t start = 0;
    for (size_t end; (end = text.find(separator, start)) != std::string::npos; start = end + 1) {
        fields.push_back(text.substr(start, end - start));
    }
    *rest = text.substr(start);
    return fields;
}

// Into a field of zeros, cut where it ends.
template <size_t Size> void put(char (&field)[Size], const std::string &text)
{
    memcpy(field, text.data(), std::min(text.size(), Size - 1));
}

} // namespace fuzzing
