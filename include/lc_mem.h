/* lc_mem: the allocation layer. Every allocation of the library passes through mem_malloc_ex and
 * mem_free_ex (but for the arrays of lc_pidof and lc_killall, which grow by realloc), so that a tracing
 * allocator can be put behind these two symbols (they may be interposed); as shipped they only forward
 * to malloc and free.
 *
 * All functions may be called from any thread. */
#ifndef LC_MEM_H
#define LC_MEM_H

#include "lc_api.h"

#include <stddef.h>
#include <stdint.h>

LC_BEGIN_DECLS

/* Owner tags: which subsystem an allocation belongs to. */
#define MEM_OWNER_LIST 0x01000000u     /* list records */
#define MEM_OWNER_HASHTAB 0x02000000u  /* hash tables */
#define MEM_OWNER_IPC 0x03000000u      /* queues, message buffers */
#define MEM_OWNER_IPC_SYNC 0x03000001u /* receive thread, received messages, waiters, registrations */
#define MEM_OWNER_TIMER 0x07000000u    /* timers */
#define MEM_OWNER_LCT 0x84080000u      /* messages of the LTE client */

/* Allocates size bytes, uninitialised; NULL when out of memory.
 * thread_tag: low 16 bits of the caller's kernel thread id; line: source line of the call;
 * owner: one of the tags above. The three only serve tracing and are ignored here.
 * The caller owns the block and gives it back with mem_free_ex. */
LC_API void *mem_malloc_ex(uint32_t thread_tag, uint32_t line, uint32_t owner, size_t size);

/* Frees a block of mem_malloc_ex (NULL is allowed). The tags are as above. Always 0. */
LC_API uint32_t mem_free_ex(uint32_t thread_tag, uint32_t line, uint32_t owner, void *block);

/* Entry points of the tracing allocator; inert here. */
LC_API void mem_init(void);
LC_API void mem_fin(void);
LC_API void mem_dump_trace_info(void);
LC_API uint32_t mem_get_big_block_size(void);    /* always 0 */
LC_API uint32_t mem_get_pool_size(void);         /* always 0 */
LC_API uint32_t mem_is_valid(const void *block); /* always 1 */
LC_API void *mem_get_tr_head(void *block);       /* returns its argument */

LC_END_DECLS

#endif
