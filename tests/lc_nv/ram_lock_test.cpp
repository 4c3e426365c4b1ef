// Another program's record lock on a parameter is respected.
#include "support/lock_holder.h"
#include "support/ram_store.h"

#include <future>

namespace ram_lock_test {

using namespace testing_support;

namespace {

uint32_t write_new() { return nvmram_writenv("a", "new", 4); }

ReadResult read_a()
{
    return read_with(16, [](char *buffer, uint32_t size) { return nvmram_readnv("a", buffer, size); });
}

} // namespace

using RamLock = RamStore;

TEST_F(RamLock, reading_waits_for_an_exclusive_lock)
{
    put("a", stored("old"));
    LockHolder holder(file_of("a"), "LOCK_EX", "its");
    auto reading = std::async(std::launch::async, read_a);
    EXPECT_TRUE(someone_waits_for_a_lock());
    holder.let_go();
    EXPECT_EQ(reading.get(), found("its"));
}

TEST_F(RamLock, reading_shares_with_a_shared_lock)
{
    put("a", stored("old"));
    const LockHolder holder(file_of("a"), "LOCK_SH");
    EXPECT_EQ(read_a(), found("old"));
}

TEST_F(RamLock, writing_waits_for_an_exclusive_lock)
{
    put("a", stored("old"));
    LockHolder holder(file_of("a"), "LOCK_EX", "its");
    auto writing = std::async(std::launch::async, write_new);
    EXPECT_TRUE(someone_waits_for_a_lock());
    EXPECT_EQ(content("a"), stored("old"));
    holder.let_go();
    EXPECT_EQ(writing.get(), 0U);
    EXPECT_EQ(content("a"), stored("new"));
}

TEST_F(RamLock, writing_waits_for_a_shared_lock)
{
    put("a", stored("old"));
    LockHolder holder(file_of("a"), "LOCK_SH");
    auto writing = std::async(std::launch::async, write_new);
    EXPECT_TRUE(someone_waits_for_a_lock());
    EXPECT_EQ(content("a"), stored("old"));
    holder.let_go();
    EXPECT_EQ(writing.get(), 0U);
    EXPECT_EQ(content("a"), stored("new"));
}

TEST_F(RamLock, other_parameters_are_not_held_up)
{
    put("b", stored("old"));
    const LockHolder holder(file_of("b"), "LOCK_EX");
    EXPECT_EQ(write_new(), 0U);
    EXPECT_EQ(read_a(), found("new"));
}

TEST_F(RamLock, nothing_stays_locked)
{
    write_new();
    write_new();
    read_a();
    // Would wait forever otherwise.
    const LockHolder holder(file_of("a"), "LOCK_EX");
}

} // namespace ram_lock_test
