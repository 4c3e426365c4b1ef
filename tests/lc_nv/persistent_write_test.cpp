// Writing a persistent parameter: what both copies hold afterwards, and what is refused.
#include "support/persistent_store.h"

namespace persistent_write_test {

using namespace testing_support;

class PersistentWrite : public MadeStore {
protected:
    void expect_nothing_stored() const
    {
        EXPECT_EQ(current.files(), std::set<std::string>());
        EXPECT_EQ(backup.files(), std::set<std::string>());
    }
};

// ---- Where there is a copy ----

TEST_F(PersistentWrite, rewrites_both_copies)
{
    put_both("a", "old");
    EXPECT_EQ(write_nv("a", "a longer new value"), 0U);
    expect_both("a", "a longer new value");
    EXPECT_EQ(write_nv("a", "new"), 0U);
    expect_both("a", "new");
    EXPECT_EQ(write_nv("a", ""), 0U);
    expect_both("a", "");
}

TEST_F(PersistentWrite, creates_a_missing_backup)
{
    current.put("a", stored("old value"));
    EXPECT_EQ(write_nv("a", "new"), 0U);
    expect_both("a", "new");
    EXPECT_EQ(mode_of(backup.file_of("a")), 0666U);
}

TEST_F(PersistentWrite, creates_a_missing_current_copy)
{
    backup.put("a", stored("old value"));
    EXPECT_EQ(write_nv("a", "new"), 0U);
    expect_both("a", "new");
    EXPECT_EQ(mode_of(current.file_of("a")), 0666U);
}

TEST_F(PersistentWrite, fills_empty_and_cuts_over_long_copies)
{
    current.put("a", "");
    backup.put("a", std::string(9000, 'x'));
    EXPECT_EQ(write_nv("a", "new"), 0U);
    expect_both("a", "new");
    current.put("a", std::string(9000, 'x'));
    backup.put("a", "");
    EXPECT_EQ(write_nv("a", "new"), 0U);
    expect_both("a", "new");
}

TEST_F(PersistentWrite, copy_that_is_there_needs_no_declaration)
{
    for (const char *defaults : {"", "broken\n"}) {
        declare(defaults);
        current.put("b", stored("old"));
        EXPECT_EQ(write_nv("b", "new"), 0U);
        backup.put("c", stored("old"));
        EXPECT_EQ(write_nv("c", "new"), 0U);
    }
    remove_defaults();
    EXPECT_EQ(write_nv("b", "newer"), 0U);
    expect_both("b", "newer");
    expect_both("c", "new");
}

TEST_F(PersistentWrite, backup_that_cannot_be_written_is_not_reported)
{
    current.put("a", stored("old"));
    mkdir(backup.file_of("a").c_str(), 0755);
    EXPECT_EQ(write_nv("a", "new"), 0U);
    EXPECT_EQ(current.content("a"), stored("new"));
}

TEST_F(PersistentWrite, current_copy_that_cannot_be_written_is_not_reported)
{
    mkdir(current.file_of("a").c_str(), 0755);
    backup.put("a", stored("old"));
    EXPECT_EQ(write_nv("a", "new"), 0U);
    EXPECT_EQ(backup.content("a"), stored("new"));
}

TEST_F(PersistentWrite, backup_folder_that_is_missing_is_not_made)
{
    rmdir(NVM_BACKUP_DIR);
    current.put("a", stored("old"));
    EXPECT_EQ(write_nv("a", "new"), 0U);
    EXPECT_EQ(current.content("a"), stored("new"));
    EXPECT_NE(access(NVM_BACKUP_DIR, F_OK), 0);
}

TEST_F(PersistentWrite, copies_keep_their_modes)
{
    put_both("a", "old");
    chmod(current.file_of("a").c_str(), 0640);
    chmod(backup.file_of("a").c_str(), 0600);
    EXPECT_EQ(write_nv("a", "new"), 0U);
    EXPECT_EQ(mode_of(current.file_of("a")), 0640U);
    EXPECT_EQ(mode_of(backup.file_of("a")), 0600U);
}

// ---- Where there is none ----

TEST_F(PersistentWrite, first_value_of_a_declared_parameter_makes_both_copies)
{
    declare("# comment\n\nb=0=x\na=ff=default\n");
    umask(077);
    EXPECT_EQ(write_nv("a", "new"), 0U);
    expect_both("a", "new");
    EXPECT_EQ(mode_of(current.file_of("a")), 0666U);
    EXPECT_EQ(mode_of(backup.file_of("a")), 0666U);
    EXPECT_EQ(current.files(), std::set<std::string>{"a"});
    EXPECT_EQ(backup.files(), std::set<std::string>{"a"});
}

TEST_F(PersistentWrite, undeclared_parameter_gives_1)
{
    EXPECT_EQ(write_nv("b", "new"), 1U);
    EXPECT_EQ(write_nv("A", "new"), 1U);
    declare("# b=1=x\n");
    EXPECT_EQ(write_nv("b", "new"), 1U);
    expect_nothing_stored();
}

TEST_F(PersistentWrite, missing_defaults_file_gives_5)
{
    remove_defaults();
    EXPECT_EQ(write_nv("a", "new"), 5U);
    expect_nothing_stored();
}

TEST_F(PersistentWrite, malformed_line_before_the_declaration_gives_5)
{
    declare("broken\na=1=x\n");
    EXPECT_EQ(write_nv("a", "new"), 5U);
    expect_nothing_stored();
}

TEST_F(PersistentWrite, malformed_line_behind_the_declaration_is_not_reached)
{
    declare("a=1=x\nbroken\n");
    EXPECT_EQ(write_nv("b", "new"), 5U);
    EXPECT_EQ(write_nv("a", "new"), 0U);
    expect_both("a", "new");
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

TEST_F(PersistentWrite, empty_name_gives_1_or_when_declared_0_and_stores_nothing)
{
    EXPECT_EQ(write_nv("", "new"), 1U);
    declare("=1=nameless\n");
    EXPECT_EQ(write_nv("", "new"), 0U);
    expect_nothing_stored();
    EXPECT_EQ(read_nv(""), found("nameless"));
}

// ---- Values ----

TEST_F(PersistentWrite, size_must_cover_the_terminator)
{
    EXPECT_EQ(nvm_writenv("a", "xyz", 3), 4U);
    EXPECT_EQ(nvm_writenv("a", "", 0), 4U);
    expect_nothing_stored();
    EXPECT_EQ(nvm_writenv("a", "xyz", 4), 0U);
    expect_both("a", "xyz");
    EXPECT_EQ(nvm_writenv("a", "longer", 4), 4U);
    expect_both("a", "xyz");
    EXPECT_EQ(nvm_writenv("a", "", 1), 0U);
    expect_both("a", "");
}

TEST_F(PersistentWrite, every_byte_is_kept)
{
    std::string value;
    for (int byte = 1; byte < 256; ++byte) {
        value += static_cast<char>(byte);
    }
    EXPECT_EQ(write_nv("a", value), 0U);
    expect_both("a", value);
}

TEST_F(PersistentWrite, values_of_4095_and_more_bytes_are_stored_whole)
{
    for (const size_t length : {4095U, 4096U, 9000U}) {
        const std::string value(length, 'v');
        EXPECT_EQ(write_nv("a", value), 0U);
        expect_both("a", value);
        EXPECT_EQ(read_nv("a"), found(value.substr(0, 4095)));
    }
}

// ---- Arguments ----

TEST_F(PersistentWrite, null_name_gives_2_before_any_other_check)
{
    EXPECT_EQ(nvm_writenv(nullptr, nullptr, 0), 2U);
    EXPECT_EQ(nvm_writenv(nullptr, "value", 2), 2U);
}

TEST_F(PersistentWrite, bad_value_gives_4_before_the_name_is_judged)
{
    EXPECT_EQ(nvm_writenv("b d", nullptr, 9), 4U);
    EXPECT_EQ(nvm_writenv(std::string(128, 'n').c_str(), "value", 5), 4U);
    EXPECT_EQ(nvm_writenv("a", nullptr, 9), 4U);
}

TEST_F(PersistentWrite, bad_name_gives_1_before_any_file_is_asked)
{
    remove_defaults();
    current.put("b d", stored("old"));
    write_text("/2ndfile/nv/outside", "old");
    EXPECT_EQ(write_nv("b d", "new"), 1U);
    EXPECT_EQ(write_nv("../outside", "new"), 1U);
    EXPECT_EQ(current.content("b d"), stored("old"));
    EXPECT_EQ(read_text("/2ndfile/nv/outside"), "old");
}

TEST_F(PersistentWrite, name_of_127_bytes_is_stored_and_of_128_gives_1)
{
    const std::string longest(127, 'n');
    declare(longest + "=1=default\n");
    EXPECT_EQ(write_nv(longest, "new"), 0U);
    expect_both(longest, "new");
    put_both(longest + "n", "old");
    EXPECT_EQ(write_nv(longest + "n", "new"), 1U);
    expect_both(longest + "n", "old");
}

TEST_F(PersistentWrite, file_creation_mask_is_0_afterwards_even_when_refused)
{
    for (const char *name : {static_cast<const char *>(nullptr), "b d", "undeclared", "a"}) {
        umask(077);
        nvm_writenv(name, "v", 2);
        EXPECT_EQ(current_umask(), 0U);
    }
}

TEST_F(PersistentWrite, leaves_no_descriptor_open)
{
    declare("a=1=x\nb=1=x\nbroken\n");
    const int before = count_descriptors();
    write_nv("a", "created");
    write_nv("a", "changed");
    remove(current.file_of("a").c_str());
    write_nv("a", "again");
    write_nv("none", "value");
    declare("a=1=x\n");
    write_nv("none", "value");
    mkdir(backup.file_of("b").c_str(), 0755);
    current.put("b", stored("old"));
    write_nv("b", "value");
    EXPECT_EQ(count_descriptors(), before);
}

} // namespace persistent_write_test
