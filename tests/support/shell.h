// Shell commands of a test.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace testing_support {

// Runs a command that must succeed.
inline void shell(const std::string &command) { EXPECT_EQ(system(command.c_str()), 0) << command; }

// What such a command prints.
inline std::string output_of(const std::string &command)
{
    FILE *output = popen(command.c_str(), "r");
    std::string text;
    char line[512];
    while (fgets(line, sizeof(line), output) != nullptr) {
        text += line;
    }
    EXPECT_EQ(pclose(output), 0) << command;
    return text;
}

} // namespace testing_support
