// Splits a text of any bytes, UTF-8 or not, into characters.
#pragma once

#include <string_view>

namespace lterouter::tools {

enum class CharacterKind {
    kShown,
    kControl, // would control a terminal
    kInvalid, // a byte that is not part of a valid character
};

struct Character {
    CharacterKind kind;
    std::string_view bytes; // the last one of a control character is its code, whatever its length
};

// Takes the first character off a text that is not empty.
Character take_character(std::string_view *text);

} // namespace lterouter::tools
