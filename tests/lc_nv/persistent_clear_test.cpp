// Clearing the persistent store.
#include "support/interpose.h"
#include "support/persistent_store.h"

#include <vector>

using namespace testing_support;

namespace {

std::vector<std::string> g_commands;

} // namespace

extern "C" int system(const char *command)
{
    g_commands.emplace_back(command);
    return next_definition<int(const char *)>("system")(command);
}

using PersistentClear = MadeStore;

TEST_F(PersistentClear, runs_these_commands)
{
    EXPECT_EQ(nvm_clear(), 0U);
    EXPECT_EQ(g_commands, (std::vector<std::string>{"rm /2ndfile/nv/currentnv/* 2> /dev/null",
                                                    "rm /2ndfile/nv/backupnv/* 2> /dev/null"}));
}

TEST_F(PersistentClear, removes_both_copies_of_every_parameter_and_nothing_else)
{
    put_both("a", "value");
    put_both("-undeclared.3_x", "value");
    put_both(".hidden", "value");
    backup.put("b", "");
    EXPECT_EQ(nvm_fin(), 0U);
    EXPECT_EQ(nvm_clear(), 0U);
    EXPECT_EQ(current.files(), std::set<std::string>{".hidden"});
    EXPECT_EQ(backup.files(), std::set<std::string>{".hidden"});
    EXPECT_EQ(read_text(NVM_DEFAULTS_FILE), "a=1=default\n");
    EXPECT_EQ(access(NVM_SHUTDOWN_MARKER, F_OK), 0);
}

TEST_F(PersistentClear, of_an_empty_or_missing_store_gives_0_and_prints_nothing)
{
    testing::internal::CaptureStderr();
    EXPECT_EQ(nvm_clear(), 0U);
    rmdir(NVM_CURRENT_DIR);
    rmdir(NVM_BACKUP_DIR);
    EXPECT_EQ(nvm_clear(), 0U);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(PersistentClear, backups_go_also_when_there_are_no_current_copies)
{
    backup.put("a", stored("value"));
    EXPECT_EQ(nvm_clear(), 0U);
    EXPECT_EQ(backup.files(), std::set<std::string>());
}

TEST_F(PersistentClear, next_init_refills_everything_from_the_defaults)
{
    put_both("a", "value");
    EXPECT_EQ(nvm_clear(), 0U);
    EXPECT_EQ(read_nv("a"), found("default"));
    EXPECT_EQ(nvm_init(), 0U);
    expect_both("a", "default");
}
