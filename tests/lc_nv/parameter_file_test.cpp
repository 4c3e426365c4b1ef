// What the reader of parameter files tells ltectl beside the parameters.
#include "lc_nv/parameter_file.h"

#include "support/text_file.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace parameter_file_test {

using namespace lterouter;
using namespace testing_support;

TEST(ParameterFile, tells_why_it_cannot_be_opened_or_read)
{
    write_text("/tmp/parameters", "first=1=value\n");
    write_text("/tmp/malformed", "first\n");
    const struct {
        const char *path;
        bool opens;
        NvLine first;
        int error;
    } kFiles[] = {
        {"/tmp/parameters", true, NvLine::kParameter, 0},
        {"/tmp/malformed", true, NvLine::kMalformed, 0},
        {"/tmp", true, NvLine::kMalformed, EISDIR},
        {"/tmp/missing", false, {}, ENOENT},
    };
    for (const auto &[path, opens, first, error] : kFiles) {
        NvParameterFile file(path);
        ASSERT_EQ(static_cast<bool>(file), opens) << path;
        NvParameter parameter;
        if (opens) {
            EXPECT_EQ(file.next(&parameter), first) << path;
        }
        EXPECT_EQ(file.error(), error) << path;
    }
}

} // namespace parameter_file_test
