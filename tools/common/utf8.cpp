#include "common/utf8.h"

#include <cstddef>
#include <cstdint>

namespace lterouter::tools {
namespace {

// A class of UTF-8 sequences: first bytes, the range of the second byte, and the length. The ranges
// leave out overlong forms, surrogates and what lies above U+10FFFF.
struct Utf8Class {
    uint8_t first_min;
    uint8_t first_max;
    uint8_t second_min;
    uint8_t second_max;
    size_t length;
};

constexpr Utf8Class kUtf8Classes[] = {
    {0xc2, 0xdf, 0x80, 0xbf, 2}, {0xe0, 0xe0, 0xa0, 0xbf, 3}, {0xe1, 0xec, 0x80, 0xbf, 3},
    {0xed, 0xed, 0x80, 0x9f, 3}, {0xee, 0xef, 0x80, 0xbf, 3}, {0xf0, 0xf0, 0x90, 0xbf, 4},
    {0xf1, 0xf3, 0x80, 0xbf, 4}, {0xf4, 0xf4, 0x80, 0x8f, 4},
};

bool in_range(char ch, uint8_t min, uint8_t max)
{
    const auto byte = static_cast<uint8_t>(ch);
    return byte >= min && byte <= max;
}

bool starts_with(std::string_view text, const Utf8Class &sequence)
{
    if (text.size() < sequence.length || !in_range(text[0], sequence.first_min, sequence.first_max) ||
        !in_range(text[1], sequence.second_min, sequence.second_max)) {
        return false;
    }
    for (size_t i = 2; i < sequence.length; ++i) {
        if (!in_range(text[i], 0x80, 0xbf)) {
            return false;
        }
    }
    return true;
}

// Length of the sequence of two bytes and more that text starts with; 0 when it is not valid.
size_t sequence_length(std::string_view text)
{
    for (const Utf8Class &sequence : kUtf8Classes) {
        if (starts_with(text, sequence)) {
            return sequence.length;
        }
    }
    return 0;
}

// Those of ASCII, and U+0080 to U+009F, each of which is equivalent to ESC and another character.
bool is_control(std::string_view bytes)
{
    if (bytes.size() == 1) {
        return in_range(bytes[0], 0, 0x1f) || bytes[0] == 0x7f;
    }
    return bytes.size() == 2 && bytes[0] == '\xc2' && in_range(bytes[1], 0x80, 0x9f);
}

} // namespace

Character take_character(std::string_view *text)
{
    size_t length = in_range(text->front(), 0, 0x7f) ? 1 : sequence_length(*text);
    CharacterKind kind = CharacterKind::kShown;
    if (length == 0) {
        kind = CharacterKind::kInvalid;
        length = 1;
    }
    const std::string_view bytes(text->data(), length);
    if (is_control(bytes)) {
        kind = CharacterKind::kControl;
    }
    text->remove_prefix(length);
    return {kind, bytes};
}

} // namespace lterouter::tools
