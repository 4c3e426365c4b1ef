#include "lc_mem.h"

#include <cstdlib>

void *mem_malloc_ex(uint32_t /*thread_tag*/, uint32_t /*line*/, uint32_t /*owner*/, size_t size)
{
    return malloc(size);
}

uint32_t mem_free_ex(uint32_t /*thread_tag*/, uint32_t /*line*/, uint32_t /*owner*/, void *block)
{
    free(block);
    return 0;
}

void mem_init() {}

void mem_fin() {}

void mem_dump_trace_info() {}

uint32_t mem_get_big_block_size() { return 0; }

uint32_t mem_get_pool_size() { return 0; }

uint32_t mem_is_valid(const void * /*block*/) { return 1; }

void *mem_get_tr_head(void *block) { return block; }
