// Where a thread's id comes from. It is above 65535 here, which occurs on a busy system but not in a
// sandbox.

#include "support/calls.h"
#include "support/counted_memory.h"

#include "lc_list.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <sys/syscall.h>
#include <thread>

namespace thread_id_test {

using namespace testing_support;

namespace {

constexpr pid_t kWideId = 0x7FABCD;
constexpr int kUntouched = 9999;

thread_local int t_asked = 0; // for this thread's id

// How often the kernel was asked meanwhile. Errno stays as it is.
int asked_by_a_tagged_list()
{
    t_asked = 0;
    memory().take();
    errno = kUntouched;
    lc_list *const list = lc_list_create();
    EXPECT_EQ(errno, kUntouched);
    lc_list_destroy(list, nullptr);
    EXPECT_EQ(errno, kUntouched);
    const std::vector<MemoryCall> calls = memory().take();
    EXPECT_EQ(calls.size(), 2u);
    for (const MemoryCall &call : calls) {
        EXPECT_EQ(call.thread_tag, 0xABCDu);
    }
    return t_asked;
}

class WideIds {
private:
    const Hooked asked_{
        calls::syscall,
        [](auto &next, long number, long a, long b, long c, long d, long e, long f) -> long {
            if (number == SYS_gettid) {
                ++t_asked;
                return kWideId;
            }
            return next(number, a, b, c, d, e, f);
        }};
};

} // namespace

TEST(MemoryTags, tag_of_a_wide_thread_id_is_its_low_16_bits)
{
    const WideIds ids;
    lc_list_destroy(lc_list_create(), nullptr);
    const std::vector<MemoryCall> calls = memory().take();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].thread_tag, 0xABCDu);
    EXPECT_EQ(calls[1].thread_tag, 0xABCDu);
}

TEST(ThreadId, is_asked_for_once_by_each_thread)
{
    const WideIds ids;
    asked_by_a_tagged_list();
    EXPECT_EQ(asked_by_a_tagged_list(), 0);
    std::thread([] {
        EXPECT_EQ(asked_by_a_tagged_list(), 1);
        EXPECT_EQ(asked_by_a_tagged_list(), 0);
    }).join();
    EXPECT_EQ(asked_by_a_tagged_list(), 0);
}

} // namespace thread_id_test
