// A record between guard bytes, filled with a pattern before the code under test gets it.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>

namespace testing_support {

template <typename T> class Guarded {
    static_assert(std::is_trivially_copyable_v<T>);

public:
    Guarded() { memset(static_cast<void *>(&parts_), kFill, sizeof(parts_)); }
    ~Guarded()
    {
        EXPECT_TRUE(is_filled(parts_.before)) << "written in front of the record";
        EXPECT_TRUE(is_filled(parts_.after)) << "written behind the record";
    }
    Guarded(const Guarded &) = delete;
    Guarded &operator=(const Guarded &) = delete;

    T *get() { return &parts_.record; }
    const T *operator->() const { return &parts_.record; }
    T *operator->() { return &parts_.record; }

    std::string bytes() const
    {
        return {reinterpret_cast<const char *>(&parts_.record), sizeof(parts_.record)};
    }
    bool untouched() const
    {
        const std::string content = bytes();
        return is_filled(content);
    }

private:
    static constexpr uint8_t kFill = 0xA5;

    template <typename Range> static bool is_filled(const Range &range)
    {
        return std::all_of(std::begin(range), std::end(range),
                           [](auto byte) { return static_cast<uint8_t>(byte) == kFill; });
    }

    struct {
        uint8_t before[64];
        T record;
        uint8_t after[64];
    } parts_;
};

} // namespace testing_support
