// The system calls that write an entry to the trace file.
#include "lct_trace/entry.h"

#include "support/calls.h"
#include "support/trace_file.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

namespace write_test {

using namespace testing_support;

namespace {

constexpr size_t kUsual = 512; // what needs no memory, its end included

struct Memory {
    std::vector<size_t> blocks;
    bool fails = false;
};

Memory *g_memory = nullptr; // of the test that runs; others of the program have threads that allocate

// An entry of that many bytes.
std::string entry_of(size_t size) { return ENTRY("") + std::string(size - strlen(ENTRY("")), 't'); }

class TraceWrite : public testing::Test {
protected:
    TraceWrite() { g_memory = &memory_; }
    ~TraceWrite() override { g_memory = nullptr; }

    void trace_entry_of(size_t size)
    {
        writes_.clear();
        memory_.blocks.clear();
        unlink(kTraceFile);
        TRACE("%s", entry_of(size).c_str() + strlen(ENTRY("")));
    }

    std::vector<size_t> writes_;
    Memory memory_;

private:
    const Hooked noted_{calls::write, [this](auto &next, int fd, const void *bytes, size_t size) {
                            writes_.push_back(size);
                            return next(fd, bytes, size);
                        }};
};

} // namespace

// By the linker, since the archive's own definition has no next one.
extern "C" {

void *__real_mem_malloc_ex(uint32_t thread_tag, uint32_t line, uint32_t owner, size_t size);

void *__wrap_mem_malloc_ex(uint32_t thread_tag, uint32_t line, uint32_t owner, size_t size)
{
    if (g_memory != nullptr) {
        g_memory->blocks.push_back(size);
        if (g_memory->fails) {
            return nullptr;
        }
    }
    return __real_mem_malloc_ex(thread_tag, line, owner, size);
}
}

TEST_F(TraceWrite, is_a_single_one_for_an_entry_of_any_length)
{
    for (const size_t size : {size_t{30}, kUsual - 2, kUsual - 1, kUsual, kUsual + 1, size_t{20000}}) {
        trace_entry_of(size);
        EXPECT_EQ(writes_, std::vector{size});
        EXPECT_EQ(read_text(kTraceFile), entry_of(size)) << size;
    }
}

TEST_F(TraceWrite, needs_memory_for_a_long_entry_only)
{
    trace_entry_of(kUsual - 1);
    EXPECT_EQ(memory_.blocks, std::vector<size_t>());
    trace_entry_of(kUsual);
    EXPECT_EQ(memory_.blocks, std::vector<size_t>{kUsual + 1});
}

TEST_F(TraceWrite, is_of_a_long_entrys_beginning_without_memory)
{
    memory_.fails = true;
    trace_entry_of(20000);
    TRACE("next\n\n");
    EXPECT_EQ(read_text(kTraceFile), entry_of(20000).substr(0, kUsual - 3) + "\n\n" ENTRY("next\n\n"));
    EXPECT_EQ(writes_.size(), 2U);
}

} // namespace write_test
