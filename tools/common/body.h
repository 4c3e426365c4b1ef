// The body of a received message.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

namespace lterouter::tools {

struct Body {
    const uint8_t *bytes;
    uint32_t length;

    // The record at its start; the caller has checked that the body is long enough.
    template <typename T> T record() const
    {
        T record;
        memcpy(&record, bytes, sizeof(record));
        return record;
    }
    // Text up to its NUL or to the end.
    std::string_view text() const
    {
        const auto *start = reinterpret_cast<const char *>(bytes);
        return {start, strnlen(start, length)};
    }
};

} // namespace lterouter::tools
