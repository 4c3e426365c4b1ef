// Threads of one process: those at one parameter take turns, those at different ones do not wait for
// each other.
#include "support/child_process.h"
#include "support/lock_circle.h"
#include "support/lock_holder.h"
#include "support/ram_store.h"
#include "support/waits.h"

#include <atomic>
#include <chrono>
#include <future>
#include <vector>

namespace ram_threads_test {

using namespace testing_support;

namespace {

ReadResult read_parameter(const std::string &name)
{
    return read_with(
        16, [&](char *buffer, uint32_t size) { return nvmram_readnv(name.c_str(), buffer, size); });
}

uint32_t write_parameter(const std::string &name, const std::string &value)
{
    return nvmram_writenv(name.c_str(), value.c_str(), 16);
}

std::future<ReadResult> start_reading(const std::string &name)
{
    return std::async(std::launch::async, read_parameter, name);
}

template <typename Result> bool ends(const std::future<Result> &work)
{
    return work.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
}

template <typename Result> bool has_ended(const std::future<Result> &work)
{
    return work.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
}

std::string name_of(int number) { return "p" + std::to_string(number); }

} // namespace

using RamThreads = RamStore;

TEST_F(RamThreads, thread_that_waits_for_another_process_holds_up_no_other_parameter)
{
    put("theirs", stored("old"));
    LockHolder holder(file_of("theirs"), "LOCK_EX", "its");
    auto waiting = start_reading("theirs");
    EXPECT_TRUE(someone_waits_for_a_lock());

    auto others = std::async(std::launch::async, [] {
        EXPECT_EQ(write_parameter("ours", "value"), 0U);
        EXPECT_EQ(write_parameter("ours", "other"), 0U);
        EXPECT_EQ(read_parameter("ours"), found("other"));
        EXPECT_EQ(read_parameter("absent"), refused(1));
    });
    EXPECT_TRUE(ends(others));
    EXPECT_FALSE(has_ended(waiting));
    holder.let_go();
    EXPECT_EQ(waiting.get(), found("its"));
}

TEST_F(RamThreads, value_may_be_read_into_the_buffer_of_its_name_while_others_wait)
{
    put("theirs", stored("old"));
    LockHolder holder(file_of("theirs"), "LOCK_EX", "its");
    char buffer[16] = "theirs";
    auto first =
        std::async(std::launch::async, [&] { return nvmram_readnv(buffer, buffer, sizeof(buffer)); });
    EXPECT_TRUE(someone_waits_for_a_lock());
    auto second = start_reading("theirs");
    EXPECT_TRUE(g_waits.until_asleep(1));
    holder.let_go();
    EXPECT_EQ(first.get(), 0U);
    EXPECT_STREQ(buffer, "its");
    ASSERT_TRUE(ends(second));
    EXPECT_EQ(second.get(), found("its"));
}

TEST_F(RamThreads, any_number_of_threads_waits_without_holding_up_others)
{
    constexpr int kThreads = 100;
    for (int i = 0; i < kThreads; ++i) {
        put(name_of(i), stored("old"));
    }
    Cue locked;
    Cue goes_on;
    ChildProcess holder([&] {
        int failures = 0;
        for (int i = 0; i < kThreads; ++i) {
            failures += lock_exclusively(file_of(name_of(i))) < 0;
        }
        locked.give();
        goes_on.await();
        return failures == 0 ? 0 : 1;
    });
    locked.await();
    std::vector<std::future<ReadResult>> readers;
    for (int i = 0; i < kThreads; ++i) {
        readers.push_back(start_reading(name_of(i)));
    }
    EXPECT_TRUE(locks_are_waited_for(kThreads));

    auto another = std::async(std::launch::async, [] {
        EXPECT_EQ(write_parameter("ours", "value"), 0U);
        return read_parameter("ours");
    });
    EXPECT_TRUE(ends(another));
    goes_on.give();
    EXPECT_EQ(holder.wait(), 0);
    EXPECT_EQ(another.get(), found("value"));
    for (std::future<ReadResult> &reader : readers) {
        EXPECT_EQ(reader.get(), found("old"));
    }
}

TEST_F(RamThreads, those_at_one_parameter_have_it_in_the_order_in_which_they_came)
{
    put("a", stored("old"));
    put("b", stored("other"));
    LockHolder holder(file_of("a"), "LOCK_EX");
    LockHolder other_holder(file_of("b"), "LOCK_EX");
    auto elsewhere = start_reading("b");
    EXPECT_TRUE(someone_waits_for_a_lock());
    auto first = start_reading("a");
    EXPECT_TRUE(locks_are_waited_for(2));
    std::vector<std::future<uint32_t>> writers;
    for (const char *value : {"one", "two", "three"}) {
        writers.push_back(std::async(std::launch::async, write_parameter, "a", value));
        EXPECT_TRUE(g_waits.until_asleep(static_cast<int>(writers.size())));
    }
    auto last = start_reading("a");
    EXPECT_TRUE(g_waits.until_asleep(4));
    holder.let_go();
    EXPECT_EQ(first.get(), found("old"));
    for (std::future<uint32_t> &writer : writers) {
        EXPECT_EQ(writer.get(), 0U);
    }
    EXPECT_EQ(last.get(), found("three"));
    EXPECT_FALSE(has_ended(elsewhere));
    other_holder.let_go();
    EXPECT_EQ(elsewhere.get(), found("other"));
}

TEST_F(RamThreads, waking_without_reason_is_no_turn)
{
    put("a", stored("old"));
    LockHolder holder(file_of("a"), "LOCK_EX", "its");
    auto first = start_reading("a");
    EXPECT_TRUE(someone_waits_for_a_lock());
    g_waits.wake_spuriously(3);
    auto second = start_reading("a");
    EXPECT_TRUE(g_waits.until_asleep(1));
    EXPECT_EQ(calls::lc_pthread_cond_wait.made, 4);
    holder.let_go();
    EXPECT_EQ(first.get(), found("its"));
    EXPECT_EQ(second.get(), found("its"));
}

TEST_F(RamThreads, nobody_is_woken_when_nobody_waits)
{
    EXPECT_EQ(write_parameter("a", "value"), 0U);
    EXPECT_EQ(read_parameter("a"), found("value"));
    EXPECT_EQ(calls::lc_pthread_cond_signal.made + calls::lc_pthread_cond_broadcast.made +
                  calls::lc_pthread_cond_wait.made,
              0);
}

TEST_F(RamThreads, deadlock_that_lasts_a_second_is_done_without_the_lock)
{
    const int own = lock_exclusively("/tmp/own");
    HalfWay other(file_of("a"), "/tmp/own");
    other.want_the_other_lock();
    const DeadlockCount deadlocks;
    std::atomic<int> pauses{0};
    {
        const Hooked pause(calls::usleep, [&](auto &, useconds_t) {
            ++pauses;
            return 0;
        });
        EXPECT_EQ(read_parameter("a"), found("half"));
    }
    EXPECT_EQ(deadlocks.refused(), 1000);
    EXPECT_EQ(pauses, 999);
    close(own);
    other.expect_success();
}

} // namespace ram_threads_test
