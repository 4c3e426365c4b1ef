// Random insertions, searches and walks against maps of the standard library, with hashes that spread
// well and badly.

#include "support/counted_memory.h"

#include "lc_hashtab.h"

#include <map>
#include <random>

namespace model_test {

using namespace testing_support;

namespace {

constexpr int kTables = 300;
constexpr int kSteps = 300;

// Keys and values are numbers in the place of pointers.
void *pointer(uintptr_t number) { return reinterpret_cast<void *>(number); }
uintptr_t number_of(const void *number) { return reinterpret_cast<uintptr_t>(number); }

uint32_t spread(lc_hashtab *, const void *key)
{
    return static_cast<uint32_t>(number_of(key)) * 2654435761U;
}
uint32_t clustered(lc_hashtab *, const void *key) { return static_cast<uint32_t>(number_of(key) / 16); }
uint32_t constant(lc_hashtab *, const void *) { return 7; }

int by_number(lc_hashtab *, const void *key, const void *entry_key)
{
    return number_of(key) < number_of(entry_key) ? -1 : number_of(key) > number_of(entry_key) ? 1 : 0;
}

using Pairs = std::vector<std::pair<uintptr_t, uintptr_t>>;

int collect(void *key, void *value, void *arg)
{
    static_cast<Pairs *>(arg)->emplace_back(number_of(key), number_of(value));
    return 0;
}

// A table and what it should be: a map for each bucket.
class ModelledTable {
public:
    ModelledTable(lc_hashtab_hash_fn hash, uint32_t size)
        : hash_(hash), table_(lc_hashtab_create(hash, by_number, size)), model_(size)
    {
    }
    ~ModelledTable()
    {
        lc_hashtab_destroy(
            table_, [](void *) {}, [](void *) {});
    }
    ModelledTable(const ModelledTable &) = delete;
    ModelledTable &operator=(const ModelledTable &) = delete;

    void insert(uintptr_t key, uintptr_t value, bool out_of_memory)
    {
        memory().fail_nth(out_of_memory ? 1 : 0);
        const int32_t result = lc_hashtab_insert(table_, pointer(key), pointer(value));
        memory().fail_nth(0);
        const bool fits = !out_of_memory && count_ < model_.size() && bucket_of(key).count(key) == 0;
        ASSERT_EQ(result, fits ? 0 : -1);
        if (fits) {
            bucket_of(key)[key] = value;
            ++count_;
        }
    }

    void search(uintptr_t key)
    {
        const auto found = bucket_of(key).find(key);
        ASSERT_EQ(number_of(lc_hashtab_search(table_, pointer(key))),
                  found == bucket_of(key).end() ? 0 : found->second);
    }

    void compare()
    {
        Pairs expected;
        uint32_t used = 0;
        size_t longest = 0;
        for (const auto &bucket : model_) {
            expected.insert(expected.end(), bucket.begin(), bucket.end());
            used += bucket.empty() ? 0 : 1;
            longest = std::max(longest, bucket.size());
        }
        Pairs actual;
        ASSERT_EQ(lc_hashtab_map(table_, collect, &actual), 0);
        ASSERT_EQ(actual, expected);
        uint32_t out[2];
        ASSERT_EQ(lc_hashtab_stat(table_, out), longest);
        ASSERT_EQ(out[0], used);
        ASSERT_EQ(out[1], longest);
        ASSERT_EQ(table_->count, count_);
    }

private:
    std::map<uintptr_t, uintptr_t> &bucket_of(uintptr_t key)
    {
        return model_[hash_(nullptr, pointer(key)) % model_.size()];
    }

    lc_hashtab_hash_fn hash_;
    lc_hashtab *table_;
    std::vector<std::map<uintptr_t, uintptr_t>> model_;
    size_t count_ = 0;
};

} // namespace

TEST(HashTableModel, random_steps_do_what_maps_do)
{
    std::mt19937 random(20261);
    const lc_hashtab_hash_fn hashes[] = {spread, clustered, constant};
    for (int i = 0; i < kTables && !HasFatalFailure(); ++i) {
        SCOPED_TRACE(i);
        const auto size = static_cast<uint32_t>(random() % 60 + 1);
        const uint32_t keys = size * 2;
        ModelledTable table(hashes[i % 3], size);
        for (int step = 0; step < kSteps && !HasFatalFailure(); ++step) {
            const uintptr_t key = random() % keys;
            if (random() % 3 == 0) {
                table.insert(key, random() % 1000 + 1, random() % 10 == 0);
                table.compare();
            } else {
                table.search(key);
            }
        }
    }
    EXPECT_EQ(memory().blocks_in_use(), 0U);
}

} // namespace model_test
