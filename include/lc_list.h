/* lc_list: circular doubly linked list of caller-allocated nodes, one data pointer each.
 *
 * The tail's next is the head and the head's prev is the tail; an empty list has neither.
 * Walk it from head along next until tail has been visited.
 *
 * Threads: no operation takes a lock; guard each list with a mutex of your own. */
#ifndef LC_LIST_H
#define LC_LIST_H

#include "lc_api.h"

#include <stdint.h>

LC_BEGIN_DECLS

/* Result codes of the list operations. */
#define LC_LIST_SUCCESS 0u
#define LC_LIST_ERR_NULL 1u    /* a required pointer argument is NULL */
#define LC_LIST_ERR_EMPTY 3u   /* the list is empty */
#define LC_LIST_ERR_SINGLE 4u  /* only one node: nothing before or after it to remove */
#define LC_LIST_ERR_STOPPED 9u /* a traversal was stopped by its visitor */
#define LC_LIST_ERR_INDEX 12u  /* index out of range */

/* Allocated and zeroed by the caller (mem_malloc_ex); linked and unlinked, never freed, by the list
 * operations, except by lc_list_destroy. */
typedef struct lc_list_node {
    uint32_t reserved; /* not used by the list; leave it zero */
    void *data;        /* the caller's object */
    struct lc_list_node *next;
    struct lc_list_node *prev;
} lc_list_node;

typedef struct lc_list {
    uint32_t count;
    lc_list_node *head; /* NULL when empty */
    lc_list_node *tail; /* NULL when empty */
} lc_list;

/* Frees the data of one node; the result is ignored. */
typedef uint32_t (*lc_list_free_fn)(void *data);
/* 0 when data is what key asks for. */
typedef uint32_t (*lc_list_match_fn)(const void *data, const void *key);
/* Visits a node (not its data); non-zero stops the walk. May unlink and free the node it is given. */
typedef uint32_t (*lc_list_visit_fn)(lc_list_node *node, void *argument);

/* A new, empty list, or NULL when out of memory. Give it back with lc_list_destroy. */
LC_API lc_list *lc_list_create(void);

/* Frees each node's non-NULL data with free_data, or with mem_free_ex when free_data is NULL, then
 * the node, at last the list. Returns 0, or 1 for a NULL list. The list is gone afterwards. */
LC_API uint32_t lc_list_destroy(lc_list *list, lc_list_free_fn free_data);

/* Number of nodes; 0xFFFFFFFF for a NULL list. */
LC_API uint32_t lc_list_query_num(const lc_list *list);

/* Insertion: links a node that is in no list. Returns 0, or 1 when an argument is NULL;
 * the two relative forms also return 3 on an empty list. ref must be in the list. */
LC_API uint32_t lc_list_add_at_head(lc_list *list, lc_list_node *node);
LC_API uint32_t lc_list_add_at_tail(lc_list *list, lc_list_node *node);
LC_API uint32_t lc_list_add_before(lc_list *list, lc_list_node *ref, lc_list_node *node);
LC_API uint32_t lc_list_add_next(lc_list *list, lc_list_node *ref, lc_list_node *node);

/* Removal: unlinks a node and returns it; the caller then owns it and its data.
 * err must not be NULL: it is set to 0, or, with NULL returned, to 1 (an argument is NULL),
 * 3 (empty list) or, for del_prev and del_next, 4 (only one node). */
LC_API lc_list_node *lc_list_del_from_head(lc_list *list, uint32_t *err);
LC_API lc_list_node *lc_list_del_from_tail(lc_list *list, uint32_t *err);
/* The node before (after) ref; the list is circular, so before the head comes the tail. */
LC_API lc_list_node *lc_list_del_prev(lc_list *list, lc_list_node *ref, uint32_t *err);
LC_API lc_list_node *lc_list_del_next(lc_list *list, lc_list_node *ref, uint32_t *err);
/* Unlinks node, which must belong to list (not checked). Returns 0, 1 (NULL) or 3 (empty list). */
LC_API uint32_t lc_list_del_node(lc_list *list, lc_list_node *node);

/* First node, from the head, whose non-NULL data satisfies match(data, key) == 0; NULL when there
 * is none or an argument is NULL. */
LC_API lc_list_node *lc_list_find(lc_list *list, lc_list_match_fn match, const void *key);

/* Calls visit(node, argument) for each node from head to tail. Returns 0, 1 for a NULL list, or 9
 * when the visitor stopped the walk. A NULL visitor visits nothing and gives 0. */
LC_API uint32_t lc_list_tarverse(lc_list *list, lc_list_visit_fn visit, void *argument);

/* Node at a zero-based index from the head. err must not be NULL: 0, or with NULL returned 1 (NULL
 * list), 3 (empty list) or 12 (index negative or not below the count). */
LC_API lc_list_node *lc_list_get_node(lc_list *list, int32_t index, uint32_t *err);

LC_END_DECLS

#endif
