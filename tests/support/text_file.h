// Reading whole files as text, and texts with line numbers removed.
#pragma once

#include <cstdio>
#include <dirent.h>
#include <fstream>
#include <iterator>
#include <string>

namespace testing_support {

// Empty when there is no such file.
inline std::string read_text(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline void write_text(const std::string &path, const std::string &text)
{
    std::ofstream(path, std::ios::binary) << text;
}

// "[lib/lte_sdk:lct_connect:17]text" becomes "[lib/lte_sdk:lct_connect:N]text": every ":DIGITS]".
inline std::string without_line_numbers(const std::string &text)
{
    std::string result;
    for (size_t i = 0; i < text.size(); ++i) {
        result += text[i];
        const size_t end = text.find_first_not_of("0123456789", i + 1);
        if (text[i] == ':' && end != i + 1 && end != std::string::npos && text[end] == ']') {
            result += 'N';
            i = end - 1;
        }
    }
    return result;
}

inline int count_entries(const char *directory)
{
    DIR *entries = opendir(directory);
    int count = 0;
    while (entries != nullptr && readdir(entries) != nullptr) {
        ++count;
    }
    if (entries != nullptr) {
        closedir(entries);
    }
    return count;
}

// Only differences between two counts mean anything.
inline int count_descriptors() { return count_entries("/proc/self/fd"); }

} // namespace testing_support
