// A child that is forked while other threads use the store: it has only the forking thread, and can
// use the store. A child that hangs is killed.
#include "lc_pthread.h"
#include "support/calls.h"
#include "support/child_process.h"
#include "support/library_calls.h"
#include "support/lock_holder.h"
#include "support/ram_store.h"

#include <array>
#include <atomic>
#include <cstring>
#include <functional>
#include <future>
#include <vector>

namespace ram_fork_test {

using namespace testing_support;

namespace {

constexpr uint32_t kSize = 4096;
constexpr unsigned kSeconds = 20;

const std::string kShort(1, 'a');
const std::string kLong(3000, 'b');

ReadResult read_parameter(const char *name)
{
    return read_with(kSize,
                     [&](char *buffer, uint32_t size) { return nvmram_readnv(name, buffer, size); });
}

uint32_t write_parameter(const char *name, const std::string &value)
{
    return nvmram_writenv(name, value.c_str(), kSize);
}

bool is_whole(const ReadResult &result) { return result == found(kShort) || result == found(kLong); }

// Ends as another program: memcheck takes what belongs to threads that are not in a child for lost.
int told_by_a_program(bool fine)
{
    execl(fine ? "/bin/true" : "/bin/false", "child", nullptr);
    return 127;
}

ChildProcess fork_child(const std::function<bool()> &work)
{
    return ChildProcess([&] {
        alarm(kSeconds);
        return told_by_a_program(work());
    });
}

} // namespace

using RamFork = RamStore;

TEST_F(RamFork, child_uses_the_store_while_a_thread_of_its_parent_waits)
{
    put("theirs", stored("old"));
    put("ours", stored("value"));
    LockHolder holder(file_of("theirs"), "LOCK_EX");
    auto waiting = std::async(std::launch::async, read_parameter, "theirs");
    EXPECT_TRUE(someone_waits_for_a_lock());
    ChildProcess child = fork_child([] {
        return read_parameter("ours") == found("value") && write_parameter("ours", "its") == 0 &&
               write_parameter("new", "one") == 0 && nvram_match("ours", "its") == 0;
    });
    EXPECT_EQ(child.wait(), 0);
    EXPECT_EQ(content("new"), stored("one"));
    holder.let_go();
    EXPECT_EQ(waiting.get(), found("old"));
}

TEST_F(RamFork, child_waits_with_its_parent_for_another_process)
{
    put("theirs", stored("old"));
    LockHolder holder(file_of("theirs"), "LOCK_EX", "its");
    auto waiting = std::async(std::launch::async, read_parameter, "theirs");
    EXPECT_TRUE(someone_waits_for_a_lock());
    ChildProcess child = fork_child([] { return read_parameter("theirs") == found("its"); });
    EXPECT_TRUE(locks_are_waited_for(2));
    holder.let_go();
    EXPECT_EQ(waiting.get(), found("its"));
    EXPECT_EQ(child.wait(), 0);
}

TEST_F(RamFork, child_uses_the_store_though_a_thread_has_its_mutex)
{
    put("ours", stored("value"));
    std::atomic<bool> has_mutex{false};
    std::atomic<bool> goes_on{false};
    std::atomic<bool> is_first{true};
    const Hooked stop_there(calls::lc_pthread_mutex_lock, [&](auto &next, pthread_mutex_t *mutex) {
        const int result = next(mutex);
        if (is_first.exchange(false)) {
            has_mutex = true;
            EXPECT_TRUE(eventually([&] { return goes_on.load(); }));
        }
        return result;
    });
    auto other = std::async(std::launch::async, read_parameter, "ours");
    EXPECT_TRUE(eventually([&] { return has_mutex.load(); }));
    ChildProcess child = fork_child([] { return read_parameter("ours") == found("value"); });
    EXPECT_EQ(child.wait(), 0);
    goes_on = true;
    EXPECT_EQ(other.get(), found("value"));
}

// As a signal handler can fork one. What the interrupted call yields there is open: the child shares
// the file's offset with its parent.
TEST_F(RamFork, child_forked_within_a_call_uses_the_store_afterwards)
{
    put("theirs", stored("old"));
    put("ours", stored("value"));
    LockHolder holder(file_of("theirs"), "LOCK_EX", "its");
    std::future<ReadResult> waiting;
    pid_t child = -1;
    std::atomic<bool> is_first{true};
    const Hooked fork_there(calls::read, [&](auto &next, int fd, void *bytes, size_t size) {
        if (is_first.exchange(false)) {
            waiting = std::async(std::launch::async, read_parameter, "theirs");
            EXPECT_TRUE(someone_waits_for_a_lock());
            child = fork();
        }
        return next(fd, bytes, size);
    });
    read_parameter("ours");
    if (child == 0) {
        alarm(kSeconds);
        _exit(told_by_a_program(read_parameter("ours") == found("value") &&
                                read_parameter("theirs") == found("its")));
    }
    EXPECT_TRUE(locks_are_waited_for(2));
    holder.let_go();
    EXPECT_EQ(waiting.get(), found("its"));
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_F(RamFork, child_forked_at_any_moment_sees_whole_values)
{
#ifdef EMULATED
    GTEST_SKIP() << "the emulator takes locks of its own into a child that is forked at any moment";
#endif
    constexpr int kForks = 300;
    constexpr const char *kNames[] = {"first", "second"};
    for (const char *name : kNames) {
        ASSERT_EQ(write_parameter(name, kShort), 0U);
    }
    std::atomic<bool> over{false};
    const auto work = [&over](const char *name, const std::string &value) {
        bool fine = true;
        while (!over) {
            fine = write_parameter(name, value) == 0 && is_whole(read_parameter(name)) && fine;
        }
        return fine;
    };
    std::vector<std::future<bool>> threads;
    for (const char *name : kNames) {
        for (const std::string &value : {kShort, kLong}) {
            threads.push_back(std::async(std::launch::async, work, name, value));
        }
    }
    for (int i = 0; i < kForks && !HasFailure(); ++i) {
        ChildProcess child = fork_child([&] {
            bool fine = true;
            for (const char *name : kNames) {
                fine = is_whole(read_parameter(name)) && write_parameter(name, kLong) == 0 && fine;
            }
            return fine;
        });
        EXPECT_EQ(child.wait(), 0) << "fork no. " << i;
    }
    over = true;
    for (std::future<bool> &thread : threads) {
        EXPECT_TRUE(thread.get());
    }
}

} // namespace ram_fork_test
