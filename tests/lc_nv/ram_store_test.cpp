// Making the store.
#include "support/calls.h"
#include "support/ram_store.h"
#include "support/scoped_mount.h"

#include <cerrno>
#include <sys/stat.h>

namespace ram_store_test {

using namespace testing_support;

namespace {

// What the store gives when its folder is not made, for this reason.
uint32_t start_failing_with(int error)
{
    calls::mkdir.fail_nth(1, error);
    return nvmram_init();
}

bool is_store_directory()
{
    struct stat status = {};
    return stat(NVMRAM_DIR, &status) == 0 && S_ISDIR(status.st_mode);
}

} // namespace

TEST(RamInit, makes_the_directory_readable_and_writable_for_all)
{
    umask(0);
    std::string made;
    const Hooked note(calls::mkdir, [&](auto &next, const char *path, mode_t mode) {
        made = path;
        return next(path, mode);
    });
    EXPECT_EQ(nvmram_init(), 0U);
    EXPECT_EQ(made, "/tmp/nv/");
    struct stat status = {};
    ASSERT_EQ(stat("/tmp/nv", &status), 0);
    EXPECT_TRUE(S_ISDIR(status.st_mode));
    EXPECT_EQ(status.st_mode & 0666U, 0666U);
}

TEST(RamInit, leaves_the_file_creation_mask_alone)
{
    umask(022);
    EXPECT_EQ(nvmram_init(), 0U);
    EXPECT_EQ(current_umask(), 022U);
    EXPECT_EQ(mode_of(NVMRAM_DIR) & 0666U, 0644U);
    EXPECT_EQ(nvmram_init(), 0U);
    EXPECT_EQ(current_umask(), 022U);
    EXPECT_EQ(start_failing_with(ENOSPC), 5U);
    EXPECT_EQ(current_umask(), 022U);
}

TEST(RamInit, of_a_store_that_is_there_succeeds_and_keeps_its_parameters)
{
    ASSERT_EQ(nvmram_init(), 0U);
    ASSERT_EQ(nvmram_writenv("a", "xyz", 4), 0U);
    EXPECT_EQ(nvmram_init(), 0U);
    EXPECT_EQ(nvram_match("a", "xyz"), 0U);
}

TEST(RamInit, gives_5_when_the_directory_cannot_be_made)
{
    for (const int error : {ENOSPC, EACCES, ENOENT, EROFS}) {
        EXPECT_EQ(start_failing_with(error), 5U) << error;
    }
    EXPECT_FALSE(is_store_directory());
}

TEST(RamInit, gives_5_on_a_read_only_file_system_without_the_directory)
{
    ScopedMount tmp("/tmp");
    tmp.make_read_only();
    EXPECT_EQ(nvmram_init(), 5U);
}

TEST(RamInit, counts_a_directory_that_is_already_there_as_made)
{
    EXPECT_EQ(start_failing_with(EEXIST), 0U);
}

TEST(RamInit, has_not_taken_place_so_writing_gives_5_after_the_checks)
{
    EXPECT_EQ(nvmram_writenv("a", "v", 2), 5U);
    EXPECT_EQ(nvmram_writenv("b d", "v", 2), 1U);
}

} // namespace ram_store_test
