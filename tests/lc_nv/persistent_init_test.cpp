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

namespace {

const std::string kNone = "(none)";     // content of a copy that is not there
const std::string kFolder = "(folder)"; // of one that cannot be opened
const std::string kLongest(4095, 'v');  // value
const std::string kOverLong(9000, 'v');
const std::string kUnreached = stored(kLongest) + "garbage"; // behind what one read takes

const struct {
    const char *claim;
    std::string current, backup;
    std::string current_then, backup_then;
} kRepairs[] = {
    {"equal copies stay", stored("value"), stored("value"), stored("value"), stored("value")},
    {"another backup", stored("value"), stored("other"), stored("value"), stored("value")},
    {"a longer one", stored("value"), stored("a longer one"), stored("value"), stored("value")},
    {"a shorter one", stored("value"), stored("x"), stored("value"), stored("value")},
    {"an empty value", stored("value"), stored(""), stored("value"), stored("value")},
    {"one that begins with it", stored("value"), stored("value2"), stored("value"), stored("value")},
    {"one that it begins with", stored("value"), stored("valu"), stored("value"), stored("value")},
    {"another case", stored("value"), stored("Value"), stored("value"), stored("value")},
    {"no terminator", stored("value"), "value", stored("value"), stored("value")},
    {"another byte instead", stored("value"), "valueX", stored("value"), stored("value")},
    {"a line feed instead", stored("value"), "value\n", stored("value"), stored("value")},
    {"bytes behind it", stored("value"), stored("value") + "garbage", stored("value"), stored("value")},
    {"a missing backup", stored("value"), kNone, stored("value"), stored("value")},
    {"an empty backup", stored("value"), "", stored("value"), stored("value")},
    {"a current copy is cut", stored("abc") + "garbage", kNone, stored("abc"), stored("abc")},
    {"behind its first NUL", stored("abc") + stored("x"), stored("abc"), stored("abc"), stored("abc")},
    {"also when the backup is right", stored("abc") + "x", stored("abc"), stored("abc"), stored("abc")},
    {"an empty value is a value", stored(""), stored("backup"), stored(""), stored("")},
    {"and is cut", stored("") + "garbage", stored("backup"), stored(""), stored("")},
    {"a single byte is its terminator", "x", stored("backup"), "x", stored("")},
    {"a file without a terminator keeps its length", "hello", kNone, "hello", stored("hell")},
    {"4095 bytes", stored(kLongest), kNone, stored(kLongest), stored(kLongest)},
    {"what one read does not reach", stored(kLongest), kUnreached, stored(kLongest), kUnreached},
    {"what it does reach counts", stored(kLongest), stored(kLongest.substr(1) + "w") + "garbage",
     stored(kLongest), stored(kLongest)},
    {"a current copy that is too long", stored(kOverLong), kNone, kOverLong.substr(0, 4096),
     stored(kLongest)},
    {"a missing current copy", kNone, stored("v"), stored("v"), stored("v")},
    {"an empty current copy", "", stored("v"), stored("v"), stored("v")},
    {"a backup is cut", kNone, stored("abc") + "garbage", stored("abc"), stored("abc")},
    {"a backup that is too long", kNone, stored(kOverLong), stored(kLongest),
     kOverLong.substr(0, 4096)},
    {"no copies", kNone, kNone, stored("default"), stored("default")},
    {"an empty current copy alone", "", kNone, stored("default"), stored("default")},
    {"empty copies", "", "", stored("default"), stored("default")},
    {"a backup that cannot be opened", stored("longer than the default"), kFolder, stored("default"),
     kFolder},
    {"a current copy that cannot be made", kFolder, stored("longer than the default"), kFolder,
     stored("default")},
};

std::string what_is_at(const std::string &path)
{
    return is_folder(path.c_str()) ? kFolder : read_text(path);
}

void make(const std::string &path, const std::string &content)
{
    remove(path.c_str());
    if (content == kFolder) {
        mkdir(path.c_str(), 0755);
    } else if (content != kNone) {
        write_text(path, content);
    }
}

} // namespace

TEST_F(PersistentRepair, leaves_these_copies)
{
    for (const auto &[claim, current_now, backup_now, current_then, backup_then] : kRepairs) {
        SCOPED_TRACE(claim);
        make(current.file_of("a"), current_now);
        make(backup.file_of("a"), backup_now);
        umask(077);
        const int before = count_descriptors();
        EXPECT_EQ(nvm_init(), 0U);
        EXPECT_EQ(count_descriptors(), before);
        EXPECT_EQ(what_is_at(current.file_of("a")), current_then);
        EXPECT_EQ(what_is_at(backup.file_of("a")), backup_then);
        if (current_now != kFolder && backup_now != kFolder) {
            EXPECT_EQ(read_nv("a"), found(std::string(backup_then.c_str()).substr(0, 4095)));
        }
        for (const auto &[folder, content] :
             {std::pair(&current, current_now), {&backup, backup_now}}) {
            if (content == kNone) {
                EXPECT_EQ(mode_of(folder->file_of("a")), 0666U);
            }
        }
    }
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
