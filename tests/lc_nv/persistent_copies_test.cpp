// Reading and writing a persistent parameter: which of its copies, or the default, it is about. What
// both stores do alike is in both_stores_test.cpp.
#include "support/persistent_store.h"

#include <linux/capability.h>
#include <sys/syscall.h>

namespace persistent_copies_test {

using namespace testing_support;

using PersistentRead = MadeStore;

namespace {

const std::string kLongestName(127, 'n');

// From here on what a file's mode says counts for this process, although it is root's.
void give_up_capabilities()
{
    __user_cap_header_struct header = {.version = _LINUX_CAPABILITY_VERSION_3, .pid = 0};
    const __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
    ASSERT_EQ(syscall(SYS_capset, &header, none), 0);
}

} // namespace

// ---- Reading what has a copy ----

TEST_F(PersistentRead, copies_that_may_not_be_read_give_way_to_the_default_without_an_error)
{
    put_both("a", "value");
    chmod(NVM_CURRENT_DIR, 0666); // as nvm_init makes it, for others than root
    ASSERT_NO_FATAL_FAILURE(give_up_capabilities());
    EXPECT_EQ(read_nv("a"), found("value")) << "from the backup copy";
    chmod(NVM_BACKUP_DIR, 0666);
    EXPECT_EQ(read_nv("a"), found("default"));
    chmod(NVM_CURRENT_DIR, 0755);
    EXPECT_EQ(read_nv("a"), found("value"));
}

TEST_F(PersistentRead, gives_the_current_value_first)
{
    current.put("a", stored("current"));
    backup.put("a", stored("backup"));
    EXPECT_EQ(read_nv("a"), found("current"));
}

TEST_F(PersistentRead, backup_stands_in_for_a_current_copy_that_is_missing_or_empty_or_cannot_be_read)
{
    declare("a=1=d\n" + kLongestName + "=1=d\n");
    current.put("a", "");
    mkdir(current.file_of("b").c_str(), 0755);
    for (const std::string &name : {std::string("a"), std::string("b"), kLongestName}) {
        backup.put(name, stored("backup"));
        EXPECT_EQ(read_nv(name, 7), found("backup"));
        EXPECT_EQ(read_nv(name, 6), refused(2)) << "though the default would fit";
        EXPECT_EQ(nvm_match(name.c_str(), "backup"), 0U);
        EXPECT_EQ(nvm_match(name.c_str(), "d"), 6U);
    }
}

TEST_F(PersistentRead, default_stands_in_for_empty_copies_and_needs_no_folders)
{
    for (const ParameterFolder &folder : {current, backup}) {
        folder.put("a", "");
    }
    EXPECT_EQ(read_nv("a"), found("default"));
    for (const ParameterFolder &folder : {current, backup}) {
        EXPECT_EQ(folder.content("a"), "");
        remove(folder.file_of("a").c_str());
        rmdir(folder.file_of("").c_str());
    }
    EXPECT_EQ(read_nv("a"), found("default"));
}

// ---- What has no copy: the defaults file decides ----

namespace {

const ReadResult kUndeclared = refused(1), kUnreadable = refused(5);
const std::string kMissing = "(missing)";

const struct {
    const char *claim;
    std::string defaults;
    std::string name;
    ReadResult read; // a write gives the same code
} kDeclarations[] = {
    {"another name", "a=1=x\n", "b", kUndeclared},
    {"case counts", "a=1=x\n", "A", kUndeclared},
    {"a comment declares nothing", "# b=1=x\n", "b", kUndeclared},
    {"nor does an empty file", "", "a", kUndeclared},
    {"nor is the empty name declared by itself", "a=1=x\n", "", kUndeclared},
    {"it may be declared", "a=1=x\n=1=nameless\n", "", found("nameless")},
    {"a missing file", kMissing, "a", kUnreadable},
    {"bits play no part", "# comment\n\nb=1=other\na=0=factory=value\n", "a", found("factory=value")},
    {"all of them neither", "# comment\n\nb=0=x\na=ff=default\n", "a", found("default")},
    {"the first declaration counts", "a=1=first\na=1=second\n", "a", found("first")},
    {"an empty default", "a=1=\n", "a", found("")},
    {"the longest default", "a=1=" + std::string(4095, 'v') + "\n", "a", found(std::string(4095, 'v'))},
    {"no attributes before it", "broken\na=1=x\n", "a", kUnreadable},
    {"bad bits before it", "b=g=y\na=1=x\n", "a", kUnreadable},
    {"a bad name before it", "b c=1=y\na=1=x\n", "a", kUnreadable},
    {"too long a value before it", "b=1=" + std::string(4096, 'v') + "\na=1=x\n", "a", kUnreadable},
    {"a malformed line behind it is not reached", "a=1=x\nbroken\n", "a", found("x")},
    {"but by what is not declared before", "a=1=x\nbroken\n", "b", kUnreadable},
    {"a line of 4255 bytes before it", line_of_size(4255) + "a=1=x\n", "a", found("x")},
    {"a line of 4255 bytes", line_of_size(4255), kLongestName, found(std::string(4095, 'v'))},
    {"a line of 4256 bytes before it", line_of_size(4256) + "a=1=x\n", "a", kUnreadable},
};

} // namespace

class Declarations : public MadeStore {
protected:
    void expect_files(const std::set<std::string> &names) const
    {
        EXPECT_EQ(current.files(), names);
        EXPECT_EQ(backup.files(), names);
    }
};

TEST_F(Declarations, decide_what_is_read_and_what_may_be_written)
{
    for (const auto &[claim, defaults, name, read] : kDeclarations) {
        SCOPED_TRACE(claim);
        declare(defaults);
        if (defaults == kMissing) {
            remove_defaults();
        }
        EXPECT_EQ(read_nv(name), read);
        if (read.code == 0) {
            const auto room = static_cast<uint32_t>(read.text.size()) + 1;
            EXPECT_EQ(read_nv(name, room), read);
            EXPECT_EQ(read_nv(name, room - 1), refused(2));
        }
        const bool is_compared = read.code == 0 && read.text.size() < 2048;
        EXPECT_EQ(nvm_match(name.c_str(), read.text.c_str()), is_compared ? 0U : 5U);
        EXPECT_EQ(nvm_match(name.c_str(), "other"), is_compared ? 6U : 5U);
        expect_files({});

        umask(077);
        EXPECT_EQ(write_nv(name, "new"), read.code);
        if (read.code != 0 || name.empty()) {
            expect_files({});
            continue;
        }
        expect_files({name});
        expect_both(name, "new");
        for (const ParameterFolder &folder : {current, backup}) {
            EXPECT_EQ(mode_of(folder.file_of(name)), 0666U);
            remove(folder.file_of(name).c_str());
        }
    }
}

TEST_F(Declarations, play_no_part_for_what_has_a_copy)
{
    for (const std::string &defaults : {std::string(), std::string("broken\n"), kMissing}) {
        declare(defaults);
        if (defaults == kMissing) {
            remove_defaults();
        }
        for (const ParameterFolder &folder : {current, backup}) {
            folder.put("b", stored("old value"));
            EXPECT_EQ(read_nv("b"), found("old value"));
            umask(077);
            EXPECT_EQ(write_nv("b", "new"), 0U);
            expect_both("b", "new");
            const ParameterFolder &other = folder.file_of("") == NVM_CURRENT_DIR ? backup : current;
            EXPECT_EQ(mode_of(other.file_of("b")), 0666U) << "it is created";
            remove(current.file_of("b").c_str());
            remove(backup.file_of("b").c_str());
        }
    }
}

// ---- Copies that cannot be written ----

using PersistentWrite = MadeStore;

TEST_F(PersistentWrite, copy_that_cannot_be_written_is_not_reported)
{
    for (const auto &[good, bad] : {std::pair(&current, &backup), std::pair(&backup, &current)}) {
        const std::string name = good == &current ? "b" : "c";
        good->put(name, stored("old"));
        mkdir(bad->file_of(name).c_str(), 0755);
        const int before = count_descriptors();
        EXPECT_EQ(write_nv(name, "new"), 0U);
        EXPECT_EQ(good->content(name), stored("new"));
        EXPECT_EQ(count_descriptors(), before);
    }
}

TEST_F(PersistentWrite, folder_that_is_missing_is_not_made)
{
    rmdir(NVM_BACKUP_DIR);
    current.put("a", stored("old"));
    EXPECT_EQ(write_nv("a", "new"), 0U);
    EXPECT_EQ(current.content("a"), stored("new"));
    EXPECT_NE(access(NVM_BACKUP_DIR, F_OK), 0);
}

TEST_F(PersistentWrite, failed_creation_gives_0)
{
    rmdir(NVM_CURRENT_DIR);
    EXPECT_EQ(write_nv("a", "new"), 0U);
    EXPECT_EQ(backup.content("a"), stored("new"));
    remove(backup.file_of("a").c_str());
    rmdir(NVM_BACKUP_DIR);
    EXPECT_EQ(write_nv("a", "new"), 0U);
    EXPECT_EQ(read_nv("a"), found("default"));
}

} // namespace persistent_copies_test
