/* Names and their numbers. */
#include "lc_hashtab.h"

#include "check.h"
#include "lc_mem.h"

#define SIZE 4

static uint32_t hash(lc_hashtab *table, const void *key)
{
    CHECK_INT(table->size, SIZE);
    return *(const unsigned char *)key;
}

static int compare(lc_hashtab *table, const void *key, const void *entry_key)
{
    CHECK_INT(table->size, SIZE);
    return strcmp(key, entry_key);
}

static char *copy(const char *text)
{
    char *block = mem_malloc_ex(0, __LINE__, MEM_OWNER_HASHTAB, strlen(text) + 1);
    REQUIRE(block != NULL);
    return strcpy(block, text);
}

static unsigned freed;

static void free_copy(void *object)
{
    ++freed;
    mem_free_ex(0, __LINE__, MEM_OWNER_HASHTAB, object);
}

static int32_t insert(lc_hashtab *table, const char *name, const char *number)
{
    char *key = copy(name);
    char *value = copy(number);
    const int32_t result = lc_hashtab_insert(table, key, value);
    if (result != 0) {
        mem_free_ex(0, __LINE__, MEM_OWNER_HASHTAB, key);
        mem_free_ex(0, __LINE__, MEM_OWNER_HASHTAB, value);
    }
    return result;
}

static lc_hashtab *new_table(void)
{
    lc_hashtab *table = lc_hashtab_create(hash, compare, SIZE);
    REQUIRE(table != NULL);
    CHECK_INT(insert(table, "one", "1"), 0);
    CHECK_INT(insert(table, "two", "2"), 0);
    CHECK_INT(insert(table, "six", "6"), 0);
    return table;
}

static int stop_at_two(void *key, void *value, void *arg)
{
    CHECK(value != NULL);
    ++*(int *)arg;
    return strcmp(key, "two") == 0 ? 7 : 0;
}

static void values_are_found_by_their_keys(void)
{
    lc_hashtab *table = new_table();
    CHECK_INT(insert(table, "two", "22"), -1);
    CHECK_TEXT(lc_hashtab_search(table, "two"), "2");
    CHECK_TEXT(lc_hashtab_search(table, "six"), "6");
    CHECK(lc_hashtab_search(table, "ten") == NULL);
    CHECK_INT(insert(table, "ten", "10"), 0);
    CHECK_INT(insert(table, "nil", "0"), -1);
    CHECK_INT(table->count, SIZE);
    lc_hashtab_destroy(table, NULL, NULL);
}

static void entries_are_walked_and_counted(void)
{
    /* 'o' % 4 and 's' % 4 are 3, 't' % 4 is 0. */
    lc_hashtab *table = new_table();
    uint32_t chains[2];
    int visits = 0;
    CHECK_INT(lc_hashtab_map(table, stop_at_two, &visits), 7);
    CHECK_INT(visits, 1);
    CHECK_INT(lc_hashtab_stat(table, chains), 2);
    CHECK_INT(chains[0], 2);
    CHECK_INT(chains[1], 2);
    lc_hashtab_destroy(table, free_copy, free_copy);
    CHECK_INT(freed, 6);
}

int main(void)
{
    values_are_found_by_their_keys();
    entries_are_walked_and_counted();
    CHECK(lc_hashtab_create(hash, compare, 0) == NULL);
    return check_end();
}
