// Typed allocation over mem_malloc_ex and mem_free_ex: callers give only the owner tag. Thread tag and
// source line are filled in, and a Ptr frees its block.
#pragma once

#include "lc_mem.h"

#include <memory>
#include <new>

namespace lterouter::mem {

// mem_malloc_ex and mem_free_ex with the thread's tag. Functions, so that the code that gets the tag
// exists once; the order of the arguments lets them stay in their registers for the next call.
void *allocate_at(size_t size, uint32_t line, uint32_t owner);
void release_at(void *block, uint32_t line, uint32_t owner);

inline void *allocate(uint32_t owner, size_t size, uint32_t line = __builtin_LINE())
{
    return allocate_at(size, line, owner);
}

inline void release(uint32_t owner, void *block, uint32_t line = __builtin_LINE())
{
    release_at(block, line, owner);
}

// Records are plain data: freeing one needs no destructor.
template <uint32_t Owner> struct Deleter {
    void operator()(void *block) const { release(Owner, block); }
};

template <typename T, uint32_t Owner> using Ptr = std::unique_ptr<T, Deleter<Owner>>;

// A record with that content; empty when out of memory.
template <uint32_t Owner, typename T>
Ptr<T, Owner> make_copy(const T &content, uint32_t line = __builtin_LINE())
{
    static_assert(std::is_trivially_destructible_v<T>);
    void *block = allocate(Owner, sizeof(T), line);
    return Ptr<T, Owner>(block != nullptr ? new (block) T(content) : nullptr);
}

// A record, zeroed but for what its members set; empty when out of memory.
template <typename T, uint32_t Owner> Ptr<T, Owner> make(uint32_t line = __builtin_LINE())
{
    static_assert(std::is_trivially_destructible_v<T>);
    void *block = allocate(Owner, sizeof(T), line);
    return Ptr<T, Owner>(block != nullptr ? new (block) T() : nullptr);
}

} // namespace lterouter::mem
