// Reading a persistent parameter: current copy, backup, default, in this order.
#include "support/persistent_store.h"

#include <linux/capability.h>
#include <sys/syscall.h>

namespace persistent_read_test {

using namespace testing_support;

using PersistentRead = MadeStore;

namespace {

// From here on what a file's mode says counts for this process, although it is root's.
void give_up_capabilities()
{
    __user_cap_header_struct header = {.version = _LINUX_CAPABILITY_VERSION_3, .pid = 0};
    const __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
    ASSERT_EQ(syscall(SYS_capset, &header, none), 0);
}

} // namespace

// ---- The current copy ----

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

TEST_F(PersistentRead, copy_that_is_there_needs_no_declaration)
{
    current.put("undeclared", stored("current"));
    backup.put("other", stored("backup"));
    for (const char *defaults : {"", "broken\n"}) {
        declare(defaults);
        EXPECT_EQ(read_nv("undeclared"), found("current"));
        EXPECT_EQ(read_nv("other"), found("backup"));
    }
    remove_defaults();
    EXPECT_EQ(read_nv("undeclared"), found("current"));
    EXPECT_EQ(read_nv("other"), found("backup"));
}

TEST_F(PersistentRead, buffer_must_hold_the_value_with_its_terminator)
{
    current.put("a", stored("ab"));
    EXPECT_EQ(read_nv("a", 2), refused(2));
    EXPECT_EQ(read_nv("a", 3), found("ab"));
    EXPECT_EQ(read_nv("a", 0), refused(2));
}

TEST_F(PersistentRead, too_long_current_value_gives_2_though_backup_and_default_would_fit)
{
    declare("a=1=d\n");
    current.put("a", stored("a long value"));
    backup.put("a", stored("b"));
    EXPECT_EQ(read_nv("a", 8), refused(2));
}

TEST_F(PersistentRead, empty_value_is_a_value)
{
    current.put("a", stored(""));
    backup.put("a", stored("backup"));
    EXPECT_EQ(read_nv("a", 1), found(""));
}

TEST_F(PersistentRead, file_written_by_other_means_loses_its_last_byte)
{
    current.put("a", "hello\n");
    EXPECT_EQ(read_nv("a", 6), found("hello"));
    current.put("a", "x");
    EXPECT_EQ(read_nv("a", 1), found(""));
}

TEST_F(PersistentRead, value_ends_at_a_terminator_inside_the_file)
{
    current.put("a", std::string("ab\0cd\0", 6));
    EXPECT_EQ(read_nv("a", 6), found("ab"));
    // What counts for the room is the file.
    EXPECT_EQ(read_nv("a", 5), refused(2));
}

TEST_F(PersistentRead, value_of_4095_bytes_is_read_whole)
{
    const std::string value(4095, 'v');
    current.put("a", stored(value));
    EXPECT_EQ(read_nv("a", 4096), found(value));
    EXPECT_EQ(read_nv("a", 4095), refused(2));
}

TEST_F(PersistentRead, longer_value_is_cut_to_its_first_4095_bytes)
{
    for (const size_t length : {4096U, 4097U, 9000U}) {
        std::string value(length, 'v');
        value.replace(4093, 3, "abc");
        current.put("a", stored(value));
        EXPECT_EQ(read_nv("a", 4096), found(value.substr(0, 4095))) << length;
        EXPECT_EQ(read_nv("a", 4095), refused(2)) << length;
    }
}

TEST_F(PersistentRead, keeps_equals_signs_line_feeds_and_every_other_byte)
{
    std::string value;
    for (int byte = 1; byte < 256; ++byte) {
        value += static_cast<char>(byte);
    }
    current.put("a", stored(value));
    EXPECT_EQ(read_nv("a", 256), found(value));
}

// ---- The backup ----

TEST_F(PersistentRead, backup_stands_in_for_a_missing_current_copy)
{
    backup.put("a", stored("backup"));
    EXPECT_EQ(read_nv("a", 7), found("backup"));
    EXPECT_EQ(read_nv("a", 6), refused(2));
}

TEST_F(PersistentRead, backup_stands_in_for_an_empty_current_copy)
{
    current.put("a", "");
    backup.put("a", stored("backup"));
    EXPECT_EQ(read_nv("a"), found("backup"));
}

TEST_F(PersistentRead, backup_stands_in_for_a_current_copy_that_cannot_be_read)
{
    mkdir(current.file_of("a").c_str(), 0755);
    backup.put("a", stored("backup"));
    EXPECT_EQ(read_nv("a"), found("backup"));
}

TEST_F(PersistentRead, too_long_backup_value_gives_2_though_the_default_would_fit)
{
    declare("a=1=d\n");
    backup.put("a", stored("a long value"));
    EXPECT_EQ(read_nv("a", 8), refused(2));
}

// ---- The default ----

TEST_F(PersistentRead, default_is_given_when_there_is_no_copy_and_no_file_is_written)
{
    declare("# comment\n\nb=1=other\na=0=factory=value\n");
    EXPECT_EQ(read_nv("a", 14), found("factory=value"));
    EXPECT_EQ(read_nv("a", 13), refused(2));
    EXPECT_EQ(current.files(), std::set<std::string>());
    EXPECT_EQ(backup.files(), std::set<std::string>());
}

TEST_F(PersistentRead, default_is_given_when_both_copies_are_empty)
{
    current.put("a", "");
    backup.put("a", "");
    EXPECT_EQ(read_nv("a"), found("default"));
    EXPECT_EQ(current.content("a"), "");
    EXPECT_EQ(backup.content("a"), "");
}

TEST_F(PersistentRead, default_needs_no_folders)
{
    rmdir(NVM_CURRENT_DIR);
    rmdir(NVM_BACKUP_DIR);
    EXPECT_EQ(read_nv("a"), found("default"));
}

TEST_F(PersistentRead, default_may_be_empty_or_4095_bytes_long)
{
    const std::string longest(4095, 'v');
    declare("empty=1=\nlong=1=" + longest + "\n");
    EXPECT_EQ(read_nv("empty", 1), found(""));
    EXPECT_EQ(read_nv("empty", 0), refused(2));
    EXPECT_EQ(read_nv("long", 4096), found(longest));
    EXPECT_EQ(read_nv("long", 4095), refused(2));
}

TEST_F(PersistentRead, first_declaration_counts)
{
    declare("a=1=first\na=1=second\n");
    EXPECT_EQ(read_nv("a"), found("first"));
}

TEST_F(PersistentRead, undeclared_parameter_without_a_copy_gives_1)
{
    EXPECT_EQ(read_nv("b"), refused(1));
    EXPECT_EQ(read_nv("A"), refused(1));
    declare("");
    EXPECT_EQ(read_nv("a"), refused(1));
}

TEST_F(PersistentRead, missing_defaults_file_gives_5)
{
    remove_defaults();
    EXPECT_EQ(read_nv("a"), refused(5));
}

TEST_F(PersistentRead, malformed_line_before_the_declaration_gives_5)
{
    for (const char *line : {"broken", "b=g=y", "b c=1=y"}) {
        declare(line + std::string("\na=1=x\n"));
        EXPECT_EQ(read_nv("a"), refused(5)) << line;
    }
    declare("b=1=" + std::string(4096, 'v') + "\na=1=x\n");
    EXPECT_EQ(read_nv("a"), refused(5));
}

TEST_F(PersistentRead, malformed_line_behind_the_declaration_is_not_reached)
{
    declare("a=1=x\nbroken\n");
    EXPECT_EQ(read_nv("a"), found("x"));
    EXPECT_EQ(read_nv("b"), refused(5));
}

TEST_F(PersistentRead, defaults_line_of_4255_bytes_is_read_and_of_4256_is_malformed)
{
    declare(line_of_size(4255) + "a=1=x\n");
    EXPECT_EQ(read_nv("a"), found("x"));
    EXPECT_EQ(read_nv(std::string(127, 'n')), found(std::string(4095, 'v')));
    declare(line_of_size(4256) + "a=1=x\n");
    EXPECT_EQ(read_nv("a"), refused(5));
}

// ---- Names and arguments ----

TEST_F(PersistentRead, null_name_or_buffer_gives_2_before_the_name_is_judged)
{
    char buffer[8];
    EXPECT_EQ(nvm_readnv(nullptr, buffer, sizeof(buffer)), 2U);
    EXPECT_EQ(nvm_readnv("a", nullptr, 8), 2U);
    EXPECT_EQ(nvm_readnv("b d", nullptr, 8), 2U);
    EXPECT_EQ(nvm_readnv(nullptr, nullptr, 8), 2U);
}

TEST_F(PersistentRead, bad_name_gives_1_before_any_file_is_asked)
{
    current.put("b d", stored("v"));
    write_text("/2ndfile/nv/outside", stored("v"));
    remove_defaults();
    for (const char *name : {"b d", "../outside", "a/", "a\n", "a=1", "\xc3\xa4"}) {
        EXPECT_EQ(read_nv(name), refused(1)) << name;
    }
}

TEST_F(PersistentRead, name_of_127_bytes_is_read_and_of_128_gives_1)
{
    const std::string longest(127, 'n');
    current.put(longest, stored("v"));
    current.put(longest + "n", stored("v"));
    EXPECT_EQ(read_nv(longest), found("v"));
    EXPECT_EQ(read_nv(longest + "n"), refused(1));
    remove(current.file_of(longest).c_str());
    backup.put(longest, stored("w"));
    EXPECT_EQ(read_nv(longest), found("w"));
}

TEST_F(PersistentRead, empty_name_has_at_most_a_default)
{
    EXPECT_EQ(read_nv(""), refused(1));
    declare("a=1=x\n=1=nameless\n");
    EXPECT_EQ(read_nv(""), found("nameless"));
}

TEST_F(PersistentRead, leaves_the_file_creation_mask_alone)
{
    put_both("b", "v");
    umask(027);
    EXPECT_EQ(read_nv("a"), found("default"));
    EXPECT_EQ(read_nv("b"), found("v"));
    EXPECT_EQ(nvm_match("b", "v"), 0U);
    EXPECT_EQ(current_umask(), 027U);
}

TEST_F(PersistentRead, leaves_no_descriptor_open)
{
    declare("a=1=x\nc=1=y\nbroken\n");
    put_both("a", "value");
    current.put("empty", "");
    backup.put("empty", "");
    const int before = count_descriptors();
    for (const char *name : {"a", "c", "empty", "none"}) {
        read_nv(name);
        read_nv(name, 1);
    }
    declare("a=1=x\n");
    read_nv("none");
    EXPECT_EQ(count_descriptors(), before);
}

// ---- Comparing ----

using PersistentMatch = MadeStore;

TEST_F(PersistentMatch, equal_value_gives_0_and_different_gives_6)
{
    current.put("b", stored("on"));
    EXPECT_EQ(nvm_match("b", "on"), 0U);
    for (const char *value : {"o", "on ", "On", ""}) {
        EXPECT_EQ(nvm_match("b", value), 6U) << value;
    }
}

TEST_F(PersistentMatch, backup_and_default_are_compared_too)
{
    EXPECT_EQ(nvm_match("a", "default"), 0U);
    EXPECT_EQ(nvm_match("a", "other"), 6U);
    backup.put("a", stored("backup"));
    EXPECT_EQ(nvm_match("a", "backup"), 0U);
    EXPECT_EQ(nvm_match("a", "default"), 6U);
}

TEST_F(PersistentMatch, what_cannot_be_read_gives_5)
{
    EXPECT_EQ(nvm_match("none", "v"), 5U);
    EXPECT_EQ(nvm_match("b d", "v"), 5U);
    remove_defaults();
    EXPECT_EQ(nvm_match("a", "default"), 5U);
}

TEST_F(PersistentMatch, null_argument_gives_4)
{
    EXPECT_EQ(nvm_match(nullptr, "v"), 4U);
    EXPECT_EQ(nvm_match("a", nullptr), 4U);
    EXPECT_EQ(nvm_match(nullptr, nullptr), 4U);
    EXPECT_EQ(nvm_match("none", nullptr), 4U);
}

TEST_F(PersistentMatch, value_of_2047_bytes_is_compared_and_a_longer_one_gives_5)
{
    const std::string value(2047, 'v');
    current.put("b", stored(value));
    EXPECT_EQ(nvm_match("b", value.c_str()), 0U);
    EXPECT_EQ(nvm_match("b", "other"), 6U);
    current.put("b", stored(value + "v"));
    EXPECT_EQ(nvm_match("b", (value + "v").c_str()), 5U);
    EXPECT_EQ(nvm_match("b", "other"), 5U);
}

} // namespace persistent_read_test
