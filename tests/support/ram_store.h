// A started RAM parameter store and its files.
#pragma once

#include "lc_nv.h"
#include "support/text_file.h"

#include <gtest/gtest.h>

#include <dirent.h>
#include <set>
#include <string>

namespace testing_support {

class RamStore : public testing::Test {
protected:
    RamStore() { EXPECT_EQ(nvmram_init(), 0U); }

    static std::string file_of(const std::string &name) { return NVMRAM_DIR + name; }
    static std::string content(const std::string &name) { return read_text(file_of(name)); }
    static void put(const std::string &name, const std::string &bytes)
    {
        write_text(file_of(name), bytes);
    }

    static std::set<std::string> files()
    {
        std::set<std::string> names;
        DIR *directory = opendir(NVMRAM_DIR);
        while (const dirent *entry = readdir(directory)) {
            names.insert(entry->d_name);
        }
        closedir(directory);
        names.erase(".");
        names.erase("..");
        return names;
    }

    // A text with its terminator, as the store keeps it.
    static std::string stored(const std::string &text) { return text + '\0'; }
};

} // namespace testing_support
