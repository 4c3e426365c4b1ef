#include "support/counted_memory.h"
#include "support/error_log.h"

#include "lc_hashtab.h"

#include <string>

namespace table_test {

using namespace testing_support;

namespace {

// ---- Keys and values are words of text; a key's hash is its length ----

struct Calls {
    int hashes = 0;
    int compares = 0;
    // What the last of them was given.
    const lc_hashtab *table = nullptr;
    const void *key = nullptr;
    const void *entry_key = nullptr;
};
Calls g_calls;

uint32_t length(lc_hashtab *table, const void *key)
{
    ++g_calls.hashes;
    g_calls.table = table;
    return static_cast<uint32_t>(strlen(static_cast<const char *>(key)));
}

uint32_t same(lc_hashtab *, const void *) { return 0xFFFFFFFF; }

int by_text(lc_hashtab *table, const void *key, const void *entry_key)
{
    ++g_calls.compares;
    g_calls.table = table;
    g_calls.key = key;
    g_calls.entry_key = entry_key;
    return strcmp(static_cast<const char *>(key), static_cast<const char *>(entry_key));
}

void *word(const char *text) { return const_cast<char *>(text); }

const char *text(const void *value) { return static_cast<const char *>(value); }

// A word that the table may free.
void *owned(const char *content)
{
    void *copy = mem_malloc_ex(0, 0, 0, strlen(content) + 1);
    strcpy(static_cast<char *>(copy), content);
    return copy;
}

void keep(void *) {}

using Visits = std::vector<std::string>;

struct Walk {
    Visits visits;
    size_t stops_at;
    int result;
};

int visit(void *key, void *value, void *arg)
{
    auto &walk = *static_cast<Walk *>(arg);
    walk.visits.push_back(std::string(text(key)) + "=" + text(value));
    return walk.visits.size() == walk.stops_at ? walk.result : 0;
}

Visits content(lc_hashtab *table)
{
    Walk walk = {};
    EXPECT_EQ(lc_hashtab_map(table, visit, &walk), 0);
    return walk.visits;
}

// A table of words, each its own value, that are not the table's to free.
class HashTable : public testing::Test {
protected:
    void make(uint32_t size, lc_hashtab_hash_fn hash = length)
    {
        table_ = lc_hashtab_create(hash, by_text, size);
        ASSERT_NE(table_, nullptr);
    }
    int32_t insert(const char *key) { return lc_hashtab_insert(table_, word(key), word(key)); }
    void TearDown() override
    {
        lc_hashtab_destroy(table_, keep, keep);
        EXPECT_EQ(memory().blocks_in_use(), 0U);
    }

    lc_hashtab *table_ = nullptr;
};

std::vector<std::string> g_freed;
void note_freed(void *object) { g_freed.emplace_back(text(object)); }

} // namespace

// ---- Creation ----

TEST_F(HashTable, new_table_is_empty)
{
    make(3);
    EXPECT_EQ(table_->size, 3U);
    EXPECT_EQ(table_->count, 0U);
    EXPECT_EQ(table_->hash, &length);
    EXPECT_EQ(table_->compare, &by_text);
    for (uint32_t i = 0; i < 3; ++i) {
        EXPECT_EQ(table_->buckets[i], nullptr);
    }
}

TEST_F(HashTable, of_no_buckets_there_is_none)
{
    EXPECT_EQ(lc_hashtab_create(length, by_text, 0), nullptr);
    EXPECT_TRUE(memory().take().empty());
}

TEST_F(HashTable, of_more_buckets_than_memory_has_words_there_is_none)
{
    if (sizeof(size_t) > sizeof(uint32_t)) {
        GTEST_SKIP() << "memory has more words than a table can have buckets";
    }
    EXPECT_EQ(lc_hashtab_create(length, by_text, 0xFFFFFFFF), nullptr);
    EXPECT_EQ(lc_hashtab_create(length, by_text, 0x40000001), nullptr);
}

TEST_F(HashTable, failing_allocation_gives_none_and_leaves_nothing_behind)
{
    for (int nth = 1; nth <= 2; ++nth) {
        memory().fail_nth(nth);
        EXPECT_EQ(lc_hashtab_create(length, by_text, 4), nullptr);
        EXPECT_TRUE(memory().failed());
        EXPECT_EQ(memory().blocks_in_use(), 0U);
    }
}

TEST_F(HashTable, memory_is_tagged_with_its_owner_and_thread)
{
    make(4);
    ASSERT_EQ(insert("one"), 0);
    const std::vector<MemoryCall> calls = memory().take();
    ASSERT_EQ(calls.size(), 3U);
    for (const MemoryCall &call : calls) {
        EXPECT_EQ(call.owner, MEM_OWNER_HASHTAB);
        EXPECT_EQ(call.thread_tag, current_thread_tag());
    }
    EXPECT_EQ(calls[0].size, sizeof(lc_hashtab));
    EXPECT_EQ(calls[1].size, 4 * sizeof(lc_hashtab_entry *));
    EXPECT_EQ(calls[2].size, sizeof(lc_hashtab_entry));
}

// ---- Insertion ----

TEST_F(HashTable, table_takes_as_many_entries_as_it_has_buckets_whatever_their_hashes)
{
    make(4, same);
    for (const char *key : {"a", "b", "c", "d"}) {
        EXPECT_EQ(insert(key), 0);
    }
    EXPECT_EQ(table_->count, 4U);
    EXPECT_EQ(insert("e"), -1);
    EXPECT_EQ(table_->count, 4U);
    EXPECT_EQ(lc_hashtab_search(table_, "e"), nullptr);
}

TEST_F(HashTable, full_table_refuses_before_hashing_what_would_go_into_an_empty_bucket)
{
    make(4);
    for (const char *key : {"a", "b", "c", "d"}) {
        ASSERT_EQ(insert(key), 0);
    }
    g_calls = {};
    EXPECT_EQ(insert("ee"), -1);
    EXPECT_EQ(g_calls.hashes, 0);
    EXPECT_EQ(table_->buckets[2], nullptr);
}

TEST_F(HashTable, entry_lives_in_the_bucket_of_its_hash_modulo_the_size)
{
    make(3);
    ASSERT_EQ(insert("12345"), 0);
    ASSERT_NE(table_->buckets[2], nullptr);
    EXPECT_STREQ(text(table_->buckets[2]->key), "12345");
    EXPECT_EQ(table_->buckets[2]->next, nullptr);
}

TEST_F(HashTable, hash_is_unsigned)
{
    make(10, same);
    ASSERT_EQ(insert("a"), 0);
    EXPECT_NE(table_->buckets[0xFFFFFFFFU % 10], nullptr);
}

TEST_F(HashTable, chain_is_ascending_whatever_the_order_of_insertion)
{
    make(4, same);
    for (const char *key : {"3", "1", "2"}) {
        ASSERT_EQ(insert(key), 0);
    }
    EXPECT_EQ(content(table_), (Visits{"1=1", "2=2", "3=3"}));
    const lc_hashtab_entry *head = table_->buckets[0xFFFFFFFFU % 4];
    EXPECT_STREQ(text(head->key), "1");
    EXPECT_STREQ(text(head->next->key), "2");
    EXPECT_STREQ(text(head->next->next->key), "3");
    EXPECT_EQ(head->next->next->next, nullptr);
}

TEST_F(HashTable, key_that_is_there_is_refused_and_keeps_its_value)
{
    make(4);
    ASSERT_EQ(lc_hashtab_insert(table_, word("key"), word("old")), 0);
    const std::string equal = "key";
    EXPECT_EQ(lc_hashtab_insert(table_, word(equal.c_str()), word("new")), -1);
    EXPECT_EQ(table_->count, 1U);
    EXPECT_EQ(content(table_), Visits{"key=old"});
}

TEST_F(HashTable, failing_allocation_leaves_the_table_as_it_was)
{
    make(4, same);
    ASSERT_EQ(insert("a"), 0);
    ASSERT_EQ(insert("c"), 0);
    for (const char *key : {"0", "b", "d"}) {
        memory().fail_nth(1);
        EXPECT_EQ(insert(key), -1);
        EXPECT_EQ(table_->count, 2U);
        EXPECT_EQ(content(table_), (Visits{"a=a", "c=c"}));
    }
    EXPECT_EQ(insert("b"), 0);
    EXPECT_EQ(content(table_), (Visits{"a=a", "b=b", "c=c"}));
}

TEST_F(HashTable, refusal_allocates_nothing)
{
    make(1);
    ASSERT_EQ(insert("a"), 0);
    memory().take();
    EXPECT_EQ(insert("a"), -1);
    EXPECT_EQ(insert("b"), -1);
    EXPECT_TRUE(memory().take().empty());
}

TEST_F(HashTable, refusal_says_nothing_in_the_log)
{
    ErrorLog log;
    make(2);
    ASSERT_EQ(insert("a"), 0);
    EXPECT_EQ(insert("a"), -1);
    memory().fail_nth(1);
    EXPECT_EQ(insert("b"), -1);
    ASSERT_EQ(insert("b"), 0);
    EXPECT_EQ(insert("c"), -1);
    EXPECT_EQ(lc_hashtab_insert(nullptr, word("a"), word("a")), -1);
    EXPECT_EQ(lc_hashtab_create(length, by_text, 0), nullptr);
    EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(HashTable, functions_are_given_the_table_and_the_key_first)
{
    make(4);
    ASSERT_EQ(insert("b"), 0);
    EXPECT_EQ(g_calls.table, table_);
    g_calls = {};
    ASSERT_EQ(insert("a"), 0);
    EXPECT_EQ(g_calls.hashes, 1);
    EXPECT_EQ(g_calls.compares, 1);
    EXPECT_EQ(g_calls.table, table_);
    EXPECT_STREQ(text(g_calls.key), "a");
    EXPECT_STREQ(text(g_calls.entry_key), "b");
    EXPECT_EQ(lc_hashtab_search(table_, "0"), nullptr);
    EXPECT_STREQ(text(g_calls.key), "0");
    EXPECT_STREQ(text(g_calls.entry_key), "a");
    EXPECT_EQ(content(table_), (Visits{"a=a", "b=b"}));
}

// ---- Search ----

TEST_F(HashTable, search_gives_the_value_of_an_equal_key)
{
    make(4);
    ASSERT_EQ(lc_hashtab_insert(table_, word("key"), word("value")), 0);
    const std::string equal = "key";
    EXPECT_STREQ(text(lc_hashtab_search(table_, equal.c_str())), "value");
    EXPECT_EQ(lc_hashtab_search(table_, "kez"), nullptr);
    EXPECT_EQ(lc_hashtab_search(table_, "k"), nullptr);
}

TEST_F(HashTable, search_ends_where_the_key_would_be)
{
    make(4, same);
    for (const char *key : {"b", "d", "f", "h"}) {
        ASSERT_EQ(insert(key), 0);
    }
    const std::pair<const char *, int> expected[] = {{"a", 1}, {"b", 1}, {"c", 2}, {"d", 2},
                                                     {"g", 4}, {"h", 4}, {"i", 4}};
    for (const auto &[key, compares] : expected) {
        g_calls = {};
        lc_hashtab_search(table_, key);
        EXPECT_EQ(g_calls.compares, compares) << key;
        EXPECT_EQ(g_calls.table, table_);
    }
}

TEST_F(HashTable, value_that_is_null_looks_like_none)
{
    make(4);
    ASSERT_EQ(lc_hashtab_insert(table_, word("key"), nullptr), 0);
    EXPECT_EQ(lc_hashtab_search(table_, "key"), nullptr);
    EXPECT_EQ(table_->count, 1U);
    EXPECT_EQ(insert("key"), -1);
}

// ---- Walk and statistics ----

TEST_F(HashTable, walk_goes_bucket_by_bucket)
{
    make(4);
    for (const char *key : {"333", "22", "1", "11"}) {
        ASSERT_EQ(insert(key), 0);
    }
    EXPECT_EQ(content(table_), (Visits{"1=1", "11=11", "22=22", "333=333"}));
}

TEST_F(HashTable, visitor_stops_the_walk_with_its_result)
{
    make(4);
    for (const char *key : {"1", "22", "333"}) {
        ASSERT_EQ(insert(key), 0);
    }
    Walk walk = {{}, 2, 7};
    EXPECT_EQ(lc_hashtab_map(table_, visit, &walk), 7);
    EXPECT_EQ(walk.visits, (Visits{"1=1", "22=22"}));
    walk = {{}, 1, -1};
    EXPECT_EQ(lc_hashtab_map(table_, visit, &walk), -1);
    EXPECT_EQ(walk.visits.size(), 1U);
}

TEST_F(HashTable, empty_table_has_no_chains)
{
    make(4);
    uint32_t out[2] = {9, 9};
    EXPECT_EQ(lc_hashtab_stat(table_, out), 0U);
    EXPECT_EQ(out[0], 0U);
    EXPECT_EQ(out[1], 0U);
    EXPECT_EQ(content(table_), Visits{});
}

TEST_F(HashTable, statistics_are_the_buckets_in_use_and_the_longest_chain)
{
    make(8);
    for (const char *key : {"1", "22", "23", "24", "333", "334"}) {
        ASSERT_EQ(insert(key), 0);
    }
    uint32_t out[2] = {9, 9};
    EXPECT_EQ(lc_hashtab_stat(table_, out), 3U);
    EXPECT_EQ(out[0], 3U);
    EXPECT_EQ(out[1], 3U);
}

// ---- Destruction ----

TEST(HashTableEnd, destroy_gives_each_key_then_its_value_in_the_order_of_a_walk)
{
    lc_hashtab *table = lc_hashtab_create(length, by_text, 3);
    for (const char *key : {"22", "a", "21"}) {
        ASSERT_EQ(lc_hashtab_insert(table, word(key), word("value")), 0);
    }
    lc_hashtab_destroy(table, note_freed, note_freed);
    EXPECT_EQ(g_freed, (Visits{"a", "value", "21", "value", "22", "value"}));
    EXPECT_EQ(memory().blocks_in_use(), 0U);
}

TEST(HashTableEnd, destroy_without_functions_frees_all_in_order)
{
    lc_hashtab *table = lc_hashtab_create(length, by_text, 2);
    void *const key = owned("key");
    void *const value = owned("value");
    ASSERT_EQ(lc_hashtab_insert(table, key, value), 0);
    const void *const buckets = table->buckets;
    const void *const entry = table->buckets[1];
    memory().take();
    lc_hashtab_destroy(table, nullptr, nullptr);
    std::vector<const void *> freed;
    for (const MemoryCall &call : memory().take()) {
        EXPECT_EQ(call.owner, MEM_OWNER_HASHTAB);
        freed.push_back(call.block);
    }
    EXPECT_EQ(freed, (std::vector<const void *>{key, value, entry, buckets, table}));
    EXPECT_EQ(memory().blocks_in_use(), 0U);
}

TEST(HashTableEnd, each_function_may_be_left_out)
{
    for (const bool keys_are_owned : {true, false}) {
        lc_hashtab *table = lc_hashtab_create(length, by_text, 2);
        ASSERT_EQ(lc_hashtab_insert(table, keys_are_owned ? owned("key") : word("key"),
                                    keys_are_owned ? word("value") : owned("value")),
                  0);
        lc_hashtab_destroy(table, keys_are_owned ? nullptr : note_freed,
                           keys_are_owned ? note_freed : nullptr);
        EXPECT_EQ(memory().blocks_in_use(), 0U);
    }
    EXPECT_EQ(g_freed, (Visits{"value", "key"}));
}

TEST(HashTableEnd, null_table_is_taken_for_an_empty_one)
{
    EXPECT_EQ(lc_hashtab_insert(nullptr, word("key"), word("value")), -1);
    EXPECT_EQ(lc_hashtab_search(nullptr, "key"), nullptr);
    EXPECT_EQ(content(nullptr), Visits{});
    lc_hashtab_destroy(nullptr, note_freed, note_freed);
    EXPECT_EQ(g_freed, Visits{});
}

} // namespace table_test
