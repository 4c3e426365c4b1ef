// Completion: the possible next words of a command line, from the tables that also parse it.
//
// A shell asks "PROGRAM --complete WORD...", the words after the program's name up to the one that is
// being typed, and gets the candidates, one a line, with a tab and an explanation where there is one.
// The single line ":files" stands for file names.
#pragma once

#include "common/command.h"

#include <string_view>

namespace lterouter::tools {

// The word that is being typed, and the output of the candidates for it.
class Offer {
public:
    // prefix: the part of the word before the value: "--sim=".
    Offer(std::string_view prefix, std::string_view typed) : prefix_(prefix), typed_(typed) {}

    // Offers a word if it begins with what has been typed.
    void add(std::string_view word, const char *help = "");
    // Offers each word of a text with separators.
    void add_each(std::string_view words, char separator);
    void add_numbers(uint32_t min, uint32_t max);
    void add_interfaces();
    // Offers NAME=VALUE with each value of a type.
    void add_values(std::string_view name, const ValueType &type);
    void add_files();

private:
    const std::string_view prefix_;
    const std::string_view typed_;
};

int complete(const Command &root, const Option *common, int count, char **words);

} // namespace lterouter::tools
