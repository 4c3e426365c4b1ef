// An array that grows, of records that can be copied byte by byte.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <type_traits>

namespace lterouter::tools {

template <typename T> class Array {
    static_assert(std::is_trivially_copyable_v<T>);

public:
    Array() = default;
    ~Array() { free(static_cast<void *>(items_)); }
    Array(const Array &) = delete;
    Array &operator=(const Array &) = delete;

    // False when there is no memory.
    bool add(const T &item)
    {
        if (count_ == room_) {
            const size_t room = room_ * 2 + 16;
            void *items = realloc(static_cast<void *>(items_), room * sizeof(T));
            if (items == nullptr) {
                return false;
            }
            items_ = static_cast<T *>(items);
            room_ = room;
        }
        items_[count_++] = item;
        return true;
    }
    void clear()
    {
        free(static_cast<void *>(items_));
        items_ = nullptr;
        count_ = 0;
        room_ = 0;
    }
    void sort(int (*compare)(const void *a, const void *b))
    {
        if (count_ != 0) {
            qsort(static_cast<void *>(items_), count_, sizeof(T), compare);
        }
    }

    T *begin() { return items_; }
    T *end() { return items_ + count_; }
    const T *begin() const { return items_; }
    const T *end() const { return items_ + count_; }

private:
    T *items_ = nullptr;
    size_t count_ = 0;
    size_t room_ = 0;
};

} // namespace lterouter::tools
