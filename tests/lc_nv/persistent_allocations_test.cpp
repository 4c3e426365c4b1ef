// Each allocation of the persistent store fails once. The store itself allocates nothing; libc
// allocates for a stream (its record, then its buffer), so existing copies are read and written without
// the heap.
#include "support/allocation_counter.h"
#include "support/persistent_store.h"

#include <functional>

using namespace testing_support;

namespace {

constexpr const char *kFile = "/2ndfile/file";

class PersistentAllocations : public MadeStore {
protected:
    PersistentAllocations() { declare("a=1=default\nb=2=other\n"); }

    static int allocations_of(const std::function<uint32_t()> &call)
    {
        const int before = AllocationCounter::count;
        EXPECT_EQ(call(), 0U);
        return AllocationCounter::count - before;
    }

    // results: when the first allocation fails, when the second does, and so on to the last.
    void run(const std::function<void()> &prepare, const std::function<uint32_t()> &call,
             const std::vector<uint32_t> &results) const
    {
        if (!AllocationCounter::can_fail()) {
            GTEST_SKIP() << "a sanitizer or memcheck owns the heap";
        }
        prepare();
        EXPECT_EQ(allocations_of(call), static_cast<int>(results.size()));
        for (size_t i = 0; i < results.size(); ++i) {
            SCOPED_TRACE(i + 1);
            prepare();
            put_both("b", "untouched");
            const int descriptors = count_descriptors();
            AllocationCounter::fail_in = static_cast<int>(i) + 1;
            const uint32_t result = call();
            const int left = AllocationCounter::fail_in.exchange(0);
            EXPECT_EQ(result, results[i]);
            EXPECT_EQ(left, 0) << "nothing failed";
            EXPECT_EQ(count_descriptors(), descriptors);
            expect_both("b", "untouched");
            EXPECT_EQ(write_nv("a", "afterwards"), 0U);
            expect_both("a", "afterwards");
        }
    }
    void run_without_copies(const std::function<uint32_t()> &call,
                            const std::vector<uint32_t> &results) const
    {
        run(
            [this] {
                remove(current.file_of("a").c_str());
                remove(backup.file_of("a").c_str());
            },
            call, results);
    }

    char buffer[100] = {};
};

} // namespace

TEST_F(PersistentAllocations, none_for_a_parameter_that_has_a_copy)
{
    put_both("a", "value");
    EXPECT_EQ(allocations_of([&] { return nvm_readnv("a", buffer, sizeof(buffer)); }), 0);
    EXPECT_EQ(allocations_of([] { return nvm_match("a", "value"); }), 0);
    EXPECT_EQ(allocations_of([] { return nvm_writenv("a", "newer", 100); }), 0);
    EXPECT_EQ(allocations_of([] { return nvm_fin(); }), 0);
    EXPECT_EQ(allocations_of([] { return nvm_init(); }), 0);
}

// A stream without a buffer of its own reads all the same, byte by byte.

TEST_F(PersistentAllocations, reading_and_matching_the_default)
{
    run_without_copies([&] { return nvm_readnv("a", buffer, sizeof(buffer)); }, {5, 0});
    run_without_copies([] { return nvm_match("a", "default"); }, {5, 0});
}

TEST_F(PersistentAllocations, writing_for_the_first_time)
{
    run_without_copies([] { return nvm_writenv("a", "value", 100); }, {5, 0});
}

TEST_F(PersistentAllocations, start)
{
    run_without_copies([] { return nvm_init(); }, {5, 0});
}

TEST_F(PersistentAllocations, looking_a_parameter_up)
{
    write_text(kFile, with_checksum("a=1=x\n"));
    run_without_copies([&] { return nvm_parsefile(kFile, "a", buffer, sizeof(buffer), 1); }, {3, 0});
}

TEST_F(PersistentAllocations, exporting)
{
    run_without_copies([] { return nvm_export(kFile, 1, 1); }, {5, 0});
}

TEST_F(PersistentAllocations, importing_and_resetting)
{
    // The file's stream, then one of the defaults file for each line.
    write_text(kFile, with_checksum("a=1=x\n"));
    run_without_copies([] { return nvm_import(kFile, 1, 1, 0); }, {3, 0, 5, 0});
    run_without_copies([] { return nvm_routerreset(); }, {3, 0, 5, 0, 5, 0});
}
