// The characters of a text that may hold anything, in UTF-8 or not.
#pragma once

#include <string_view>

namespace lterouter::tools {

enum class CharacterKind {
    kShown,
    kControl, // would drive a terminal
    kInvalid, // a byte that belongs to no character
};

struct Character {
    CharacterKind kind;
    std::string_view bytes; // the last one of a control character is its code, whatever its length
};

// Takes the first character off a text that is not empty.
Character take_character(std::string_view *text);

} // namespace lterouter::tools
