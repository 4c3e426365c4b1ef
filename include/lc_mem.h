/** @file
 * The allocation layer.
 *
 * Every allocation of the library passes through mem_malloc_ex() and mem_free_ex() (but for the arrays
 * of lc_pidof() and lc_killall(), which grow by realloc), so that a tracing allocator can be put behind
 * these two symbols (they may be interposed); as shipped they only forward to malloc and free.
 *
 * @see malloc(3)
 *
 * @par Threads
 * Any. */
#ifndef LC_MEM_H
#define LC_MEM_H

#include "lc_api.h"

#include <stddef.h>
#include <stdint.h>

LC_BEGIN_DECLS

/** @name Owner tags: which subsystem an allocation belongs to
 * @{ */
#define MEM_OWNER_LIST 0x01000000u     /**< list records */
#define MEM_OWNER_HASHTAB 0x02000000u  /**< hash tables */
#define MEM_OWNER_IPC 0x03000000u      /**< queues, message buffers */
#define MEM_OWNER_IPC_SYNC 0x03000001u /**< receive thread, its messages, waiters, registrations */
#define MEM_OWNER_TIMER 0x07000000u    /**< timers */
#define MEM_OWNER_LCT 0x84080000u      /**< messages of the LTE client, long trace entries */
/** @}
 * @name Allocation
 * The first three arguments are for tracing and ignored here.
 * @param[in] thread_tag low 16 bits of the caller's kernel thread id
 * @param[in] line       source line of the call
 * @param[in] owner      MEM_OWNER_...
 * @{ */

/** Allocates a block of @p size bytes, uninitialised.
 * @return the block, which the caller owns and frees with mem_free_ex(); NULL when out of memory */
LC_API void *mem_malloc_ex(uint32_t thread_tag, uint32_t line, uint32_t owner, size_t size);

/** Frees @p block, which is NULL or of mem_malloc_ex().
 * @retval 0 always */
LC_API uint32_t mem_free_ex(uint32_t thread_tag, uint32_t line, uint32_t owner, void *block);

/** @}
 * @name Entry points of the tracing allocator; inert here
 * They take any @p block.
 * @{ */

/** Does nothing. */
LC_API void mem_init(void);
/** Does nothing. */
LC_API void mem_fin(void);
/** Does nothing. */
LC_API void mem_dump_trace_info(void);
/** Tells the size of a large block.
 * @retval 0 always */
LC_API uint32_t mem_get_big_block_size(void);
/** Tells the size of the pool.
 * @retval 0 always */
LC_API uint32_t mem_get_pool_size(void);
/** Tells whether a block is sound.
 * @retval 1 always */
LC_API uint32_t mem_is_valid(const void *block);
/** Gives the tracing record of a block.
 * @return block itself */
LC_API void *mem_get_tr_head(void *block);

/** @} */

LC_END_DECLS

#endif
