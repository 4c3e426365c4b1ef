#include "lc_hashtab.h"

#include "lc_mem/alloc.h"
#include "support/layout.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace lterouter {
namespace {

static_assert(on_32_bits(offsetof(lc_hashtab, buckets) == 0 && offsetof(lc_hashtab, size) == 4 &&
                         offsetof(lc_hashtab, count) == 8 && offsetof(lc_hashtab, hash) == 12 &&
                         offsetof(lc_hashtab, compare) == 16));
static_assert(on_32_bits(offsetof(lc_hashtab_entry, key) == 0 &&
                         offsetof(lc_hashtab_entry, value) == 4 &&
                         offsetof(lc_hashtab_entry, next) == 8));

// Where a key is or would be inserted: the link to that place in the sorted chain.
struct Place {
    lc_hashtab_entry **link;
    bool taken; // by an entry with this key
};

Place find(lc_hashtab *table, const void *key)
{
    lc_hashtab_entry **link = &table->buckets[table->hash(table, key) % table->size];
    while (*link != nullptr) {
        const int order = table->compare(table, key, (*link)->key);
        if (order <= 0) {
            return {link, order == 0};
        }
        link = &(*link)->next;
    }
    return {link, false};
}

void free_object(lc_hashtab_free_fn free_it, void *object)
{
    if (free_it != nullptr) {
        free_it(object);
    } else {
        mem::release(MEM_OWNER_HASHTAB, object);
    }
}

uint32_t chain_length(const lc_hashtab_entry *entry)
{
    uint32_t length = 0;
    for (; entry != nullptr; entry = entry->next) {
        ++length;
    }
    return length;
}

} // namespace
} // namespace lterouter

using namespace lterouter;

lc_hashtab *lc_hashtab_create(lc_hashtab_hash_fn hash, lc_hashtab_compare_fn compare, uint32_t size)
{
    size_t bytes;
    if (size == 0 || __builtin_mul_overflow(size, sizeof(lc_hashtab_entry *), &bytes)) {
        return nullptr;
    }
    auto table = mem::make<lc_hashtab, MEM_OWNER_HASHTAB>();
    if (table == nullptr) {
        return nullptr;
    }
    table->buckets = static_cast<lc_hashtab_entry **>(mem::allocate(MEM_OWNER_HASHTAB, bytes));
    if (table->buckets == nullptr) {
        return nullptr;
    }
    memset(table->buckets, 0, bytes);
    table->size = size;
    table->hash = hash;
    table->compare = compare;
    return table.release();
}

int32_t lc_hashtab_insert(lc_hashtab *table, void *key, void *value)
{
    if (table == nullptr || table->count >= table->size) {
        return -1;
    }
    const Place place = find(table, key);
    if (place.taken) {
        return -1;
    }
    auto entry = mem::make_copy<MEM_OWNER_HASHTAB>(lc_hashtab_entry{key, value, *place.link});
    if (entry == nullptr) {
        return -1;
    }
    *place.link = entry.release();
    ++table->count;
    return 0;
}

void *lc_hashtab_search(lc_hashtab *table, const void *key)
{
    if (table == nullptr) {
        return nullptr;
    }
    const Place place = find(table, key);
    return place.taken ? (*place.link)->value : nullptr;
}

void lc_hashtab_destroy(lc_hashtab *table, lc_hashtab_free_fn key_free, lc_hashtab_free_fn value_free)
{
    if (table == nullptr) {
        return;
    }
    for (uint32_t i = 0; i < table->size; ++i) {
        while (lc_hashtab_entry *entry = table->buckets[i]) {
            table->buckets[i] = entry->next;
            free_object(key_free, entry->key);
            free_object(value_free, entry->value);
            mem::release(MEM_OWNER_HASHTAB, entry);
        }
    }
    mem::release(MEM_OWNER_HASHTAB, table->buckets);
    mem::release(MEM_OWNER_HASHTAB, table);
}

int32_t lc_hashtab_map(lc_hashtab *table, lc_hashtab_visit_fn visit, void *arg)
{
    for (uint32_t i = 0; table != nullptr && i < table->size; ++i) {
        for (const lc_hashtab_entry *entry = table->buckets[i]; entry != nullptr; entry = entry->next) {
            if (const int result = visit(entry->key, entry->value, arg); result != 0) {
                return result;
            }
        }
    }
    return 0;
}

uint32_t lc_hashtab_stat(const lc_hashtab *table, uint32_t out[2])
{
    uint32_t used = 0;
    uint32_t longest = 0;
    for (uint32_t i = 0; i < table->size; ++i) {
        const uint32_t length = chain_length(table->buckets[i]);
        used += length != 0 ? 1 : 0;
        longest = std::max(longest, length);
    }
    out[0] = used;
    out[1] = longest;
    return longest;
}
