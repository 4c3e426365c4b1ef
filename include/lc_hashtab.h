/** @file
 * Hash table of key and value pointers with a fixed number of buckets.
 *
 * It holds at most as many entries as it has buckets, each key once. The chain of a bucket is sorted,
 * so a search ends early.
 *
 * @par Threads
 * No operation takes a lock; guard each table with a mutex of your own.
 *
 * @par Example
 * A table whose keys are texts.
 * @code
 * #include <lc_hashtab.h>
 * #include <string.h>
 *
 * static uint32_t hash(struct lc_hashtab *table, const void *key)
 * {
 *     uint32_t sum = 0;
 *     (void)table;
 *     for (const char *text = key; *text; ++text)
 *         sum = sum * 31u + (unsigned char)*text;
 *     return sum;
 * }
 *
 * static int compare(struct lc_hashtab *table, const void *key,
 *                    const void *entry_key)
 * {
 *     (void)table;
 *     return strcmp(key, entry_key);
 * }
 *
 * lc_hashtab *table_of_texts(void)
 * {
 *     return lc_hashtab_create(hash, compare, 16);
 * }
 * @endcode */
#ifndef LC_HASHTAB_H
#define LC_HASHTAB_H

#include "lc_api.h"

#include <stdint.h>

LC_BEGIN_DECLS

struct lc_hashtab;

/** Gives the hash of @p key in @p table; modulo the number of buckets it is the key's bucket.
 * @return any number, the same for equal keys */
typedef uint32_t (*lc_hashtab_hash_fn)(struct lc_hashtab *table, const void *key);

/** Compares @p key, which is searched for in @p table, with @p entry_key, the key of an entry.
 * @return 0 when the keys are equal, positive when key sorts after entry_key, else negative */
typedef int (*lc_hashtab_compare_fn)(struct lc_hashtab *table, const void *key, const void *entry_key);

/** Frees a key or a value, @p object: NULL where NULL was inserted. */
typedef void (*lc_hashtab_free_fn)(void *object);

/** Visits an entry, its @p key and @p value, with the @p arg of lc_hashtab_map(). It must not change
 * the table.
 * @return non-zero to stop the walk */
typedef int (*lc_hashtab_visit_fn)(void *key, void *value, void *arg);

/** An entry, which belongs to its table. */
typedef struct lc_hashtab_entry {
    void *key;                     /**< as inserted */
    void *value;                   /**< as inserted */
    struct lc_hashtab_entry *next; /**< the next of the chain, with a greater key; NULL at its end */
} lc_hashtab_entry;

/** A table. Its fields may be read; only the operations change them. */
typedef struct lc_hashtab {
    lc_hashtab_entry **buckets;    /**< heads of the chains; NULL where there is none */
    uint32_t size;                 /**< buckets */
    uint32_t count;                /**< entries */
    lc_hashtab_hash_fn hash;       /**< as given to lc_hashtab_create() */
    lc_hashtab_compare_fn compare; /**< as given to lc_hashtab_create() */
} lc_hashtab;

/** Makes a new, empty table of @p size buckets, which finds a key's bucket by @p hash and sorts keys by
 * @p compare.
 * @return the table, which lc_hashtab_destroy() takes back; NULL when out of memory or size is 0 */
LC_API lc_hashtab *lc_hashtab_create(lc_hashtab_hash_fn hash, lc_hashtab_compare_fn compare,
                                     uint32_t size);

/** Adds an entry to @p table. Neither @p key nor @p value is copied: both must last, the key unchanged,
 * until lc_hashtab_destroy() frees them.
 * @retval 0  added
 * @retval -1 the table is NULL or full, the key is there already (its value is kept) or memory is
 *            short; key and value stay the caller's */
LC_API int32_t lc_hashtab_insert(lc_hashtab *table, void *key, void *value);

/** Looks @p key up in @p table.
 * @return its value, still the table's; NULL when there is none or the table is NULL */
LC_API void *lc_hashtab_search(lc_hashtab *table, const void *key);

/** Frees @p table, its keys by @p key_free and its values by @p value_free, where NULL stands for
 * mem_free_ex(). A NULL table is ignored. */
LC_API void lc_hashtab_destroy(lc_hashtab *table, lc_hashtab_free_fn key_free,
                               lc_hashtab_free_fn value_free);

/** Calls @p visit with @p arg for every entry of @p table, bucket by bucket, each in ascending order of
 * its keys.
 * @return 0, also for a NULL table, or what the visitor stopped the walk with */
LC_API int32_t lc_hashtab_map(lc_hashtab *table, lc_hashtab_visit_fn visit, void *arg);

/** Tells how well the hash spreads the keys of @p table, which must not be NULL.
 * @param[out] out [0]: buckets that are not empty; [1]: length of the longest chain
 * @return the length of the longest chain */
LC_API uint32_t lc_hashtab_stat(const lc_hashtab *table, uint32_t out[2]);

LC_END_DECLS

#endif
