// Test data whose bytes show their positions.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace testing_support {

using Bytes = std::vector<uint8_t>;

template <typename T> Bytes bytes_of(const T &value)
{
    const auto *start = reinterpret_cast<const uint8_t *>(&value);
    return {start, start + sizeof(value)};
}

inline Bytes text(const std::string &value) { return {value.begin(), value.end()}; }

// size bytes, each different from its neighbours.
inline Bytes pattern(size_t size)
{
    Bytes bytes(size);
    for (size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<uint8_t>(i * 7 + 1);
    }
    return bytes;
}

// A record filled so.
template <typename T> T patterned()
{
    const Bytes bytes = pattern(sizeof(T));
    T record;
    memcpy(static_cast<void *>(&record), bytes.data(), sizeof(record));
    return record;
}

} // namespace testing_support
