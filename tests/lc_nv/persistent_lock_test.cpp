// Another program's record lock on one of a persistent parameter's copies is respected.
#include "support/lock_holder.h"
#include "support/persistent_store.h"

#include <future>

namespace persistent_lock_test {

using namespace testing_support;

namespace {

class PersistentLock : public MadeStore {
protected:
    PersistentLock() { put_both("a", "old"); }

    // Runs the call while somebody holds a lock of this kind. during: looks at the store while the call
    // waits.
    template <typename Call, typename During>
    static auto run_held_up(const std::string &path, const std::string &kind, Call call, During during)
    {
        LockHolder holder(path, kind);
        auto result = std::async(std::launch::async, call);
        EXPECT_TRUE(someone_waits_for_a_lock());
        during();
        holder.let_go();
        return result.get();
    }
    template <typename Call>
    static auto run_held_up(const std::string &path, const std::string &kind, Call call)
    {
        return run_held_up(path, kind, call, [] {});
    }
};

ReadResult read_a()
{
    return read_with(16, [](char *buffer, uint32_t size) { return nvm_readnv("a", buffer, size); });
}

uint32_t write_new() { return nvm_writenv("a", "new", 4); }

} // namespace

TEST_F(PersistentLock, reading_the_current_copy_does_not_ask_for_the_backup)
{
    const LockHolder holder(backup.file_of("a"), "LOCK_EX");
    EXPECT_EQ(read_a(), found("old"));
}

TEST_F(PersistentLock, writing_waits_for_any_lock_of_the_backup_with_the_current_copy_written)
{
    for (const char *kind : {"LOCK_SH", "LOCK_EX"}) {
        put_both("a", "old");
        const auto in_between = [&] {
            EXPECT_EQ(current.content("a"), stored("new"));
            EXPECT_EQ(backup.content("a"), stored("old"));
            EXPECT_EQ(read_a(), found("new"));
        };
        EXPECT_EQ(run_held_up(backup.file_of("a"), kind, write_new, in_between), 0U);
        expect_both("a", "new");
    }
}

TEST_F(PersistentLock, export_waits_for_an_exclusive_lock)
{
    EXPECT_EQ(
        run_held_up(current.file_of("a"), "LOCK_EX", [] { return nvm_export("/2ndfile/file", 1, 0); }),
        0U);
    EXPECT_EQ(read_text("/2ndfile/file"), "a=1=old\n");
}

TEST_F(PersistentLock, import_and_reset_wait_for_a_shared_lock)
{
    write_text("/2ndfile/file", "a=1=new\n");
    EXPECT_EQ(run_held_up(current.file_of("a"), "LOCK_SH",
                          [] { return nvm_import("/2ndfile/file", 1, 0, 0); }),
              0U);
    expect_both("a", "new");
    EXPECT_EQ(run_held_up(backup.file_of("a"), "LOCK_SH", nvm_routerreset), 0U);
    expect_both("a", "default");
}

TEST_F(PersistentLock, start_waits_for_locks_of_both_copies)
{
    backup.put("a", stored("older"));
    EXPECT_EQ(run_held_up(current.file_of("a"), "LOCK_EX", nvm_init), 0U);
    backup.put("a", stored("older"));
    EXPECT_EQ(run_held_up(backup.file_of("a"), "LOCK_SH", nvm_init), 0U);
    expect_both("a", "old");
}

TEST_F(PersistentLock, nothing_stays_locked)
{
    write_new();
    read_a();
    nvm_init();
    nvm_export("/2ndfile/file", 1, 0);
    nvm_import("/2ndfile/file", 1, 0, 0);
    // Would wait forever otherwise.
    const LockHolder current_holder(current.file_of("a"), "LOCK_EX");
    const LockHolder backup_holder(backup.file_of("a"), "LOCK_EX");
}

} // namespace persistent_lock_test
