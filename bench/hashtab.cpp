// The hash table beside uthash and GLib's GHashTable: as many entries as the table has buckets, which
// is all that it takes. The three have the same keys, values and hashes.
//
// The others keep the hash of each entry, and so compare only keys whose hashes are equal; uthash also
// has hash and comparison built into its caller. The library's entries are a key, a value and a link,
// and a search compares each key on its way.
#include "lc_hashtab.h"
#include "support/measure.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <glib.h>
#include <random>
#include <string>

namespace {

// FNV-1a.
uint32_t hash_of(const void *key)
{
    uint32_t hash = 2166136261U;
    for (const auto *byte = static_cast<const unsigned char *>(key); *byte != 0; ++byte) {
        hash = (hash ^ *byte) * 16777619U;
    }
    return hash;
}

} // namespace

#define HASH_FUNCTION(key, length, hash) ((hash) = hash_of(key))
#include <uthash.h>

namespace {

using Keys = std::vector<std::string>;

void *word_of(const std::string &key) { return const_cast<char *>(key.c_str()); }

// Not the word: where keys are the values, GLib stores them once.
void *value_of(const std::string &key) { return const_cast<std::string *>(&key); }

// ---- The three ----

class OurTable {
public:
    void make(unsigned size) { table_ = lc_hashtab_create(hash, compare, size); }
    bool insert(const std::string &key)
    {
        return lc_hashtab_insert(table_, word_of(key), value_of(key)) == 0;
    }
    const void *search(const std::string &key) { return lc_hashtab_search(table_, key.c_str()); }
    void destroy() { lc_hashtab_destroy(table_, keep, keep); }

private:
    static uint32_t hash(lc_hashtab *, const void *key) { return hash_of(key); }
    static int compare(lc_hashtab *, const void *key, const void *entry_key)
    {
        return strcmp(static_cast<const char *>(key), static_cast<const char *>(entry_key));
    }
    static void keep(void *) {}

    lc_hashtab *table_ = nullptr;
};

class UtTable {
public:
    void make(unsigned) {}
    bool insert(const std::string &key)
    {
        Entry *entry;
        const auto length = static_cast<unsigned>(strlen(key.c_str()));
        const unsigned hash = hash_of(key.c_str());
        HASH_FIND_BYHASHVALUE(hh, entries_, key.c_str(), length, hash, entry);
        if (entry != nullptr) {
            return false;
        }
        entry = static_cast<Entry *>(malloc(sizeof(Entry)));
        entry->key = key.c_str();
        entry->value = value_of(key);
        HASH_ADD_KEYPTR_BYHASHVALUE(hh, entries_, entry->key, length, hash, entry);
        return true;
    }
    const void *search(const std::string &key)
    {
        Entry *entry;
        // As a text is looked for, whose length is not known.
        HASH_FIND_STR(entries_, key.c_str(), entry);
        return entry != nullptr ? entry->value : nullptr;
    }
    void destroy()
    {
        Entry *entry = entries_;
        HASH_CLEAR(hh, entries_);
        while (entry != nullptr) {
            Entry *const next = static_cast<Entry *>(entry->hh.next);
            free(entry);
            entry = next;
        }
    }

private:
    struct Entry {
        const char *key;
        const void *value;
        UT_hash_handle hh;
    };

    Entry *entries_ = nullptr;
};

class GTable {
public:
    void make(unsigned) { table_ = g_hash_table_new(hash_of, g_str_equal); }
    // Replaces the value of a key that is there; to look first would cost it a second search.
    bool insert(const std::string &key)
    {
        return g_hash_table_insert(table_, word_of(key), value_of(key)) != FALSE;
    }
    const void *search(const std::string &key) { return g_hash_table_lookup(table_, key.c_str()); }
    void destroy() { g_hash_table_destroy(table_); }

private:
    GHashTable *table_ = nullptr;
};

// ---- What they do ----

// In an order that has nothing to do with that of the entries in memory.
Keys keys_named(const char *name, unsigned count)
{
    Keys keys;
    for (unsigned i = 0; i < count; ++i) {
        keys.push_back(name + std::to_string(i));
    }
    std::shuffle(keys.begin(), keys.end(), std::minstd_rand());
    return keys;
}

Keys g_keys;    // of the table, in the order of their insertion
Keys g_sought;  // the same in another
Keys g_missing; // as many that the table has not

template <typename Table> class Bench {
public:
    // A table and all that it takes.
    void fill()
    {
        table_.make(static_cast<unsigned>(g_keys.size()));
        for (const std::string &key : g_keys) {
            bench::require(table_.insert(key), "an insertion");
        }
        filled_ = true;
    }
    void clear()
    {
        if (filled_) {
            table_.destroy();
            table_ = {};
            filled_ = false;
        }
    }

    bench::Contender insertions(const char *name)
    {
        return {name, [this] { fill(); }, 1, [this] { clear(); }};
    }
    bench::Contender searches(const char *name)
    {
        return {name,
                [this] {
                    for (const std::string &key : g_sought) {
                        bench::require(table_.search(key) != nullptr, "a search");
                    }
                },
                1};
    }
    bench::Contender vain_searches(const char *name)
    {
        return {name,
                [this] {
                    for (const std::string &key : g_missing) {
                        bench::require(table_.search(key) == nullptr, "a search in vain");
                    }
                },
                1};
    }

private:
    Table table_;
    bool filled_ = false;
};

Bench<OurTable> g_ours;
Bench<UtTable> g_ut;
Bench<GTable> g_glib;

void clear_all()
{
    g_ours.clear();
    g_ut.clear();
    g_glib.clear();
}

void make_keys(unsigned count)
{
    clear_all(); // they hold the keys before
    g_keys = keys_named("name_", count);
    g_sought = g_keys;
    std::shuffle(g_sought.begin(), g_sought.end(), std::minstd_rand(2));
    g_missing = keys_named("none_", count);
}

void fill_all(unsigned count)
{
    make_keys(count);
    g_ours.fill();
    g_ut.fill();
    g_glib.fill();
}

} // namespace

int main(int argc, char **argv)
{
    const bench::Report report(argc, argv);
    const auto all_keys = [](unsigned size) { return size; };
    const auto race = [&](const char *name, const std::vector<unsigned> &sizes,
                          const std::function<void(unsigned)> &prepare, auto contend) {
        report.race(
            {name,
             sizes,
             all_keys,
             prepare,
             {contend(g_ours, "lterouter"), contend(g_ut, "uthash"), contend(g_glib, "GHashTable")}});
    };
    // A table of 10 is made and filled within a few steps of the clock.
    race("hash table: make one and fill it", {100, 1000, 10000}, make_keys,
         [](auto &bench, const char *name) { return bench.insertions(name); });
    race("hash table: search when full", {10, 100, 1000, 10000}, fill_all,
         [](auto &bench, const char *name) { return bench.searches(name); });
    race("hash table: search in vain", {10, 100, 1000, 10000}, fill_all,
         [](auto &bench, const char *name) { return bench.vain_searches(name); });
    clear_all();
    return 0;
}
