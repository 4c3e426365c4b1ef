// Takes over the library's allocation layer: counts the blocks in use, makes the n-th allocation fail,
// and notes who asked for what. For the one source file of a program that is linked with the shared
// library.
#pragma once

#include "lc_mem.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <mutex>
#include <vector>

namespace testing_support {

struct Allocation {
    uint32_t thread_tag;
    uint32_t line;
    uint32_t owner;
    size_t size;
};

class CountedMemory {
public:
    // Fails the n-th allocation from now on, once; 0 fails none.
    void fail_nth(int n)
    {
        const std::lock_guard guard(mutex_);
        fail_in_ = n;
    }

    // True when the failure that was asked for has happened.
    bool failed()
    {
        const std::lock_guard guard(mutex_);
        return fail_in_ == 0;
    }

    size_t blocks_in_use()
    {
        const std::lock_guard guard(mutex_);
        return sizes_.size();
    }

    size_t size_of(const void *block)
    {
        const std::lock_guard guard(mutex_);
        const auto found = sizes_.find(block);
        return found == sizes_.end() ? 0 : found->second;
    }

    // The allocations since the last call.
    std::vector<Allocation> take_log()
    {
        const std::lock_guard guard(mutex_);
        std::vector<Allocation> result;
        result.swap(log_);
        return result;
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

    void *allocate(const Allocation &request)
    {
        const std::lock_guard guard(mutex_);
        if (fail_in_ > 0 && --fail_in_ == 0) {
            return nullptr;
        }
        void *block = malloc(request.size);
        if (block != nullptr) {
            sizes_[block] = request.size;
            log_.push_back(request);
        }
        return block;
    }

    void release(void *block)
    {
        const std::lock_guard guard(mutex_);
        if (block != nullptr && block == watched_) {
            const auto *bytes = static_cast<const uint8_t *>(block);
            watched_was_zero_ =
                std::all_of(bytes, bytes + sizes_[block], [](uint8_t byte) { return byte == 0; });
        }
        sizes_.erase(block);
        free(block);
    }

private:
    std::mutex mutex_;
    int fail_in_ = 0;
    std::map<const void *, size_t> sizes_;
    std::vector<Allocation> log_;
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

void *mem_malloc_ex(uint32_t thread_tag, uint32_t line, uint32_t owner, size_t size)
{
    return testing_support::memory().allocate({thread_tag, line, owner, size});
}

uint32_t mem_free_ex(uint32_t, uint32_t, uint32_t, void *block)
{
    testing_support::memory().release(block);
    return 0;
}
