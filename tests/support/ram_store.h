// A started RAM parameter store and its files.
#pragma once

#include "lc_nv.h"
#include "support/parameter_files.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace testing_support {

class RamStore : public testing::Test {
protected:
    RamStore() { EXPECT_EQ(nvmram_init(), 0U); }

    static std::string file_of(const std::string &name) { return folder_.file_of(name); }
    static std::string content(const std::string &name) { return folder_.content(name); }
    static void put(const std::string &name, const std::string &bytes) { folder_.put(name, bytes); }
    static std::set<std::string> files() { return folder_.files(); }

private:
    static inline const ParameterFolder folder_{NVMRAM_DIR};
};

} // namespace testing_support
