// Opening the persistent store: the marker of an orderly shutdown, the folders, and the repair.
#include "support/persistent_store.h"
#include "support/scoped_mount.h"

namespace persistent_init_test {

using namespace testing_support;

namespace {

bool is_folder(const char *path)
{
    struct stat status = {};
    return stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

} // namespace

// ---- The marker ----

using PersistentMarker = MadeStore;

TEST_F(PersistentMarker, fin_makes_a_folder)
{
    umask(0);
    EXPECT_EQ(nvm_fin(), 0U);
    EXPECT_TRUE(is_folder("/2ndfile/nvflage"));
    EXPECT_EQ(mode_of("/2ndfile/nvflage"), 0666U);
}

TEST_F(PersistentMarker, fin_leaves_the_file_creation_mask_alone)
{
    umask(022);
    EXPECT_EQ(nvm_fin(), 0U);
    EXPECT_EQ(current_umask(), 022U);
    EXPECT_EQ(mode_of("/2ndfile/nvflage"), 0644U);
}

TEST_F(PersistentMarker, fin_gives_0_when_the_name_is_there)
{
    EXPECT_EQ(nvm_fin(), 0U);
    EXPECT_EQ(nvm_fin(), 0U);
    rmdir(NVM_SHUTDOWN_MARKER);
    write_text(NVM_SHUTDOWN_MARKER, "a file");
    EXPECT_EQ(nvm_fin(), 0U);
    EXPECT_EQ(read_text(NVM_SHUTDOWN_MARKER), "a file");
}

TEST_F(PersistentMarker, fin_gives_5_when_it_cannot_be_made)
{
    ScopedMount disk("/2ndfile");
    disk.make_read_only();
    EXPECT_EQ(nvm_fin(), 5U);
}

TEST_F(PersistentMarker, init_after_fin_removes_it_and_repairs_nothing)
{
    put_both("a", "current");
    backup.put("a", stored("backup"));
    EXPECT_EQ(nvm_fin(), 0U);
    EXPECT_EQ(nvm_init(), 0U);
    EXPECT_FALSE(is_folder(NVM_SHUTDOWN_MARKER));
    EXPECT_EQ(backup.content("a"), stored("backup"));
    // The run after this one did not end in order.
    EXPECT_EQ(nvm_init(), 0U);
    expect_both("a", "current");
}

TEST_F(PersistentMarker, init_after_fin_asks_for_no_defaults_file_and_no_folders)
{
    remove_defaults();
    rmdir(NVM_CURRENT_DIR);
    rmdir(NVM_BACKUP_DIR);
    EXPECT_EQ(nvm_fin(), 0U);
    EXPECT_EQ(nvm_init(), 0U);
    EXPECT_FALSE(is_folder(NVM_CURRENT_DIR));
    EXPECT_EQ(nvm_init(), 5U);
}

TEST_F(PersistentMarker, that_cannot_be_removed_gives_5_without_a_repair)
{
    EXPECT_EQ(nvm_fin(), 0U);
    write_text(NVM_SHUTDOWN_MARKER "/inside", "");
    EXPECT_EQ(nvm_init(), 5U);
    EXPECT_TRUE(is_folder(NVM_SHUTDOWN_MARKER));
    EXPECT_EQ(current.files(), std::set<std::string>());
}

TEST_F(PersistentMarker, that_is_a_file_does_not_count)
{
    write_text(NVM_SHUTDOWN_MARKER, "a file");
    EXPECT_EQ(nvm_init(), 0U);
    expect_both("a", "default");
    EXPECT_EQ(read_text(NVM_SHUTDOWN_MARKER), "a file");
}

// ---- Folders ----

using PersistentFolders = PersistentStore;

TEST_F(PersistentFolders, are_made_for_all_to_read_and_write)
{
    umask(077);
    EXPECT_EQ(nvm_init(), 0U);
    EXPECT_EQ(mode_of(NVM_CURRENT_DIR), 0666U);
    EXPECT_EQ(mode_of(NVM_BACKUP_DIR), 0666U);
    expect_both("a", "default");
}

TEST_F(PersistentFolders, that_are_there_are_kept)
{
    mkdir(NVM_CURRENT_DIR, 0750);
    current.put("a", stored("value"));
    EXPECT_EQ(nvm_init(), 0U);
    EXPECT_EQ(mode_of(NVM_CURRENT_DIR), 0750U);
    expect_both("a", "value");
}

TEST_F(PersistentFolders, files_of_their_names_pass_and_are_left_alone)
{
    write_text("/2ndfile/nv/currentnv", "a file");
    EXPECT_EQ(nvm_init(), 0U);
    EXPECT_EQ(read_text("/2ndfile/nv/currentnv"), "a file");
    EXPECT_EQ(backup.content("a"), stored("default"));

    remove(backup.file_of("a").c_str());
    rmdir(NVM_BACKUP_DIR);
    write_text("/2ndfile/nv/backupnv", "another");
    EXPECT_EQ(nvm_init(), 0U);
    EXPECT_EQ(read_text("/2ndfile/nv/currentnv"), "a file");
    EXPECT_EQ(read_text("/2ndfile/nv/backupnv"), "another");
    EXPECT_EQ(read_nv("a"), found("default"));
}

TEST_F(PersistentFolders, are_not_made_without_a_defaults_file)
{
    remove_defaults();
    EXPECT_EQ(nvm_init(), 5U);
    EXPECT_FALSE(is_folder(NVM_CURRENT_DIR));
    EXPECT_FALSE(is_folder(NVM_BACKUP_DIR));
}

TEST_F(PersistentFolders, that_cannot_be_made_give_5)
{
    ScopedMount disk("/2ndfile");
    mkdir("/2ndfile/nv", 0755);
    declare("a=1=default\n");
    disk.make_read_only();
    const int before = count_descriptors();
    EXPECT_EQ(nvm_init(), 5U);
    EXPECT_EQ(count_descriptors(), before);
}

TEST_F(PersistentFolders, backup_folder_that_cannot_be_made_gives_5)
{
    ScopedMount disk("/2ndfile");
    mkdir("/2ndfile/nv", 0755);
    mkdir(NVM_CURRENT_DIR, 0755);
    declare("a=1=default\n");
    disk.make_read_only();
    const int before = count_descriptors();
    EXPECT_EQ(nvm_init(), 5U);
    EXPECT_EQ(count_descriptors(), before);
}

TEST_F(PersistentFolders, that_cannot_be_written_are_not_reported)
{
    ScopedMount disk("/2ndfile");
    mkdir("/2ndfile/nv", 0755);
    make_folders();
    declare("a=1=default\n");
    disk.make_read_only();
    EXPECT_EQ(nvm_init(), 0U);
    EXPECT_EQ(current.files(), std::set<std::string>());
}

TEST_F(PersistentFolders, file_creation_mask_is_0_after_every_init)
{
    for (const bool orderly : {true, false}) {
        if (orderly) {
            EXPECT_EQ(nvm_fin(), 0U);
        }
        umask(077);
        EXPECT_EQ(nvm_init(), 0U);
        EXPECT_EQ(current_umask(), 0U);
    }
    remove_defaults();
    umask(077);
    EXPECT_EQ(nvm_init(), 5U);
    EXPECT_EQ(current_umask(), 0U);
}

// ---- Repair ----

using PersistentRepair = MadeStore;

TEST_F(PersistentRepair, equal_copies_stay)
{
    put_both("a", "value");
    EXPECT_EQ(nvm_init(), 0U);
    expect_both("a", "value");
}

TEST_F(PersistentRepair, backup_that_differs_takes_the_current_value)
{
    for (const char *old : {"other", "a longer one", "x", "", "value2", "valu", "Value"}) {
        current.put("a", stored("value"));
        backup.put("a", stored(old));
        EXPECT_EQ(nvm_init(), 0U);
        expect_both("a", "value");
    }
}

TEST_F(PersistentRepair, backup_without_its_terminator_takes_the_current_value)
{
    for (const char *bytes : {"value", "valueX", "value\n"}) {
        current.put("a", stored("value"));
        backup.put("a", bytes);
        EXPECT_EQ(nvm_init(), 0U);
        expect_both("a", "value");
    }
}

TEST_F(PersistentRepair, missing_or_empty_backup_takes_the_current_value)
{
    current.put("a", stored("value"));
    umask(077);
    EXPECT_EQ(nvm_init(), 0U);
    expect_both("a", "value");
    EXPECT_EQ(mode_of(backup.file_of("a")), 0666U);
    backup.put("a", "");
    EXPECT_EQ(nvm_init(), 0U);
    expect_both("a", "value");
}

TEST_F(PersistentRepair, backup_loses_what_follows_its_terminator)
{
    current.put("a", stored("value"));
    backup.put("a", stored("value") + "garbage");
    EXPECT_EQ(nvm_init(), 0U);
    expect_both("a", "value");
}

TEST_F(PersistentRepair, current_copy_is_cut_behind_its_first_terminator)
{
    current.put("a", stored("abc") + "garbage");
    EXPECT_EQ(nvm_init(), 0U);
    expect_both("a", "abc");
    current.put("a", stored("abc") + stored("garbage"));
    EXPECT_EQ(nvm_init(), 0U);
    expect_both("a", "abc");
}

TEST_F(PersistentRepair, current_copy_is_cut_also_when_the_backup_is_right)
{
    put_both("a", "abc");
    current.put("a", stored("abc") + "garbage");
    EXPECT_EQ(nvm_init(), 0U);
    expect_both("a", "abc");
}

TEST_F(PersistentRepair, empty_current_value_is_a_value)
{
    for (const std::string &file : {stored(""), stored("") + "garbage", std::string("x")}) {
        current.put("a", file);
        backup.put("a", stored("backup"));
        EXPECT_EQ(nvm_init(), 0U);
        EXPECT_EQ(backup.content("a"), stored(""));
        EXPECT_EQ(current.content("a").size(), 1U);
        EXPECT_EQ(read_nv("a"), found(""));
    }
}

TEST_F(PersistentRepair, current_copy_written_by_other_means_keeps_its_length)
{
    current.put("a", "hello");
    EXPECT_EQ(nvm_init(), 0U);
    EXPECT_EQ(current.content("a"), "hello");
    EXPECT_EQ(backup.content("a"), stored("hell"));
    EXPECT_EQ(read_nv("a"), found("hell"));
}

TEST_F(PersistentRepair, value_of_4095_bytes_is_kept)
{
    const std::string value(4095, 'v');
    current.put("a", stored(value));
    EXPECT_EQ(nvm_init(), 0U);
    expect_both("a", value);
}

TEST_F(PersistentRepair, backup_of_4095_bytes_keeps_what_one_read_does_not_reach)
{
    const std::string value(4095, 'v');
    const std::string longer = stored(value) + "garbage";
    current.put("a", stored(value));
    backup.put("a", longer);
    EXPECT_EQ(nvm_init(), 0U);
    EXPECT_EQ(current.content("a"), stored(value));
    EXPECT_EQ(backup.content("a"), longer);
    // What the read does reach counts.
    backup.put("a", stored(value.substr(1) + "w") + "garbage");
    EXPECT_EQ(nvm_init(), 0U);
    expect_both("a", value);
}

TEST_F(PersistentRepair, over_long_current_copy_is_cut_to_what_one_read_takes)
{
    const std::string value(9000, 'v');
    current.put("a", stored(value));
    EXPECT_EQ(nvm_init(), 0U);
    EXPECT_EQ(current.content("a"), value.substr(0, 4096));
    EXPECT_EQ(backup.content("a"), stored(value.substr(0, 4095)));
}

TEST_F(PersistentRepair, missing_or_empty_current_copy_takes_the_backup_value)
{
    backup.put("a", stored("v"));
    EXPECT_EQ(nvm_init(), 0U);
    expect_both("a", "v");
    EXPECT_EQ(mode_of(current.file_of("a")), 0666U);
    current.put("a", "");
    EXPECT_EQ(nvm_init(), 0U);
    expect_both("a", "v");
}

TEST_F(PersistentRepair, backup_that_is_taken_is_cut_behind_its_first_terminator)
{
    backup.put("a", stored("abc") + "garbage");
    EXPECT_EQ(nvm_init(), 0U);
    expect_both("a", "abc");
}

TEST_F(PersistentRepair, over_long_backup_is_cut_to_what_one_read_takes)
{
    const std::string value(9000, 'v');
    backup.put("a", stored(value));
    EXPECT_EQ(nvm_init(), 0U);
    EXPECT_EQ(current.content("a"), stored(value.substr(0, 4095)));
    EXPECT_EQ(backup.content("a"), value.substr(0, 4096));
}

TEST_F(PersistentRepair, default_fills_a_parameter_with_neither_copy)
{
    declare("a=0=default=x\nempty=1=\nlong=1=" + std::string(4095, 'v') + "\n");
    umask(077);
    EXPECT_EQ(nvm_init(), 0U);
    expect_both("a", "default=x");
    expect_both("empty", "");
    expect_both("long", std::string(4095, 'v'));
    EXPECT_EQ(mode_of(current.file_of("a")), 0666U);
    EXPECT_EQ(mode_of(backup.file_of("a")), 0666U);
}

TEST_F(PersistentRepair, default_fills_a_parameter_with_empty_copies)
{
    current.put("a", "");
    EXPECT_EQ(nvm_init(), 0U);
    expect_both("a", "default");
    current.put("a", "");
    backup.put("a", "");
    EXPECT_EQ(nvm_init(), 0U);
    expect_both("a", "default");
}

TEST_F(PersistentRepair, default_replaces_the_current_value_when_the_backup_cannot_be_opened)
{
    current.put("a", stored("a value longer than the default"));
    mkdir(backup.file_of("a").c_str(), 0755);
    EXPECT_EQ(nvm_init(), 0U);
    EXPECT_EQ(current.content("a"), stored("default"));
}

TEST_F(PersistentRepair, default_replaces_the_backup_when_the_current_copy_cannot_be_made)
{
    mkdir(current.file_of("a").c_str(), 0755);
    backup.put("a", stored("a value longer than the default"));
    EXPECT_EQ(nvm_init(), 0U);
    EXPECT_EQ(backup.content("a"), stored("default"));
}

TEST_F(PersistentRepair, every_declared_parameter_is_repaired)
{
    declare("# comment\na=1=1\n\nb=0=2\nc=ffffffff=3\nd=1=4");
    current.put("b", stored("current"));
    backup.put("c", stored("backup"));
    // The last line has no line feed.
    EXPECT_EQ(nvm_init(), 5U);
    expect_both("a", "1");
    expect_both("b", "current");
    expect_both("c", "backup");
    EXPECT_EQ(current.files(), (std::set<std::string>{"a", "b", "c"}));
}

TEST_F(PersistentRepair, first_of_two_declarations_counts)
{
    declare("a=1=first\na=1=second\n");
    EXPECT_EQ(nvm_init(), 0U);
    expect_both("a", "first");
}

TEST_F(PersistentRepair, malformed_line_stops_it_half_way_with_5)
{
    declare("a=1=1\nb=1=2\nbroken\nc=1=3\n");
    EXPECT_EQ(nvm_init(), 5U);
    expect_both("a", "1");
    expect_both("b", "2");
    EXPECT_EQ(current.files(), (std::set<std::string>{"a", "b"}));
    EXPECT_EQ(backup.files(), (std::set<std::string>{"a", "b"}));
}

TEST_F(PersistentRepair, defaults_line_of_4255_bytes_is_read_and_of_4256_is_malformed)
{
    const std::string name(127, 'n');
    declare(line_of_size(4255));
    EXPECT_EQ(nvm_init(), 0U);
    expect_both(name, std::string(4095, 'v'));
    declare(line_of_size(4256) + "a=1=x\n");
    EXPECT_EQ(nvm_init(), 5U);
    EXPECT_EQ(current.files(), std::set<std::string>{name});
}

TEST_F(PersistentRepair, empty_name_in_the_defaults_is_passed_over)
{
    declare("=1=nameless\na=1=x\n");
    EXPECT_EQ(nvm_init(), 0U);
    EXPECT_EQ(current.files(), std::set<std::string>{"a"});
    expect_both("a", "x");
}

TEST_F(PersistentRepair, undeclared_files_are_left_alone)
{
    current.put("b", stored("current") + "garbage");
    backup.put("b", stored("backup"));
    backup.put("c", "");
    EXPECT_EQ(nvm_init(), 0U);
    EXPECT_EQ(current.content("b"), stored("current") + "garbage");
    EXPECT_EQ(backup.content("b"), stored("backup"));
    EXPECT_EQ(current.files(), (std::set<std::string>{"a", "b"}));
    EXPECT_EQ(backup.files(), (std::set<std::string>{"a", "b", "c"}));
}

TEST_F(PersistentRepair, empty_defaults_file_is_enough)
{
    declare("");
    EXPECT_EQ(nvm_init(), 0U);
    EXPECT_EQ(current.files(), std::set<std::string>());
}

TEST_F(PersistentRepair, leaves_no_descriptor_open)
{
    declare("new=1=x\nmirror=1=x\nrestored=1=x\nno_backup=1=x\nno_current=1=x\n=1=x\n");
    current.put("mirror", stored("value"));
    backup.put("restored", stored("value"));
    current.put("no_backup", stored("value"));
    mkdir(backup.file_of("no_backup").c_str(), 0755);
    backup.put("no_current", stored("value"));
    mkdir(current.file_of("no_current").c_str(), 0755);
    const int before = count_descriptors();
    EXPECT_EQ(nvm_init(), 0U);
    declare("a=1=x\nbroken\n");
    EXPECT_EQ(nvm_init(), 5U);
    remove_defaults();
    EXPECT_EQ(nvm_init(), 5U);
    nvm_fin();
    EXPECT_EQ(nvm_init(), 0U);
    EXPECT_EQ(count_descriptors(), before);
}

} // namespace persistent_init_test
