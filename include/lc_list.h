/** @file
 * Circular doubly linked list of caller-allocated nodes, one data pointer each. Walk it from head along
 * next until tail has been visited.
 *
 * @par Threads
 * No operation takes a lock; guard each list with a mutex of your own.
 *
 * @par Example
 * Adds an object to a list.
 * @code
 * #include <lc_list.h>
 * #include <lc_mem.h>
 * #include <string.h>
 *
 * int append(lc_list *list, void *object)
 * {
 *     lc_list_node *node = mem_malloc_ex(0, __LINE__, MEM_OWNER_LIST,
 *                                        sizeof *node);
 *     if (node == NULL)
 *         return -1;
 *     memset(node, 0, sizeof *node);
 *     node->data = object;
 *     return (int)lc_list_add_at_tail(list, node);
 * }
 * @endcode */
#ifndef LC_LIST_H
#define LC_LIST_H

#include "lc_api.h"

#include <stdint.h>

LC_BEGIN_DECLS

/** @name Result codes of the list operations
 * @{ */
#define LC_LIST_SUCCESS 0u     /**< done */
#define LC_LIST_ERR_NULL 1u    /**< a required pointer argument is NULL */
#define LC_LIST_ERR_EMPTY 3u   /**< the list is empty */
#define LC_LIST_ERR_SINGLE 4u  /**< only one node: nothing before or after it to remove */
#define LC_LIST_ERR_STOPPED 9u /**< a traversal was stopped by its visitor */
#define LC_LIST_ERR_INDEX 12u  /**< index out of range */
/** @} */

/** A node. Allocated and zeroed by the caller (mem_malloc_ex()); linked and unlinked, never freed, by
 * the list operations, except by lc_list_destroy(). */
typedef struct lc_list_node {
    uint32_t reserved;         /**< not used by the list; leave it zero */
    void *data;                /**< the caller's object */
    struct lc_list_node *next; /**< the node after it; of the tail the head */
    struct lc_list_node *prev; /**< the node before it; of the head the tail */
} lc_list_node;

/** A list. Its fields may be read; only the operations change them. */
typedef struct lc_list {
    uint32_t count;     /**< nodes */
    lc_list_node *head; /**< NULL when empty */
    lc_list_node *tail; /**< NULL when empty */
} lc_list;

/** Frees the @p data of one node, which is not NULL.
 * @return ignored */
typedef uint32_t (*lc_list_free_fn)(void *data);

/** Tells whether @p data of a node, not NULL, matches the @p key of lc_list_find().
 * @return 0 when it matches */
typedef uint32_t (*lc_list_match_fn)(const void *data, const void *key);

/** Visits @p node (not its data) with the @p argument of lc_list_tarverse(). It may unlink and free the
 * node.
 * @return non-zero to stop the walk */
typedef uint32_t (*lc_list_visit_fn)(lc_list_node *node, void *argument);

/** Makes a new, empty list.
 * @return the list, which lc_list_destroy() takes back; NULL when out of memory */
LC_API lc_list *lc_list_create(void);

/** Frees each node's non-NULL data by @p free_data, or by mem_free_ex() when that is NULL, then the
 * node, and at last @p list itself.
 * @retval 0 done
 * @retval 1 list is NULL */
LC_API uint32_t lc_list_destroy(lc_list *list, lc_list_free_fn free_data);

/** Counts the nodes of @p list.
 * @return their number; 0xFFFFFFFF for a NULL list */
LC_API uint32_t lc_list_query_num(const lc_list *list);

/** @name Insertion
 * Each links @p node, which must be in no list and stays the caller's memory, into @p list, where @p
 * ref must be.
 * @retval 0 done
 * @retval 1 an argument is NULL
 * @retval 3 the list is empty (only where there is ref)
 * @{ */

/** Links a node before the head. */
LC_API uint32_t lc_list_add_at_head(lc_list *list, lc_list_node *node);
/** Links a node after the tail. */
LC_API uint32_t lc_list_add_at_tail(lc_list *list, lc_list_node *node);
/** Links a node before another. */
LC_API uint32_t lc_list_add_before(lc_list *list, lc_list_node *ref, lc_list_node *node);
/** Links a node after another. */
LC_API uint32_t lc_list_add_next(lc_list *list, lc_list_node *ref, lc_list_node *node);

/** @}
 * @name Removal
 * Each unlinks a node from @p list, which the caller then owns, with its data. The list is circular:
 * before the head comes the tail, and after the tail the head. @p ref must be in the list.
 * @param[out] err never NULL; gets 0 or, with NULL returned, 1 (another argument is NULL), 3 (empty
 *                 list) or, where there is ref, 4 (only one node)
 * @return the node, or NULL
 * @{ */

/** Unlinks the head. */
LC_API lc_list_node *lc_list_del_from_head(lc_list *list, uint32_t *err);
/** Unlinks the tail. */
LC_API lc_list_node *lc_list_del_from_tail(lc_list *list, uint32_t *err);
/** Unlinks the node before another. */
LC_API lc_list_node *lc_list_del_prev(lc_list *list, lc_list_node *ref, uint32_t *err);
/** Unlinks the node after another. */
LC_API lc_list_node *lc_list_del_next(lc_list *list, lc_list_node *ref, uint32_t *err);

/** @} */

/** Unlinks @p node from @p list, to which it must belong; this is not checked. The caller then owns it,
 * with its data.
 * @retval 0 done
 * @retval 1 an argument is NULL
 * @retval 3 the list is empty */
LC_API uint32_t lc_list_del_node(lc_list *list, lc_list_node *node);

/** @name Looking
 * @{ */

/** Finds the first node of @p list, from the head, with non-NULL data for which @p match, called with
 * the data and @p key, returns 0.
 * @return the node, which stays linked; NULL when there is none or an argument is NULL */
LC_API lc_list_node *lc_list_find(lc_list *list, lc_list_match_fn match, const void *key);

/** Calls @p visit with the node and @p argument for each node of @p list from head to tail. A NULL
 * visit gives 0.
 * @retval 0 every node was visited
 * @retval 1 list is NULL
 * @retval 9 the visitor stopped the walk */
LC_API uint32_t lc_list_tarverse(lc_list *list, lc_list_visit_fn visit, void *argument);

/** Gives the node of @p list at an index.
 * @param[in]  index from the head, which is 0
 * @param[out] err   never NULL; gets 0 or, with NULL returned, 1 (list is NULL), 3 (empty list) or 12
 *                   (index negative or not below the count)
 * @return the node, which stays linked, or NULL */
LC_API lc_list_node *lc_list_get_node(lc_list *list, int32_t index, uint32_t *err);

/** @} */

LC_END_DECLS

#endif
