// The list behind the searches: its order, what counts as a process, and its behaviour out of memory.
#include "lc_pthread/process.h"

#include "lc_pthread.h"
#include "support/calls.h"
#include "support/scoped_mount.h"
#include "support/text_file.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <dirent.h>
#include <memory>
#include <sys/stat.h>
#include <vector>

namespace process_list_test {

using namespace testing_support;

namespace {

Fault g_realloc;
bool g_counting = false;

struct Free {
    void operator()(pid_t *pids) const { free(pids); }
};

struct Found {
    int count;
    std::vector<pid_t> pids;
    bool has_array;
};

Found find(const char *name)
{
    static pid_t somewhere = 0;
    pid_t *list = &somewhere;
    g_counting = true;
    const int count = pids_by_name(name, &list);
    g_counting = false;
    const std::unique_ptr<pid_t, Free> owner(list);
    Found found{count, {}, list != nullptr};
    if (count > 0) {
        found.pids.assign(list, list + count);
    }
    return found;
}

// A process list of the test's own.
class ProcessList : public testing::Test {
protected:
    void add(const std::string &entry, const std::string &name)
    {
        const std::string folder = "/proc/" + entry;
        mkdir(folder.c_str(), 0755);
        write_text(folder + "/stat", std::to_string(atoi(entry.c_str())) + " (" + name + ") S 1 1");
    }

    // The processes in the order in which the folder lists them.
    static std::vector<pid_t> listed()
    {
        std::vector<pid_t> pids;
        DIR *directory = opendir("/proc");
        while (const dirent *entry = readdir(directory)) {
            if (entry->d_name[0] != '.') {
                pids.push_back(atoi(entry->d_name));
            }
        }
        closedir(directory);
        return pids;
    }

    const ScopedMount proc_{"/proc"};
};

} // namespace

// By the linker, so that the C++ run time and the sanitizers keep the heap for themselves.
extern "C" {

void *__real_realloc(void *block, size_t size);

void *__wrap_realloc(void *block, size_t size)
{
    return g_counting && g_realloc.fails() ? nullptr : __real_realloc(block, size);
}
}

TEST_F(ProcessList, is_in_the_order_of_the_folder)
{
    for (const char *pid : {"500", "20", "3000", "100"}) {
        add(pid, "wanted");
    }
    const Found found = find("wanted");
    EXPECT_EQ(found.count, 4);
    EXPECT_EQ(found.pids, listed());
    EXPECT_EQ(lc_pidof("wanted"), listed().front());
}

TEST_F(ProcessList, has_only_entries_that_are_a_decimal_number_as_a_whole)
{
    for (const char *entry : {"12", "34x", "x56", "7 8", "-90", "+13", "1.5", "self"}) {
        add(entry, "wanted");
    }
    EXPECT_EQ(find("wanted").pids, std::vector<pid_t>{12});
}

TEST_F(ProcessList, compares_names_exactly)
{
    add("12", "wanted");
    add("13", "wanted ");
    add("14", "Wanted");
    add("15", "want");
    add("16", "");
    EXPECT_EQ(find("wanted").pids, std::vector<pid_t>{12});
    EXPECT_EQ(find("").pids, std::vector<pid_t>{16});
}

TEST_F(ProcessList, finds_a_name_of_255_characters_and_grows_for_every_match)
{
    const std::string name(255, 'n');
    for (int pid = 100; pid < 164; ++pid) {
        add(std::to_string(pid), name);
    }
    const Found found = find(name.c_str());
    EXPECT_EQ(found.count, 64);
    EXPECT_EQ(found.pids, listed());
    EXPECT_EQ(calls::closedir.made, calls::opendir.made);
}

TEST_F(ProcessList, of_nothing_is_0_and_no_array)
{
    add("12", "other");
    const Found found = find("wanted");
    EXPECT_EQ(found.count, 0);
    EXPECT_FALSE(found.has_array);
}

TEST_F(ProcessList, failed_growth_gives_minus_1_and_no_array)
{
    for (const char *pid : {"500", "20", "3000"}) {
        add(pid, "wanted");
    }
    for (const int nth : {1, 2, 3}) {
        g_realloc.fail_nth(nth);
        const Found found = find("wanted");
        EXPECT_EQ(found.count, -1) << nth;
        EXPECT_FALSE(found.has_array) << nth;
    }
    g_realloc.fail_nth(4);
    EXPECT_EQ(find("wanted").count, 3);
}

TEST_F(ProcessList, failed_growth_is_no_process_to_the_searches)
{
    add("500", "wanted");
    g_counting = true;
    g_realloc.fail_nth(1);
    const int found = lc_pidof("wanted");
    g_realloc.fail_nth(1);
    const int killed = lc_killall("wanted", 0);
    g_counting = false;
    EXPECT_EQ(found, -1);
    EXPECT_EQ(killed, -2);
}

TEST_F(ProcessList, failed_growth_leaves_the_folder_closed)
{
    add("500", "wanted");
    g_realloc.fail_nth(1);
    find("wanted");
    EXPECT_EQ(calls::closedir.made, calls::opendir.made);
}

TEST_F(ProcessList, without_the_folder_is_0_and_no_array)
{
    add("12", "wanted");
    const Hooked missing(calls::opendir, [](auto &, const char *) -> DIR * {
        errno = EMFILE;
        return nullptr;
    });
    const Found found = find("wanted");
    EXPECT_EQ(found.count, 0);
    EXPECT_FALSE(found.has_array);
    EXPECT_EQ(lc_pidof("wanted"), -1);
    EXPECT_EQ(lc_killall("wanted", SIGTERM), -2);
}

} // namespace process_list_test
