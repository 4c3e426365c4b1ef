// Interposes the library's allocation layer: records every call, counts the blocks in use, makes the
// n-th allocation fail. For programs that are linked with the shared library.
#pragma once

#include "lc_mem.h"
#include "support/allocations.h"
#include "support/interpose.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <map>
#include <mutex>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

namespace testing_support {

struct MemoryCall {
    bool is_free;
    uint32_t thread_tag;
    uint32_t line;
    uint32_t owner;
    size_t size;       // that the block was allocated with
    const void *block; // what an allocation gave, or what is freed
    pid_t thread;      // who called
    // The tags that the block was allocated with.
    uint32_t allocated_thread_tag;
    uint32_t allocated_owner;
};

inline uint32_t current_thread_tag() { return static_cast<uint32_t>(gettid()) & 0xFFFFU; }

class CountedMemory {
public:
    // There will be no memory for this, once.
    void fail(const Allocation &what) { arm(what, what.nth, kAnyThread); }
    void fail_of_this_thread(const Allocation &what) { arm(what, what.nth, gettid()); }
    // The same for the n-th allocation of this thread, or any, whatever it is; 0 fails none.
    void fail_nth(int n) { arm(kAnything, n, kAnyThread); }
    void fail_nth_of_this_thread(int n) { arm(kAnything, n, gettid()); }

    // How many of what is to fail have been asked for since.
    int asked()
    {
        const std::lock_guard guard(mutex_);
        return fault_.asked();
    }

    // True when the failure that was asked for has happened.
    bool failed() { return fault_.failed(); }

    size_t blocks_in_use()
    {
        const std::lock_guard guard(mutex_);
        return in_use_.size();
    }

    size_t size_of(const void *block)
    {
        const std::lock_guard guard(mutex_);
        const auto found = in_use_.find(block);
        return found == in_use_.end() ? 0 : found->second.size;
    }

    // Every call since the last time, or the allocations or frees among them.
    std::vector<MemoryCall> take()
    {
        const std::lock_guard guard(mutex_);
        return std::exchange(calls_, {});
    }
    std::vector<MemoryCall> take_allocations() { return take(false); }
    std::vector<MemoryCall> take_frees() { return take(true); }

    // The names of what has been allocated since the last time, in order; of anything else nothing.
    std::vector<std::string> take_names(std::initializer_list<Allocation> known)
    {
        std::vector<std::string> names;
        for (const MemoryCall &call : take_allocations()) {
            for (const Allocation &allocation : known) {
                if (allocation.is(call.owner, call.size)) {
                    names.emplace_back(allocation.name);
                }
            }
        }
        return names;
    }

    // Says from its release on whether the block was all zero when it was freed.
    void watch(const void *block)
    {
        const std::lock_guard guard(mutex_);
        watched_ = block;
    }
    bool watched_was_freed_zeroed()
    {
        const std::lock_guard guard(mutex_);
        return watched_was_zero_;
    }

    void *allocate(uint32_t thread_tag, uint32_t line, uint32_t owner, size_t size)
    {
        static const auto real = next_definition<decltype(mem_malloc_ex)>("mem_malloc_ex");
        const std::lock_guard guard(mutex_);
        const pid_t thread = gettid();
        if ((failing_thread_ == kAnyThread || failing_thread_ == thread) &&
            (failing_.owner == kAnyOwner || failing_.is(owner, size)) && fault_.fails()) {
            return nullptr;
        }
        void *block = real(thread_tag, line, owner, size);
        if (block != nullptr) {
            memset(block, 0xA5, size); // who relies on zeroes must write them
            calls_.push_back({false, thread_tag, line, owner, size, block, thread, thread_tag, owner});
            in_use_[block] = calls_.back();
        }
        return block;
    }

    uint32_t release(uint32_t thread_tag, uint32_t line, uint32_t owner, void *block)
    {
        static const auto real = next_definition<decltype(mem_free_ex)>("mem_free_ex");
        const std::lock_guard guard(mutex_);
        if (block != nullptr) {
            const auto found = in_use_.find(block);
            if (found == in_use_.end()) {
                ADD_FAILURE() << "freed twice, or never allocated";
                return 0;
            }
            const MemoryCall &made = found->second;
            if (block == watched_) {
                const auto *bytes = static_cast<const uint8_t *>(block);
                watched_was_zero_ =
                    std::all_of(bytes, bytes + made.size, [](uint8_t byte) { return byte == 0; });
            }
            calls_.push_back({true, thread_tag, line, owner, made.size, block, gettid(),
                              made.thread_tag, made.owner});
            in_use_.erase(found);
        }
        return real(thread_tag, line, owner, block);
    }

private:
    static constexpr pid_t kAnyThread = 0;
    static constexpr uint32_t kAnyOwner = UINT32_MAX;
    static constexpr Allocation kAnything = {"anything", kAnyOwner, 0, kAnySize};

    void arm(const Allocation &what, int n, pid_t thread)
    {
        const std::lock_guard guard(mutex_);
        failing_ = what;
        failing_thread_ = thread;
        fault_.fail_nth(n);
    }

    std::vector<MemoryCall> take(bool frees)
    {
        std::vector<MemoryCall> chosen = take();
        std::erase_if(chosen, [frees](const MemoryCall &call) { return call.is_free != frees; });
        return chosen;
    }

    std::mutex mutex_;
    Fault fault_;
    Allocation failing_ = kAnything;
    pid_t failing_thread_ = kAnyThread;
    std::vector<MemoryCall> calls_;
    std::map<const void *, MemoryCall> in_use_;
    const void *watched_ = nullptr;
    bool watched_was_zero_ = false;
};

// Never destroyed: the library may free until the very end of the process.
inline CountedMemory &memory()
{
    static auto *instance = new CountedMemory;
    return *instance;
}

} // namespace testing_support

[[gnu::weak]] void *mem_malloc_ex(uint32_t thread_tag, uint32_t line, uint32_t owner, size_t size)
{
    return testing_support::memory().allocate(thread_tag, line, owner, size);
}

[[gnu::weak]] uint32_t mem_free_ex(uint32_t thread_tag, uint32_t line, uint32_t owner, void *block)
{
    return testing_support::memory().release(thread_tag, line, owner, block);
}
