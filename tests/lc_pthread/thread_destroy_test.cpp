// The destroying calls have no visible effect, so the calls behind them are interposed.
#include "lc_pthread.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace thread_destroy_test {

namespace {

const void *g_destroyed = nullptr;
bool g_taken = false;

// Notes what was to be destroyed and answers with a code that the library cannot have made up.
template <typename T> int destroy(T *object, int (*real)(T *))
{
    if (!g_taken) {
        return real(object);
    }
    g_destroyed = object;
    return EOWNERDEAD;
}

template <typename T> void expect_passed_through(int (*wrapper)(T *))
{
    T object;
    g_taken = true;
    const int result = wrapper(&object);
    g_taken = false;
    EXPECT_EQ(result, EOWNERDEAD);
    EXPECT_EQ(g_destroyed, &object);
}

} // namespace

// By the linker: ThreadSanitizer destroys attributes before a thread can run the test's code.
extern "C" {

int __real_pthread_attr_destroy(pthread_attr_t *attr);
int __real_pthread_mutex_destroy(pthread_mutex_t *mutex);
int __real_pthread_cond_destroy(pthread_cond_t *cond);

int __wrap_pthread_attr_destroy(pthread_attr_t *attr)
{
    return destroy(attr, __real_pthread_attr_destroy);
}

int __wrap_pthread_mutex_destroy(pthread_mutex_t *mutex)
{
    return destroy(mutex, __real_pthread_mutex_destroy);
}

int __wrap_pthread_cond_destroy(pthread_cond_t *cond)
{
    return destroy(cond, __real_pthread_cond_destroy);
}
}

TEST(ThreadDestroy, attributes_reach_the_call_behind)
{
    expect_passed_through(lc_pthread_attr_destroy);
}

TEST(ThreadDestroy, mutex_reaches_the_call_behind) { expect_passed_through(lc_pthread_mutex_destroy); }

TEST(ThreadDestroy, condition_reaches_the_call_behind)
{
    expect_passed_through(lc_pthread_cond_destroy);
}

} // namespace thread_destroy_test
