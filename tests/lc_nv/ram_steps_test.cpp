// The system calls of reading and writing, in order: other processes rely on the order of locking.
#include "support/file_steps.h"
#include "support/ram_store.h"

namespace ram_steps_test {

using namespace testing_support;

namespace {

uint32_t write_a(const char *value) { return nvmram_writenv("a", value, 100); }

const Steps kWriteSteps = {"umask 0000",   "open a to write", "exclusive lock of a",
                           "write 6 to a", "cut a to 6",      "unlock a",
                           "close a"};

} // namespace

using RamSteps = RamStore;

TEST_F(RamSteps, reading_holds_a_shared_lock_of_the_whole_file)
{
    put("a", stored("value"));
    char buffer[8];
    EXPECT_EQ(steps_of([&] { nvmram_readnv("a", buffer, sizeof(buffer)); }),
              (Steps{"open a to read", "shared lock of a", "read 4096 from a", "unlock a", "close a"}));
}

TEST_F(RamSteps, reading_a_missing_parameter_only_tries_to_open_it)
{
    char buffer[8];
    EXPECT_EQ(steps_of([&] { nvmram_readnv("a", buffer, sizeof(buffer)); }),
              (Steps{"open a to read: fails"}));
}

TEST_F(RamSteps, refused_arguments_touch_no_file)
{
    char buffer[8];
    EXPECT_EQ(steps_of([&] {
                  nvmram_readnv("b d", buffer, sizeof(buffer));
                  nvmram_readnv(nullptr, buffer, sizeof(buffer));
                  nvmram_readnv("a", nullptr, sizeof(buffer));
                  nvmram_writenv("b d", "value", 6);
                  nvmram_writenv(nullptr, "value", 6);
                  nvmram_writenv("a", nullptr, 6);
                  nvmram_writenv("a", "value", 5);
              }),
              Steps(4, "umask 0000"));
}

TEST_F(RamSteps, writing_cuts_the_file_after_the_new_bytes_are_in_place_and_before_unlocking)
{
    put("a", stored("a much longer old value"));
    EXPECT_EQ(steps_of([] { EXPECT_EQ(write_a("value"), 0U); }), kWriteSteps);
    EXPECT_EQ(content("a"), stored("value"));
}

TEST_F(RamSteps, creating_holds_an_exclusive_lock_of_the_folder_until_the_file_is_there)
{
    EXPECT_EQ(steps_of([] { EXPECT_EQ(write_a("value"), 0U); }),
              (Steps{"umask 0000", "open a to write: fails", "open folder to read",
                     "exclusive lock of folder", "open a to write, creating 0666", "unlock folder",
                     "exclusive lock of a", "write 6 to a", "cut a to 6", "unlock a", "close a",
                     "close folder"}));
}

TEST_F(RamSteps, failed_creation_gives_the_folder_lock_back)
{
    EXPECT_EQ(steps_of([] { EXPECT_EQ(nvmram_writenv("", "value", 6), 0U); }),
              (Steps{"umask 0000", "open folder to write: fails", "open folder to read",
                     "exclusive lock of folder", "open folder to write, creating 0666: fails",
                     "unlock folder", "close folder"}));
}

TEST_F(RamSteps, failed_locks_are_not_reported)
{
    g_file_steps.locks_fail = true;
    EXPECT_EQ(write_a("value"), 0U);
    EXPECT_EQ(steps_of([] { EXPECT_EQ(write_a("other"), 0U); }), kWriteSteps);
    char buffer[8];
    EXPECT_EQ(nvmram_readnv("a", buffer, sizeof(buffer)), 0U);
    EXPECT_STREQ(buffer, "other");
}

TEST_F(RamSteps, short_write_is_not_reported_and_the_file_is_cut_to_what_was_written)
{
    put("a", stored("old value"));
    g_file_steps.write_result = 3;
    Steps expected = kWriteSteps;
    expected[4] = "cut a to 3";
    EXPECT_EQ(steps_of([] { EXPECT_EQ(write_a("value"), 0U); }), expected);
    EXPECT_EQ(content("a"), "val");
}

TEST_F(RamSteps, failed_write_is_not_reported_and_keeps_the_old_value)
{
    put("a", stored("old value"));
    g_file_steps.write_result = -1;
    EXPECT_EQ(steps_of([] { EXPECT_EQ(write_a("value"), 0U); }).size(), kWriteSteps.size());
    EXPECT_EQ(content("a"), stored("old value"));
}

} // namespace ram_steps_test
