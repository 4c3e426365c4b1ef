// Counts the blocks that a run allocates and does not free, and makes an allocation fail. With
// AddressSanitizer the blocks come from its report, and no allocation fails. With ThreadSanitizer
// blocks are not counted.
#pragma once

#include <atomic>
#include <cerrno>
#include <cstdlib>

#ifndef __has_feature
#define __has_feature(name) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || __has_feature(address_sanitizer)
#define WITH_ADDRESS_SANITIZER
#elif defined(__SANITIZE_THREAD__) || __has_feature(thread_sanitizer)
#define WITH_THREAD_SANITIZER
#endif

namespace faults {

// Whether what this thread takes now is to be counted; true where it is to fail. Neither may allocate.
bool heap_is_watched();
bool heap_fails(const char *call);

// The blocks taken while watched and not freed since. No memory of its own: it is called by malloc.
class Blocks {
public:
#ifdef WITH_THREAD_SANITIZER
    static constexpr bool kCounted = false;
#else
    static constexpr bool kCounted = true;
#endif
    static void took(const volatile void *block)
    {
        if (block == nullptr || !heap_is_watched()) {
            return;
        }
        const Lock lock;
        for (const volatile void *&slot : blocks_) {
            if (slot == nullptr) {
                slot = block;
                ++used_;
                return;
            }
        }
        too_many_ = true;
    }
    static void gave(const volatile void *block)
    {
        if (block == nullptr || used_ == 0) {
            return;
        }
        const Lock lock;
        for (const volatile void *&slot : blocks_) {
            if (slot == block) {
                slot = nullptr;
                --used_;
                return;
            }
        }
    }
    static int count() { return used_; }
    static bool too_many() { return too_many_; } // to be counted

private:
    struct Lock {
        Lock()
        {
            while (busy_.test_and_set(std::memory_order_acquire)) {
            }
        }
        ~Lock() { busy_.clear(std::memory_order_release); }
    };
    static inline std::atomic_flag busy_;
    static inline std::atomic<int> used_{0};
    static inline std::atomic<bool> too_many_{false};
    static inline const volatile void *blocks_[256] = {};
};

} // namespace faults
