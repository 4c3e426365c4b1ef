// Takes over mem_malloc_ex and mem_free_ex of the shared library and keeps a record of every call,
// frees included. Include it in one source file of a test program.
#pragma once

#include "lc_mem.h"
#include "support/interpose.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <set>
#include <unistd.h>
#include <utility>
#include <vector>

namespace testing_support {

struct MemoryCall {
    bool is_free;
    uint32_t thread_tag;
    uint32_t line;
    uint32_t owner;
    size_t size;       // of an allocation
    const void *block; // what it gave, or what is freed
    pid_t thread;      // who called
};

class MemoryCalls {
public:
    // Every call since the last time, or the allocations or frees among them.
    std::vector<MemoryCall> take()
    {
        const std::lock_guard guard(mutex_);
        return std::exchange(calls_, {});
    }
    std::vector<MemoryCall> take_allocations() { return take(false); }
    std::vector<MemoryCall> take_frees() { return take(true); }

    size_t blocks_in_use()
    {
        const std::lock_guard guard(mutex_);
        return in_use_.size();
    }

    // From now on the n-th allocation fails.
    void fail_nth(int n)
    {
        const std::lock_guard guard(mutex_);
        fail_.arm(n);
    }

    void *allocate(MemoryCall call)
    {
        static const auto real = next_definition<decltype(mem_malloc_ex)>("mem_malloc_ex");
        const std::lock_guard guard(mutex_);
        if (fail_.fails()) {
            return nullptr;
        }
        void *block = real(call.thread_tag, call.line, call.owner, call.size);
        memset(block, 0xA5, call.size); // who relies on zeroes must write them
        call.block = block;
        calls_.push_back(call);
        in_use_.insert(block);
        return block;
    }

    uint32_t release(const MemoryCall &call, void *block)
    {
        static const auto real = next_definition<decltype(mem_free_ex)>("mem_free_ex");
        const std::lock_guard guard(mutex_);
        EXPECT_EQ(in_use_.erase(block), 1u) << "freed twice, or never allocated";
        calls_.push_back(call);
        return real(call.thread_tag, call.line, call.owner, block);
    }

private:
    std::vector<MemoryCall> take(bool frees)
    {
        std::vector<MemoryCall> chosen = take();
        std::erase_if(chosen, [frees](const MemoryCall &call) { return call.is_free != frees; });
        return chosen;
    }

    std::mutex mutex_;
    FailNth fail_;
    std::vector<MemoryCall> calls_;
    std::set<const void *> in_use_;
};

inline MemoryCalls g_memory_calls;

} // namespace testing_support

void *mem_malloc_ex(uint32_t thread_tag, uint32_t line, uint32_t owner, size_t size)
{
    return testing_support::g_memory_calls.allocate(
        {false, thread_tag, line, owner, size, nullptr, gettid()});
}

uint32_t mem_free_ex(uint32_t thread_tag, uint32_t line, uint32_t owner, void *block)
{
    return testing_support::g_memory_calls.release({true, thread_tag, line, owner, 0, block, gettid()},
                                                   block);
}
