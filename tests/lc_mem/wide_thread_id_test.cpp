// Thread ids above 65535, which a busy system gives out and a sandbox does not: the call that asks
// for the id is taken over.

#include "support/counted_memory.h"

#include "lc_list.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <sys/syscall.h>

using namespace testing_support;

namespace {

constexpr pid_t kWideId = 0x7FABCD;

} // namespace

pid_t gettid() noexcept { return kWideId; }

// No system call has more than six arguments, and passing on ones that were not given does no harm.
long syscall(long number, ...) noexcept
{
    static const auto real = next_definition<long(long, ...)>("syscall");
    if (number == SYS_gettid) {
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
