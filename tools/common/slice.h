// Parts of a text. Not string_view::substr, which can throw and so needs the C++ run time.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace lterouter::tools {

// What is between two places, of which those after the end count as the end.
constexpr std::string_view slice(std::string_view text, size_t from, size_t to = SIZE_MAX)
{
    const size_t end = std::min(to, text.size());
    return {text.data() + std::min(from, end), end - std::min(from, end)};
}

inline bool begins_with(std::string_view text, std::string_view start)
{
    return text.size() >= start.size() && memcmp(text.data(), start.data(), start.size()) == 0;
}

// Removes a beginning, if the text has it. Returns whether it had.
inline bool take_start(std::string_view *text, std::string_view start)
{
    const bool has_it = begins_with(*text, start);
    text->remove_prefix(has_it ? start.size() : 0);
    return has_it;
}

// Removes the first line. Returns it, without the line feed.
inline std::string_view take_line(std::string_view *text)
{
    const size_t length = std::min(text->find('\n'), text->size());
    const std::string_view line = slice(*text, 0, length);
    text->remove_prefix(std::min(length + 1, text->size()));
    return line;
}

} // namespace lterouter::tools
