// Bytes that are collected, up to a limit.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

namespace lterouter::tools {

class Bytes {
public:
    Bytes() = default;
    ~Bytes() { clear(); }
    Bytes(const Bytes &) = delete;
    Bytes &operator=(const Bytes &) = delete;

    std::string_view view() const { return {data_, size_}; }
    char *data() { return data_; }
    size_t size() const { return size_; }

    // Keeps a NUL behind them. False, and unchanged, beyond the limit or without memory.
    bool add(std::string_view more, size_t limit)
    {
        if (more.size() > limit - size_ || !make_room(size_ + more.size() + 1)) {
            return false;
        }
        if (!more.empty()) { // which may have no address
            memcpy(data_ + size_, more.data(), more.size());
        }
        size_ += more.size();
        data_[size_] = '\0';
        return true;
    }
    void drop(size_t count)
    {
        size_ -= count;
        memmove(data_, data_ + count, size_);
    }
    // Passwords and PINs pass through here.
    void clear()
    {
        if (data_ != nullptr) {
            explicit_bzero(data_, room_);
            free(data_);
        }
        data_ = nullptr;
        size_ = 0;
        room_ = 0;
    }
    void swap(Bytes &other)
    {
        std::swap(data_, other.data_);
        std::swap(size_, other.size_);
        std::swap(room_, other.room_);
    }

private:
    static constexpr size_t kLeastRoom = 64;

    bool make_room(size_t wanted)
    {
        if (data_ != nullptr && wanted <= room_) {
            return true;
        }
        const size_t room = std::max({wanted, 2 * room_, kLeastRoom});
        // Not realloc, which could leave a copy behind.
        char *larger = static_cast<char *>(malloc(room));
        if (larger == nullptr) {
            return false;
        }
        if (data_ != nullptr) {
            memcpy(larger, data_, size_);
        }
        const size_t size = size_;
        clear();
        data_ = larger;
        size_ = size;
        room_ = room;
        return true;
    }

    char *data_ = nullptr;
    size_t size_ = 0;
    size_t room_ = 0;
};

} // namespace lterouter::tools
