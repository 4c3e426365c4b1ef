// Counts the allocations of the process, and makes the n-th one fail. Include it in one source file of
// a test program: it interposes malloc, calloc and realloc. Under a sanitizer, which interposes them
// itself, it uses the sanitizer's hook and cannot make an allocation fail.
// Not by interpose.h: to find the next definition, and to keep a hook, takes from the heap itself.
#pragma once

#include <atomic>
#include <cerrno>
#include <cstdlib>

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define SANITIZER_OWNS_HEAP
#endif
#elif defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define SANITIZER_OWNS_HEAP
#endif

namespace testing_support {

struct AllocationCounter {
    static inline std::atomic<int> count{0};
    static inline std::atomic<size_t> last_size{0};
    static inline std::atomic<int> fail_in{0}; // the n-th from now on fails, once; 0 fails none

    // True when this allocation is to fail.
    static bool note(size_t size)
    {
        ++count;
        last_size = size;
        if (fail_in == 0 || --fail_in != 0) {
            return false;
        }
        errno = ENOMEM;
        return true;
    }
    // Whether what is asked to fail does: not where a sanitizer or memcheck owns the heap.
    static bool can_fail()
    {
        fail_in = 1;
        void *volatile block = malloc(1);
        fail_in = 0;
        free(block);
        return block == nullptr;
    }
};

} // namespace testing_support

#ifdef SANITIZER_OWNS_HEAP

extern "C" {
int __sanitizer_install_malloc_and_free_hooks(void (*on_malloc)(const volatile void *, size_t),
                                              void (*on_free)(const volatile void *));
// A request that cannot be met is to fail as it does without a sanitizer.
const char *__asan_default_options() { return "allocator_may_return_null=1"; }
const char *__tsan_default_options() { return "allocator_may_return_null=1"; }
}

namespace testing_support {

inline const int g_allocation_hooks = __sanitizer_install_malloc_and_free_hooks(
    [](const volatile void *, size_t size) { AllocationCounter::note(size); },
    [](const volatile void *) {});

} // namespace testing_support

#else

extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);

void *malloc(size_t size)
{
    return testing_support::AllocationCounter::note(size) ? nullptr : __libc_malloc(size);
}

void *calloc(size_t count, size_t size)
{
    return testing_support::AllocationCounter::note(count * size) ? nullptr
                                                                  : __libc_calloc(count, size);
}

void *realloc(void *block, size_t size)
{
    return testing_support::AllocationCounter::note(size) ? nullptr : __libc_realloc(block, size);
}
}

#endif
