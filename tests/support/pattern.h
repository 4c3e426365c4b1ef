// Texts against POSIX extended regular expressions. libc's, since GCC 12 warns about the insides of
// std::regex when sanitizers are on.
#pragma once

#include <gtest/gtest.h>

#include <regex.h>
#include <string>

namespace testing_support {

// What the pattern's first group matched, or what the whole of it did if it has none; empty when the
// text as a whole does not match.
inline std::string captured(const std::string &text, const std::string &pattern)
{
    regex_t compiled;
    if (regcomp(&compiled, ("^" + pattern + "$").c_str(), REG_EXTENDED) != 0) {
        ADD_FAILURE() << "not a pattern: " << pattern;
        return "";
    }
    regmatch_t groups[2];
    const bool matched = regexec(&compiled, text.c_str(), 2, groups, 0) == 0;
    const regmatch_t group = compiled.re_nsub > 0 ? groups[1] : groups[0];
    regfree(&compiled);
    if (!matched || group.rm_so < 0) {
        return "";
    }
    return text.substr(static_cast<size_t>(group.rm_so),
                       static_cast<size_t>(group.rm_eo - group.rm_so));
}

inline bool matches(const std::string &text, const std::string &pattern)
{
    return !captured(text, pattern).empty();
}

} // namespace testing_support
