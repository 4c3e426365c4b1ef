// Where a thread's id comes from, with gettid interposed. The id is above 65535, which occurs on a busy
// system but not in a sandbox.

#include "support/counted_memory.h"

#include "lc_list.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdarg>
#include <sys/syscall.h>
#include <thread>

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

} // namespace

pid_t gettid() noexcept { return kWideId; }

// No system call has more than six arguments, and passing on ones that were not given does no harm.
long syscall(long number, ...) noexcept
{
    static const auto real = next_definition<long(long, ...)>("syscall");
    if (number == SYS_gettid) {
        ++t_asked;
        return kWideId;
    }
    va_list list;
    va_start(list, number);
    long arguments[6];
    for (long &argument : arguments) {
        argument = va_arg(list, long);
    }
    va_end(list);
    return real(number, arguments[0], arguments[1], arguments[2], arguments[3], arguments[4],
                arguments[5]);
}

TEST(MemoryTags, tag_of_a_wide_thread_id_is_its_low_16_bits)
{
    lc_list_destroy(lc_list_create(), nullptr);
    const std::vector<MemoryCall> calls = memory().take();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].thread_tag, 0xABCDu);
    EXPECT_EQ(calls[1].thread_tag, 0xABCDu);
}

TEST(ThreadId, is_asked_for_once_by_each_thread)
{
    asked_by_a_tagged_list();
    EXPECT_EQ(asked_by_a_tagged_list(), 0);
    std::thread([] {
        EXPECT_EQ(asked_by_a_tagged_list(), 1);
        EXPECT_EQ(asked_by_a_tagged_list(), 0);
    }).join();
    EXPECT_EQ(asked_by_a_tagged_list(), 0);
}
