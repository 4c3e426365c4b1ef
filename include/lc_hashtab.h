/* lc_hashtab: hash table of key and value pointers with a fixed number of buckets.
 *
 * It holds at most as many entries as it has buckets, each key once. The chain of a bucket is sorted,
 * so a search ends early.
 *
 * Threads: no operation takes a lock; guard each table with a mutex of your own. */
#ifndef LC_HASHTAB_H
#define LC_HASHTAB_H

#include "lc_api.h"

#include <stdint.h>

LC_BEGIN_DECLS

struct lc_hashtab;

/* Any number; equal keys have equal ones. */
typedef uint32_t (*lc_hashtab_hash_fn)(struct lc_hashtab *table, const void *key);
/* 0 when the keys are equal, positive when key sorts after entry_key, else negative. */
typedef int (*lc_hashtab_compare_fn)(struct lc_hashtab *table, const void *key, const void *entry_key);
/* Frees a key or a value. */
typedef void (*lc_hashtab_free_fn)(void *object);
/* Visits an entry; non-zero stops the walk. Must not change the table. */
typedef int (*lc_hashtab_visit_fn)(void *key, void *value, void *arg);

typedef struct lc_hashtab_entry {
    void *key;
    void *value;
    struct lc_hashtab_entry *next;
} lc_hashtab_entry;

typedef struct lc_hashtab {
    lc_hashtab_entry **buckets; /* heads of the chains; NULL where there is none */
    uint32_t size;              /* buckets */
    uint32_t count;             /* entries */
    lc_hashtab_hash_fn hash;
    lc_hashtab_compare_fn compare;
} lc_hashtab;

/* A new, empty table of size buckets, or NULL when out of memory or size is 0. Give it back with
 * lc_hashtab_destroy. */
LC_API lc_hashtab *lc_hashtab_create(lc_hashtab_hash_fn hash, lc_hashtab_compare_fn compare,
                                     uint32_t size);

/* Adds an entry; key and value stay the caller's until lc_hashtab_destroy. Returns 0, or -1 when the
 * table is NULL or full, the key is there already (its value is kept) or memory is short. */
LC_API int32_t lc_hashtab_insert(lc_hashtab *table, void *key, void *value);

/* The value of a key; NULL when there is none or the table is NULL. */
LC_API void *lc_hashtab_search(lc_hashtab *table, const void *key);

/* Frees each key and value, with mem_free_ex where no function is given, and the table. NULL is
 * ignored. */
LC_API void lc_hashtab_destroy(lc_hashtab *table, lc_hashtab_free_fn key_free,
                               lc_hashtab_free_fn value_free);

/* Visits every entry, bucket by bucket, each in ascending order of its keys. Returns 0, also for a NULL
 * table, or what the visitor stopped the walk with. */
LC_API int32_t lc_hashtab_map(lc_hashtab *table, lc_hashtab_visit_fn visit, void *arg);

/* How well the hash spreads. out[0]: buckets that are not empty; out[1]: length of the longest chain,
 * which is also returned. table must not be NULL. */
LC_API uint32_t lc_hashtab_stat(const lc_hashtab *table, uint32_t out[2]);

LC_END_DECLS

#endif
