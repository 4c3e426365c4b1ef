/* The allocation layer without a tracing allocator: malloc and free, and inert entry points. */
#include "lc_mem.h"

#include "check.h"

/* Sanitizers would rather end a program than let an allocation fail. */
const char *__asan_default_options(void);
const char *__tsan_default_options(void);
const char *__asan_default_options(void) { return "allocator_may_return_null=1"; }
const char *__tsan_default_options(void) { return "allocator_may_return_null=1"; }

#define TAG 0x1234u

static void *allocate(size_t size) { return mem_malloc_ex(TAG, __LINE__, MEM_OWNER_LIST, size); }

static void blocks_are_writable_and_apart(void)
{
    enum { kBlocks = 64, kSize = 100 };
    unsigned char *blocks[kBlocks];
    int i;
    for (i = 0; i < kBlocks; ++i) {
        blocks[i] = allocate(kSize);
        REQUIRE(blocks[i] != NULL);
        memset(blocks[i], i, kSize);
    }
    for (i = 0; i < kBlocks; ++i) {
        CHECK(blocks[i][0] == i && blocks[i][kSize - 1] == i);
        CHECK_INT(mem_free_ex(TAG, __LINE__, MEM_OWNER_LIST, blocks[i]), 0);
    }
}

static void freeing_nothing_is_allowed(void)
{
    CHECK_INT(mem_free_ex(TAG, __LINE__, MEM_OWNER_IPC, NULL), 0);
}

static void too_large_a_block_is_not_given(void)
{
    /* More than half of all addresses, which no libc gives, whatever there is room for. Volatile: the
     * compiler would refuse the size outright. */
    volatile size_t too_large = SIZE_MAX / 2 + 1;
    void *block = allocate(too_large);
    CHECK(block == NULL);
    mem_free_ex(TAG, __LINE__, MEM_OWNER_LIST, block);
}

/* Allocation goes on as before around and between them. */
static void entry_points_of_the_tracing_allocator_are_inert(void)
{
    char *block;
    mem_init();
    block = allocate(8);
    REQUIRE(block != NULL);
    strcpy(block, "kept");
    mem_dump_trace_info();
    CHECK_INT(mem_get_big_block_size(), 0);
    CHECK_INT(mem_get_pool_size(), 0);
    CHECK_INT(mem_is_valid(block), 1);
    CHECK_INT(mem_is_valid(NULL), 1);
    CHECK(mem_get_tr_head(block) == block);
    CHECK(mem_get_tr_head(NULL) == NULL);
    mem_fin();
    CHECK_TEXT(block, "kept");
    CHECK_INT(mem_free_ex(TAG, __LINE__, MEM_OWNER_LIST, block), 0);
}

int main(void)
{
    blocks_are_writable_and_apart();
    freeing_nothing_is_allowed();
    too_large_a_block_is_not_given();
    entry_points_of_the_tracing_allocator_are_inert();
    return check_end();
}
