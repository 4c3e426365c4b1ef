// The allocation layer without a tracing allocator: it forwards to the heap and traces nothing.

#include "support/allocation_counter.h"

#include "lc_ipc_mq.h"
#include "lc_list.h"
#include "lc_mem.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

using testing_support::AllocationCounter;

TEST(Memory, malloc_ex_is_one_malloc_of_the_size)
{
    const int before = AllocationCounter::count;
    void *block = mem_malloc_ex(0, 0, 0, 4321);
    const int after = AllocationCounter::count;
    const size_t size = AllocationCounter::last_size;
    EXPECT_EQ(after - before, 1);
    EXPECT_EQ(size, 4321u);
    ASSERT_NE(block, nullptr);
    memset(block, 0xFF, 4321);
    mem_free_ex(0, 0, 0, block);
}

TEST(Memory, blocks_are_the_heaps_own)
{
    free(mem_malloc_ex(1, 2, 3, 16));
    EXPECT_EQ(mem_free_ex(1, 2, 3, malloc(16)), 0u);
}

TEST(Memory, block_may_be_freed_under_other_tags_than_it_was_made_with)
{
    void *block = mem_malloc_ex(0xFFFF, 1, MEM_OWNER_IPC, 16);
    EXPECT_EQ(mem_free_ex(0, 2, MEM_OWNER_LIST, block), 0u);
}

TEST(Memory, free_ex_accepts_null) { EXPECT_EQ(mem_free_ex(0, 0, 0, nullptr), 0u); }

TEST(Memory, malloc_ex_returns_null_with_enomem_when_the_heap_has_no_room)
{
    volatile size_t too_large = SIZE_MAX / 2; // volatile: the compiler would refuse the size outright
    errno = 0;
    EXPECT_EQ(mem_malloc_ex(0, 0, 0, too_large), nullptr);
    EXPECT_EQ(errno, ENOMEM);
}

TEST(Memory, entry_points_of_a_tracing_allocator_are_inert)
{
    const int before = AllocationCounter::count;
    mem_init();
    mem_dump_trace_info();
    EXPECT_EQ(mem_get_big_block_size(), 0u);
    EXPECT_EQ(mem_get_pool_size(), 0u);
    EXPECT_EQ(mem_is_valid(nullptr), 1u);
    EXPECT_EQ(mem_is_valid(&before), 1u);
    mem_fin();
    EXPECT_EQ(AllocationCounter::count, before);
}

TEST(Memory, tr_head_of_a_block_is_the_block)
{
    char block = 0;
    EXPECT_EQ(mem_get_tr_head(&block), &block);
    EXPECT_EQ(mem_get_tr_head(nullptr), nullptr);
}

TEST(Memory, allocation_still_works_after_fin)
{
    mem_fin();
    void *block = mem_malloc_ex(0, 0, 0, 16);
    EXPECT_NE(block, nullptr);
    EXPECT_EQ(mem_free_ex(0, 0, 0, block), 0u);
}
