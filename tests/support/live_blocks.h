// The library's allocations, counted: include it in one file of a test program that is linked with the
// shared library. It takes mem_malloc_ex and mem_free_ex over.
#pragma once

#include "lc_mem.h"
#include "support/interpose.h"

#include <map>
#include <mutex>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace testing_support {

struct Allocation {
    uint32_t thread_tag;
    uint32_t line;
    uint32_t owner;
    size_t size;
};

inline uint32_t current_thread_tag() { return static_cast<uint32_t>(syscall(SYS_gettid)) & 0xFFFFU; }

class LiveBlocks {
public:
    // Everything that was allocated and freed since the last clear, and the tags it was freed with.
    struct Freed {
        Allocation allocated;
        Allocation freed; // size is not known
    };

    size_t count()
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        return blocks_.size();
    }

    // Fails the n-th of this thread's allocations from now on; 0 for none.
    void fail_nth_of_this_thread(int nth)
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        failing_thread_ = current_thread_tag();
        fail_.arm(nth);
    }

    // How many allocations fail_nth_of_this_thread has been asked about since.
    int asked()
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        return fail_.calls;
    }

    std::vector<Freed> take_freed()
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        return std::exchange(freed_, {});
    }

    void *allocate(const Allocation &wanted)
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (wanted.thread_tag == failing_thread_ && fail_.fails()) {
            return nullptr;
        }
        void *block = next_definition<decltype(mem_malloc_ex)>("mem_malloc_ex")(
            wanted.thread_tag, wanted.line, wanted.owner, wanted.size);
        blocks_[block] = wanted;
        return block;
    }

    uint32_t release(const Allocation &tags, void *block)
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        const auto found = blocks_.find(block);
        if (found != blocks_.end()) {
            freed_.push_back({found->second, tags});
            blocks_.erase(found);
        }
        return next_definition<decltype(mem_free_ex)>("mem_free_ex")(tags.thread_tag, tags.line,
                                                                     tags.owner, block);
    }

private:
    std::mutex mutex_;
    std::map<void *, Allocation> blocks_;
    std::vector<Freed> freed_;
    FailNth fail_;
    uint32_t failing_thread_ = 0;
};

inline LiveBlocks g_live_blocks;

} // namespace testing_support

void *mem_malloc_ex(uint32_t thread_tag, uint32_t line, uint32_t owner, size_t size)
{
    return testing_support::g_live_blocks.allocate({thread_tag, line, owner, size});
}

uint32_t mem_free_ex(uint32_t thread_tag, uint32_t line, uint32_t owner, void *block)
{
    return testing_support::g_live_blocks.release({thread_tag, line, owner, 0}, block);
}
