// A text that is put together of pieces: one that does not fit is an error where the compiler does it,
// and else cut.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

namespace lterouter::tools {

template <size_t Size> class Text {
public:
    // width: of its lines, at most.
    constexpr explicit Text(size_t width = Size) : width_(width) {}

    // A word that would make its line too long begins the next one.
    constexpr Text &add(std::string_view piece)
    {
        for (const char ch : piece) {
            add_character(ch);
        }
        return *this;
    }
    constexpr Text &add(uint32_t number)
    {
        if (number > 9) {
            add(number / 10);
        }
        add_character(static_cast<char>('0' + number % 10));
        return *this;
    }
    constexpr const char *text() const { return text_; }
    constexpr bool empty() const { return length_ == 0; }

private:
    constexpr void add_character(char ch)
    {
        if (!std::is_constant_evaluated() && length_ + 1 >= Size) {
            return;
        }
        text_[length_] = ch;
        if (ch == ' ') {
            space_ = length_;
        }
        ++length_;
        if (ch == '\n') {
            line_ = length_;
        } else if (length_ - line_ > width_) {
            text_[space_] = '\n';
            line_ = space_ + 1;
        }
    }

    size_t width_;
    size_t length_ = 0;
    size_t line_ = 0;  // where it begins
    size_t space_ = 0; // the last one
    char text_[Size] = {};
};

} // namespace lterouter::tools
