// Threads that are cancelled in the store: at which call, and the state afterwards.
#include "support/calls.h"
#include "support/lock_holder.h"
#include "support/ram_store.h"
#include "support/waits.h"

#include <atomic>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <pthread.h>

namespace ram_cancel_test {

using namespace testing_support;

namespace {

class Thread {
public:
    explicit Thread(std::function<void()> work) : work_(std::move(work))
    {
        EXPECT_EQ(pthread_create(&thread_, nullptr, run, this), 0);
    }
    ~Thread()
    {
        if (!joined_) {
            join();
        }
    }
    Thread(const Thread &) = delete;
    Thread &operator=(const Thread &) = delete;

    void cancel() { EXPECT_EQ(pthread_cancel(thread_), 0); }
    bool ends_cancelled() { return join() == PTHREAD_CANCELED; }
    bool ends_by_itself() { return join() == this; }

private:
    static void *run(void *self)
    {
        static_cast<Thread *>(self)->work_();
        return self;
    }
    void *join()
    {
        void *result = nullptr;
        joined_ = true;
        EXPECT_EQ(pthread_join(thread_, &result), 0);
        return result;
    }

    std::function<void()> work_;
    pthread_t thread_;
    bool joined_ = false;
};

void read_a()
{
    char buffer[16];
    nvmram_readnv("a", buffer, sizeof(buffer));
}

void write_a() { nvmram_writenv("a", "new", 16); }

} // namespace

class RamCancel : public RamStore {
protected:
    RamCancel()
    {
        alarm(100); // what would hang is ended
        put("a", stored("old"));
        put("b", stored("other"));
    }
    // The store is to work as if nothing had been.
    ~RamCancel() override
    {
        EXPECT_EQ(count_descriptors(), descriptors_);
        for (const char *name : {"a", "b", "new"}) {
            EXPECT_EQ(nvmram_writenv(name, "value", 16), 0U);
            EXPECT_EQ(nvram_match(name, "value"), 0U);
            const LockHolder none_is_left(file_of(name), "LOCK_EX");
        }
    }

    // Cancels a thread while it waits for a lock that another process has on a.
    void expect_cancelled_at_lock(void (*work)())
    {
        const LockHolder holder(file_of("a"), "LOCK_EX");
        const int descriptors = count_descriptors();
        Thread thread(work);
        EXPECT_TRUE(someone_waits_for_a_lock());
        thread.cancel();
        EXPECT_TRUE(thread.ends_cancelled());
        EXPECT_EQ(count_descriptors(), descriptors);
        EXPECT_EQ(nvram_match("b", "other"), 0U);
        EXPECT_EQ(content("a"), stored("old"));
    }

private:
    const int descriptors_ = count_descriptors();
};

TEST_F(RamCancel, reader_that_waits_for_another_process_gives_everything_back)
{
    expect_cancelled_at_lock(read_a);
}

TEST_F(RamCancel, writer_that_waits_for_another_process_gives_everything_back)
{
    expect_cancelled_at_lock(write_a);
}

TEST_F(RamCancel, writer_that_waits_with_a_new_file_closes_the_folder_too)
{
    unlink(file_of("a").c_str());
    std::unique_ptr<LockHolder> holder;
    bool is_first = true;
    const Hooked precede(calls::open, [&](auto &next, const char *path, int flags, mode_t mode) {
        if ((flags & O_CREAT) != 0 && std::exchange(is_first, false)) {
            put("a", "");
            holder = std::make_unique<LockHolder>(file_of("a"), "LOCK_EX");
        }
        return next(path, flags, mode);
    });
    Thread thread(write_a);
    EXPECT_TRUE(someone_waits_for_a_lock());
    thread.cancel();
    EXPECT_TRUE(thread.ends_cancelled());
    holder.reset();
    EXPECT_EQ(content("a"), "");
}

TEST_F(RamCancel, next_thread_has_its_turn_when_the_one_before_it_is_cancelled)
{
    LockHolder holder(file_of("a"), "LOCK_EX", "its");
    Thread first(read_a);
    EXPECT_TRUE(someone_waits_for_a_lock());
    uint32_t matched = 99;
    Thread second([&] { matched = nvram_match("a", "its"); });
    EXPECT_TRUE(g_waits.until_asleep(1));
    first.cancel();
    EXPECT_TRUE(first.ends_cancelled());
    EXPECT_TRUE(someone_waits_for_a_lock());
    holder.let_go();
    EXPECT_TRUE(second.ends_by_itself());
    EXPECT_EQ(matched, 0U);
}

TEST_F(RamCancel, thread_that_waits_for_its_turn_leaves_those_before_and_behind_it_alone)
{
    LockHolder holder(file_of("a"), "LOCK_EX", "its");
    uint32_t matched[2] = {99, 99};
    Thread first([&] { matched[0] = nvram_match("a", "its"); });
    EXPECT_TRUE(someone_waits_for_a_lock());
    Thread second(write_a);
    EXPECT_TRUE(g_waits.until_asleep(1));
    Thread third([&] { matched[1] = nvram_match("a", "its"); });
    EXPECT_TRUE(g_waits.until_asleep(2));
    second.cancel();
    EXPECT_TRUE(second.ends_cancelled());
    EXPECT_EQ(nvram_match("b", "other"), 0U);
    holder.let_go();
    EXPECT_TRUE(first.ends_by_itself());
    EXPECT_TRUE(third.ends_by_itself());
    EXPECT_EQ(matched[0], 0U);
    EXPECT_EQ(matched[1], 0U);
}

TEST_F(RamCancel, value_that_is_being_written_is_written_to_its_end)
{
    put("a", stored("a much longer old value"));
    uint32_t result = 99;
    const Hooked cancel_there(calls::write, [](auto &next, int fd, const void *bytes, size_t size) {
        pthread_cancel(pthread_self());
        return next(fd, bytes, size);
    });
    Thread thread([&] {
        result = nvmram_writenv("a", "new", 16);
        pthread_testcancel();
    });
    EXPECT_TRUE(thread.ends_cancelled());
    EXPECT_EQ(result, 0U);
    EXPECT_EQ(content("a"), stored("new"));
}

TEST_F(RamCancel, request_that_has_come_before_takes_effect_where_the_thread_could_wait)
{
    std::atomic<int> returns{0};
    for (void (*const work)() : {read_a, write_a}) {
        Thread thread([&] {
            pthread_cancel(pthread_self());
            work();
            ++returns;
        });
        EXPECT_TRUE(thread.ends_cancelled());
    }
    EXPECT_EQ(returns, 0);
    EXPECT_EQ(content("a"), stored("old"));
}

// A thread of the GNU libc ends by unwinding its stack, through the library's frames to the host's.
TEST_F(RamCancel, objects_of_the_host_are_destroyed_with_the_thread)
{
    const LockHolder holder(file_of("a"), "LOCK_EX");
    bool destroyed[2] = {};
    const auto read_with_object = [&](int which) {
        return [&, which] {
            const auto destroy = [](bool *noted) { *noted = true; };
            const std::unique_ptr<bool, decltype(destroy)> object(&destroyed[which], destroy);
            read_a();
        };
    };
    Thread at_file(read_with_object(0));
    EXPECT_TRUE(someone_waits_for_a_lock());
    Thread in_queue(read_with_object(1));
    EXPECT_TRUE(g_waits.until_asleep(1));
    in_queue.cancel();
    EXPECT_TRUE(in_queue.ends_cancelled());
    at_file.cancel();
    EXPECT_TRUE(at_file.ends_cancelled());
    EXPECT_TRUE(destroyed[0]);
    EXPECT_TRUE(destroyed[1]);
}

TEST_F(RamCancel, thread_that_cannot_be_cancelled_waits_on)
{
    LockHolder holder(file_of("a"), "LOCK_EX", "its");
    uint32_t matched[2] = {99, 99};
    int states[2] = {PTHREAD_CANCEL_ENABLE, PTHREAD_CANCEL_ENABLE};
    const auto match = [&](int which) {
        return [&, which] {
            pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
            matched[which] = nvram_match("a", "its");
            pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &states[which]);
        };
    };
    Thread first(match(0));
    EXPECT_TRUE(someone_waits_for_a_lock());
    Thread second(match(1));
    EXPECT_TRUE(g_waits.until_asleep(1));
    first.cancel();
    second.cancel();
    holder.let_go();
    EXPECT_TRUE(first.ends_by_itself());
    EXPECT_TRUE(second.ends_by_itself());
    for (int which = 0; which < 2; ++which) {
        EXPECT_EQ(matched[which], 0U);
        EXPECT_EQ(states[which], PTHREAD_CANCEL_DISABLE);
    }
}

TEST_F(RamCancel, thread_can_be_cancelled_after_a_call_as_before)
{
    int state = PTHREAD_CANCEL_DISABLE;
    read_a();
    write_a();
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &state);
    EXPECT_EQ(state, PTHREAD_CANCEL_ENABLE);
}

} // namespace ram_cancel_test
