// The command name of a process, from the kernel's files and from malformed ones.
#include "lc_pthread.h"
#include "support/child_process.h"
#include "support/scoped_mount.h"
#include "support/text_file.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sys/stat.h>

namespace process_name_test {

using namespace testing_support;

namespace {

std::string name_of(int pid)
{
    char name[600];
    EXPECT_EQ(psname(pid, name, sizeof(name)), name);
    return name;
}

// The name that a process with this stat file has.
std::string name_in(const std::string &stat_file, int pid = 7777)
{
    const ScopedMount proc("/proc");
    const std::string folder = "/proc/" + std::to_string(pid);
    mkdir(folder.c_str(), 0755);
    write_text(folder + "/stat", stat_file);
    return name_of(pid);
}

} // namespace

TEST(ProcessName, is_the_kernels_command_name)
{
    const NamedProcess process("watcher");
    EXPECT_EQ(name_of(process.pid()), "watcher");
}

TEST(ProcessName, may_hold_parentheses)
{
    EXPECT_EQ(name_of(NamedProcess("a (b) c)").pid()), "a (b) c)");
    EXPECT_EQ(name_of(NamedProcess("))((").pid()), "))((");
}

TEST(ProcessName, may_hold_blanks)
{
    EXPECT_EQ(name_of(NamedProcess(" two words ").pid()), " two words ");
}

TEST(ProcessName, of_15_characters_fits_16_bytes)
{
    const NamedProcess process("abcdefghijklmnopqrst");
    char name[16];
    memset(name, '#', sizeof(name));
    ASSERT_EQ(psname(process.pid(), name, sizeof(name)), name);
    EXPECT_EQ(std::string(name, sizeof(name)), std::string("abcdefghijklmno\0", 16));
}

TEST(ProcessName, that_fills_the_buffer_is_not_terminated)
{
    const NamedProcess process("abcdef");
    char name[8];
    memset(name, '#', sizeof(name));
    EXPECT_EQ(psname(process.pid(), name, 4), name);
    EXPECT_EQ(std::string(name, sizeof(name)), "abcd####");
    EXPECT_EQ(psname(process.pid(), name, 6), name);
    EXPECT_EQ(std::string(name, sizeof(name)), "abcdef##");
}

TEST(ProcessName, buffer_of_less_than_one_byte_gives_null)
{
    char name = '#';
    EXPECT_EQ(psname(getpid(), &name, 0), nullptr);
    EXPECT_EQ(psname(getpid(), &name, -1), nullptr);
    EXPECT_EQ(name, '#');
}

TEST(ProcessName, of_no_process_is_empty)
{
    NamedProcess process("gone");
    const int pid = process.pid();
    process.make_zombie();
    EXPECT_EQ(name_of(pid), "gone");
    process.wait();
    EXPECT_EQ(name_of(pid), "");
    EXPECT_EQ(name_of(0), "");
    EXPECT_EQ(name_of(-1), "");
}

TEST(ProcessName, leaves_no_descriptor_open)
{
    const int before = count_descriptors();
    name_of(getpid());
    name_of(0);
    EXPECT_EQ(count_descriptors(), before);
}

TEST(ProcessNameFile, is_read_from_the_first_opening_to_the_last_closing_parenthesis)
{
    EXPECT_EQ(name_in("7777 (plain) S 1"), "plain");
    EXPECT_EQ(name_in("7777 (x(y)z) S (1"), "x(y)z");
}

TEST(ProcessNameFile, of_another_number_gives_an_empty_name)
{
    EXPECT_EQ(name_in("7778 (plain) S 1"), "");
    EXPECT_EQ(name_in("x (plain) S 1"), "");
}

TEST(ProcessNameFile, without_one_of_the_parentheses_gives_an_empty_name)
{
    EXPECT_EQ(name_in("7777 (plain S 1"), "");
    EXPECT_EQ(name_in("7777 plain) S 1"), "");
    EXPECT_EQ(name_in("7777 plain S 1"), "");
    EXPECT_EQ(name_in("7777 )plain( S 1"), "");
}

TEST(ProcessNameFile, of_less_than_5_bytes_gives_an_empty_name)
{
    EXPECT_EQ(name_in("", 7), "");
    EXPECT_EQ(name_in("7(a)", 7), "");
    EXPECT_EQ(name_in("7 (a)", 7), "a");
}

TEST(ProcessNameFile, counts_with_its_first_511_bytes_only)
{
    const std::string start = "7777 (";
    const std::string longest(511 - start.size() - 1, 'n');
    EXPECT_EQ(name_in(start + longest + ") S"), longest);
    EXPECT_EQ(name_in(start + longest + "n) S"), "");
}

} // namespace process_name_test
