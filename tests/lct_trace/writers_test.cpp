// Many writers at once: every entry is complete and present.
#include "lct_trace/entry.h"

#include "support/child_process.h"
#include "support/trace_file.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <thread>
#include <vector>

namespace writers_test {

using namespace testing_support;

namespace {

constexpr int kEntries = 400;

std::string filling(int writer, int entry)
{
    return std::string(static_cast<size_t>(20 + entry * 7 % 200), static_cast<char>('a' + writer));
}

void write_entries(int writer)
{
    for (int entry = 0; entry < kEntries; ++entry) {
        TRACE("[%d %d]%s.\n\n", writer, entry, filling(writer, entry).c_str());
    }
}

// Each writer's entries, once and in its order, with an empty line behind each and nothing else.
void expect_all_entries(int writers)
{
    std::map<int, int> next;
    std::istringstream lines(read_text(kTraceFile));
    std::string line;
    int entries = 0;
    for (; std::getline(lines, line); ++entries) {
        int writer = -1;
        int entry = -1;
        ASSERT_EQ(sscanf(line.c_str(), ENTRY("[%d %d]"), &writer, &entry), 2) << line;
        ASSERT_EQ(entry, next[writer]++) << line;
        const std::string head =
            ENTRY("[") + std::to_string(writer) + " " + std::to_string(entry) + "]";
        ASSERT_EQ(line, head + filling(writer, entry) + ".");
        ASSERT_TRUE(std::getline(lines, line));
        ASSERT_EQ(line, "");
    }
    EXPECT_EQ(entries, writers * kEntries);
}

} // namespace

TEST(TraceWriters, two_processes_at_once_tear_no_line)
{
    ChildProcess one([] {
        write_entries(0);
        return 0;
    });
    ChildProcess two([] {
        write_entries(1);
        return 0;
    });
    one.wait();
    two.wait();
    expect_all_entries(2);
}

TEST(TraceWriters, four_threads_at_once_tear_no_line)
{
    std::vector<std::thread> threads;
    for (int writer = 0; writer < 4; ++writer) {
        threads.emplace_back(write_entries, writer);
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    expect_all_entries(4);
}

TEST(TraceWriters, two_processes_that_rotate_at_once_leave_whole_lines)
{
    write_text(kTraceFile, std::string(262143, 'f') + "\n");
    std::vector<ChildProcess> processes;
    for (int writer = 0; writer < 2; ++writer) {
        processes.emplace_back([writer] {
            write_entries(writer);
            return 0;
        });
    }
    for (ChildProcess &process : processes) {
        EXPECT_EQ(process.wait(), 0);
    }
    EXPECT_NE(read_text(kOldTraceFile), "");
    for (const char *path : {kTraceFile, kOldTraceFile}) {
        std::istringstream lines(read_text(path));
        for (std::string line; std::getline(lines, line);) {
            EXPECT_TRUE(line.empty() || line.front() == 'f' ||
                        (line.front() == '[' && line.back() == '.'))
                << line;
        }
    }
}

} // namespace writers_test
