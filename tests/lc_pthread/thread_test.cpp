// The thread calls under the library's names: each does what the call behind it does.
#include "lc_pthread.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <ctime>
#include <future>
#include <unistd.h>
#include <utility>

namespace thread_test {

namespace {

void *return_argument(void *argument) { return argument; }

void *exit_with_argument(void *argument) { lc_pthread_exit(argument); }

void *sleep_until_cancelled(void *)
{
    for (;;) {
        pause();
    }
}

void *tell_own_detach_state(void *promise)
{
    pthread_attr_t own;
    int state = -1;
    pthread_getattr_np(pthread_self(), &own);
    pthread_attr_getdetachstate(&own, &state);
    pthread_attr_destroy(&own);
    static_cast<std::promise<int> *>(promise)->set_value(state);
    return nullptr;
}

timespec in_seconds(time_t seconds)
{
    timespec deadline;
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += seconds;
    return deadline;
}

class Attributes : public testing::Test {
protected:
    Attributes() { EXPECT_EQ(lc_pthread_attr_init(&attr_), 0); }
    ~Attributes() override { EXPECT_EQ(lc_pthread_attr_destroy(&attr_), 0); }

    pthread_attr_t attr_;
};

class Lock : public testing::Test {
protected:
    Lock() { EXPECT_EQ(lc_pthread_mutex_init(&mutex_, nullptr), 0); }
    ~Lock() override { EXPECT_EQ(lc_pthread_mutex_destroy(&mutex_), 0); }

    // What a thread that does not hold the mutex gets.
    int try_elsewhere()
    {
        pthread_t thread;
        void *result = nullptr;
        EXPECT_EQ(lc_pthread_create(
                      &thread, nullptr,
                      [](void *mutex) -> void * {
                          const int tried =
                              lc_pthread_mutex_trylock(static_cast<pthread_mutex_t *>(mutex));
                          if (tried == 0) {
                              lc_pthread_mutex_unlock(static_cast<pthread_mutex_t *>(mutex));
                          }
                          return reinterpret_cast<void *>(static_cast<intptr_t>(tried));
                      },
                      &mutex_),
                  0);
        EXPECT_EQ(lc_pthread_join(thread, &result), 0);
        return static_cast<int>(reinterpret_cast<intptr_t>(result));
    }

    pthread_mutex_t mutex_;
};

// Waiters that are let go one by one or all at once.
class Wait : public Lock {
protected:
    static constexpr int kWaiters = 3;

    Wait() { EXPECT_EQ(lc_pthread_cond_init(&cond_, nullptr), 0); }
    ~Wait() override { EXPECT_EQ(lc_pthread_cond_destroy(&cond_), 0); }

    static void *wait_for_ticket(void *self)
    {
        auto &test = *static_cast<Wait *>(self);
        lc_pthread_mutex_lock(&test.mutex_);
        ++test.waiting_;
        while (test.tickets_ == 0) {
            EXPECT_EQ(lc_pthread_cond_wait(&test.cond_, &test.mutex_), 0);
        }
        --test.tickets_;
        lc_pthread_mutex_unlock(&test.mutex_);
        return nullptr;
    }

    static void *wait_long_for_ticket(void *self)
    {
        auto &test = *static_cast<Wait *>(self);
        const timespec deadline = in_seconds(100);
        lc_pthread_mutex_lock(&test.mutex_);
        while (test.tickets_ == 0) {
            EXPECT_EQ(lc_pthread_cond_timedwait(&test.cond_, &test.mutex_, &deadline), 0);
        }
        lc_pthread_mutex_unlock(&test.mutex_);
        return nullptr;
    }

    void start_waiters()
    {
        for (pthread_t &waiter : waiters_) {
            ASSERT_EQ(lc_pthread_create(&waiter, nullptr, wait_for_ticket, this), 0);
        }
        for (int waiting = 0; waiting < kWaiters;) {
            lc_pthread_mutex_lock(&mutex_);
            waiting = waiting_;
            lc_pthread_mutex_unlock(&mutex_);
            usleep(1000);
        }
    }

    void hand_out(int tickets, int (*wake)(pthread_cond_t *))
    {
        lc_pthread_mutex_lock(&mutex_);
        tickets_ += tickets;
        EXPECT_EQ(wake(&cond_), 0);
        lc_pthread_mutex_unlock(&mutex_);
    }

    void join_waiters()
    {
        for (const pthread_t waiter : waiters_) {
            EXPECT_EQ(lc_pthread_join(waiter, nullptr), 0);
        }
        EXPECT_EQ(tickets_, 0);
    }

    pthread_cond_t cond_;
    pthread_t waiters_[kWaiters] = {};
    int waiting_ = 0;
    int tickets_ = 0;
};

} // namespace

TEST(Thread, create_passes_the_argument_and_join_gives_the_result)
{
    int argument = 0;
    pthread_t thread;
    void *result = nullptr;
    ASSERT_EQ(lc_pthread_create(&thread, nullptr, return_argument, &argument), 0);
    ASSERT_EQ(lc_pthread_join(thread, &result), 0);
    EXPECT_EQ(result, &argument);
}

TEST(Thread, exit_ends_it_with_a_result)
{
    int argument = 0;
    pthread_t thread;
    void *result = nullptr;
    ASSERT_EQ(lc_pthread_create(&thread, nullptr, exit_with_argument, &argument), 0);
    ASSERT_EQ(lc_pthread_join(thread, &result), 0);
    EXPECT_EQ(result, &argument);
}

TEST(Thread, cancle_ends_one_that_sleeps)
{
    pthread_t thread;
    void *result = nullptr;
    ASSERT_EQ(lc_pthread_create(&thread, nullptr, sleep_until_cancelled, nullptr), 0);
    EXPECT_EQ(lc_pthread_cancle(thread), 0);
    ASSERT_EQ(lc_pthread_join(thread, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
}

TEST(Thread, join_of_itself_gives_the_calls_error)
{
    EXPECT_EQ(lc_pthread_join(pthread_self(), nullptr), EDEADLK);
}

TEST_F(Attributes, start_out_as_the_systems_defaults)
{
    int scope = -1;
    int state = -1;
    size_t size = 0;
    EXPECT_EQ(lc_pthread_attr_getscope(&attr_, &scope), 0);
    EXPECT_EQ(lc_pthread_attr_getdetachstate(&attr_, &state), 0);
    EXPECT_EQ(lc_pthread_attr_getstacksize(&attr_, &size), 0);
    EXPECT_EQ(scope, PTHREAD_SCOPE_SYSTEM);
    EXPECT_EQ(state, PTHREAD_CREATE_JOINABLE);
    EXPECT_GT(size, 0U);
}

TEST_F(Attributes, scope_is_set_or_refused_as_the_system_does)
{
    EXPECT_EQ(lc_pthread_attr_setscope(&attr_, PTHREAD_SCOPE_SYSTEM), 0);
    EXPECT_EQ(lc_pthread_attr_setscope(&attr_, PTHREAD_SCOPE_PROCESS), ENOTSUP);
    EXPECT_EQ(lc_pthread_attr_setscope(&attr_, 99), EINVAL);
}

TEST_F(Attributes, detach_state_is_kept)
{
    int state = -1;
    EXPECT_EQ(lc_pthread_attr_setdetachstate(&attr_, PTHREAD_CREATE_DETACHED), 0);
    EXPECT_EQ(lc_pthread_attr_getdetachstate(&attr_, &state), 0);
    EXPECT_EQ(state, PTHREAD_CREATE_DETACHED);
    EXPECT_EQ(lc_pthread_attr_setdetachstate(&attr_, 99), EINVAL);
}

TEST_F(Attributes, stack_size_is_kept)
{
    constexpr size_t kSize = 256U * 1024U;
    size_t size = 0;
    EXPECT_EQ(lc_pthread_attr_setstacksize(&attr_, kSize), 0);
    EXPECT_EQ(lc_pthread_attr_getstacksize(&attr_, &size), 0);
    EXPECT_EQ(size, kSize);
    EXPECT_EQ(lc_pthread_attr_setstacksize(&attr_, 1), EINVAL);
}

TEST_F(Attributes, apply_to_the_thread_that_is_created_with_them)
{
    ASSERT_EQ(lc_pthread_attr_setdetachstate(&attr_, PTHREAD_CREATE_DETACHED), 0);
    pthread_t thread;
    std::promise<int> state;
    ASSERT_EQ(lc_pthread_create(&thread, &attr_, tell_own_detach_state, &state), 0);
    EXPECT_EQ(state.get_future().get(), PTHREAD_CREATE_DETACHED);
}

TEST_F(Lock, lock_excludes_others_until_unlock)
{
    EXPECT_EQ(try_elsewhere(), 0);
    EXPECT_EQ(lc_pthread_mutex_lock(&mutex_), 0);
    EXPECT_EQ(try_elsewhere(), EBUSY);
    EXPECT_EQ(lc_pthread_mutex_unlock(&mutex_), 0);
    EXPECT_EQ(try_elsewhere(), 0);
}

TEST_F(Lock, trylock_takes_a_free_mutex)
{
    EXPECT_EQ(lc_pthread_mutex_trylock(&mutex_), 0);
    EXPECT_EQ(try_elsewhere(), EBUSY);
    EXPECT_EQ(lc_pthread_mutex_unlock(&mutex_), 0);
}

TEST(LockAttributes, kind_of_mutex_reaches_the_mutex)
{
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_t mutex;
    ASSERT_EQ(lc_pthread_mutex_init(&mutex, &attr), 0);
    EXPECT_EQ(lc_pthread_mutex_lock(&mutex), 0);
    EXPECT_EQ(lc_pthread_mutex_trylock(&mutex), 0);
    EXPECT_EQ(lc_pthread_mutex_unlock(&mutex), 0);
    EXPECT_EQ(lc_pthread_mutex_unlock(&mutex), 0);
    EXPECT_EQ(lc_pthread_mutex_destroy(&mutex), 0);
    pthread_mutexattr_destroy(&attr);
}

TEST_F(Wait, each_signal_lets_one_go)
{
    start_waiters();
    for (int i = 0; i < kWaiters; ++i) {
        hand_out(1, lc_pthread_cond_signal);
    }
    join_waiters();
}

TEST_F(Wait, broadcast_lets_all_go)
{
    start_waiters();
    hand_out(kWaiters, lc_pthread_cond_broadcast);
    join_waiters();
}

TEST_F(Wait, timed_wait_ends_at_its_absolute_deadline)
{
    lc_pthread_mutex_lock(&mutex_);
    const timespec past = in_seconds(-1);
    EXPECT_EQ(lc_pthread_cond_timedwait(&cond_, &mutex_, &past), ETIMEDOUT);
    timespec soon = in_seconds(0);
    soon.tv_nsec += 50'000'000;
    soon.tv_sec += soon.tv_nsec / 1'000'000'000;
    soon.tv_nsec %= 1'000'000'000;
    int result = 0;
    while (result == 0) {
        result = lc_pthread_cond_timedwait(&cond_, &mutex_, &soon);
    }
    EXPECT_EQ(result, ETIMEDOUT);
    const timespec now = in_seconds(0);
    EXPECT_GE(std::make_pair(now.tv_sec, now.tv_nsec), std::make_pair(soon.tv_sec, soon.tv_nsec));
    lc_pthread_mutex_unlock(&mutex_);
}

TEST_F(Wait, timed_wait_ends_early_when_signalled)
{
    pthread_t waiter;
    ASSERT_EQ(lc_pthread_create(&waiter, nullptr, wait_long_for_ticket, this), 0);
    hand_out(1, lc_pthread_cond_signal);
    EXPECT_EQ(lc_pthread_join(waiter, nullptr), 0);
}

TEST(WaitAttributes, clock_of_the_condition_is_the_one_of_its_deadline)
{
    pthread_condattr_t attr;
    pthread_condattr_init(&attr);
    pthread_condattr_setclock(&attr, CLOCK_MONOTONIC);
    pthread_cond_t cond;
    ASSERT_EQ(lc_pthread_cond_init(&cond, &attr), 0);
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    timespec later = now;
    later.tv_sec += 1;
    lc_pthread_mutex_lock(&mutex);
    int result = 0;
    while (result == 0) {
        result = lc_pthread_cond_timedwait(&cond, &mutex, &later);
    }
    lc_pthread_mutex_unlock(&mutex);
    EXPECT_EQ(result, ETIMEDOUT);
    // On the wall clock the deadline would have passed long ago.
    clock_gettime(CLOCK_MONOTONIC, &now);
    EXPECT_GE(now.tv_sec, later.tv_sec);
    EXPECT_EQ(lc_pthread_cond_destroy(&cond), 0);
    pthread_condattr_destroy(&attr);
}

} // namespace thread_test
