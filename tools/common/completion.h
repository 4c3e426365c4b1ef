// What may stand next on a command line, from the same tables that it is understood by.
//
// A shell asks "PROGRAM --complete WORD...", the words behind the program's name up to the one that is
// being typed, and gets the candidates, one a line, with a tab and an explanation where there is one.
// The only line ":files" says that it is the name of a file.
#pragma once

#include "common/command.h"

#include <string_view>

namespace lterouter::tools {

// The word that is being typed, and who takes the candidates for it.
class Offer {
public:
    // prefix: of the word, what stands before the value: "--sim=".
    Offer(std::string_view prefix, std::string_view typed) : prefix_(prefix), typed_(typed) {}

    // Offers a word, if it can be what is being typed.
    void add(std::string_view word, const char *help = "");
    // Offers words that stand in a text with a separator between them.
    void add_each(std::string_view words, char separator);
    void add_numbers(uint32_t min, uint32_t max);
    void add_interfaces();
    void add_files();

private:
    const std::string_view prefix_;
    const std::string_view typed_;
};

int complete(const Command &root, const Option *common, int count, char **words);

} // namespace lterouter::tools
