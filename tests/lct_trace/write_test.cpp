// The system calls that write an entry to the trace file.
#include "lct_trace/entry.h"

#include "support/trace_file.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

using namespace testing_support;

namespace {

constexpr size_t kUsual = 512; // what needs no memory, its end included

std::vector<size_t> g_writes;
std::vector<size_t> g_blocks;
bool g_memory_fails = false;

// An entry of that many bytes.
std::string entry_of(size_t size) { return ENTRY("") + std::string(size - strlen(ENTRY("")), 't'); }

void trace_entry_of(size_t size)
{
    g_writes.clear();
    g_blocks.clear();
    unlink(kTraceFile);
    TRACE("%s", entry_of(size).c_str() + strlen(ENTRY("")));
}

class TraceWrite : public testing::Test {
protected:
    ~TraceWrite() override { g_memory_fails = false; }
};

} // namespace

extern "C" {

ssize_t __real_write(int fd, const void *bytes, size_t size);
void *__real_mem_malloc_ex(uint32_t thread_tag, uint32_t line, uint32_t owner, size_t size);

ssize_t __wrap_write(int fd, const void *bytes, size_t size)
{
    g_writes.push_back(size);
    return __real_write(fd, bytes, size);
}

void *__wrap_mem_malloc_ex(uint32_t thread_tag, uint32_t line, uint32_t owner, size_t size)
{
    g_blocks.push_back(size);
    return g_memory_fails ? nullptr : __real_mem_malloc_ex(thread_tag, line, owner, size);
}
}

TEST_F(TraceWrite, is_a_single_one_for_an_entry_of_any_length)
{
    for (const size_t size : {size_t{30}, kUsual - 2, kUsual - 1, kUsual, kUsual + 1, size_t{20000}}) {
        trace_entry_of(size);
        EXPECT_EQ(g_writes, std::vector{size});
        EXPECT_EQ(read_text(kTraceFile), entry_of(size)) << size;
    }
}

TEST_F(TraceWrite, needs_memory_for_a_long_entry_only)
{
    trace_entry_of(kUsual - 1);
    EXPECT_EQ(g_blocks, std::vector<size_t>());
    trace_entry_of(kUsual);
    EXPECT_EQ(g_blocks, std::vector<size_t>{kUsual + 1});
}

TEST_F(TraceWrite, is_of_a_long_entrys_beginning_without_memory)
{
    g_memory_fails = true;
    trace_entry_of(20000);
    TRACE("next\n\n");
    EXPECT_EQ(read_text(kTraceFile), entry_of(20000).substr(0, kUsual - 3) + "\n\n" ENTRY("next\n\n"));
    EXPECT_EQ(g_writes.size(), 2U);
}
