// The system calls of the persistent store, in order: other processes rely on the order of locking, and
// the repair after a power cut on the order of writing.
#include "support/file_steps.h"
#include "support/persistent_store.h"

#include <algorithm>

namespace persistent_steps_test {

using namespace testing_support;

namespace {

Steps operator+(Steps left, const Steps &right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Steps reading(const std::string &file)
{
    return {"open " + file + " to read", "shared lock of " + file, "read 4096 from " + file,
            "unlock " + file, "close " + file};
}

Steps missing(const std::string &file, const std::string &how)
{
    return {"open " + file + how + ": fails"};
}

const Steps kUmask = {"umask 0000"};
const Steps kDefaults = {"open default.cfg as a stream", "close default.cfg"};

// Six bytes from offset 0, cut to what was written before the lock is given back.
Steps locked_write(const std::string &file, const std::string &count = "6")
{
    return {"exclusive lock of " + file, "write 6 to " + file, "cut " + file + " to " + count,
            "unlock " + file};
}

Steps rewriting(const std::string &file, const std::string &how, const std::string &count = "6")
{
    return Steps{"open " + file + how} + locked_write(file, count) + Steps{"close " + file};
}

Steps cutting(const std::string &file)
{
    return {"exclusive lock of " + file, "cut " + file + " to 6", "unlock " + file};
}

Steps shared_read(const std::string &file)
{
    return {"shared lock of " + file, "read 4096 from " + file, "unlock " + file};
}

constexpr char kToWrite[] = " to write";
constexpr char kCreating[] = " to write, creating 0666";
constexpr char kForBoth[] = " for both";

Steps writing_a()
{
    return steps_of([] { EXPECT_EQ(nvm_writenv("a", "value", 100), 0U); });
}

Steps reading_a(uint32_t result)
{
    return steps_of([=] {
        char buffer[100];
        EXPECT_EQ(nvm_readnv("a", buffer, sizeof(buffer)), result);
    });
}

// What a start-up does to the parameters, between opening the defaults file and closing it.
Steps repairing()
{
    const Steps before = kUmask + Steps{"open default.cfg as a stream", "make current folder 0666",
                                        "make backup folder 0666"};
    const Steps steps = steps_of([] { EXPECT_EQ(nvm_init(), 0U); });
    EXPECT_GT(steps.size(), before.size());
    EXPECT_TRUE(std::equal(before.begin(), before.end(), steps.begin()));
    EXPECT_EQ(steps.back(), "close default.cfg");
    return {steps.begin() + static_cast<ptrdiff_t>(before.size()), steps.end() - 1};
}

constexpr char kOther[] = "/2ndfile/other"; // a parameter file, in the steps "other"

} // namespace

using PersistentSteps = MadeStore;

// ---- Reading ----

TEST_F(PersistentSteps, reading_holds_a_shared_lock_of_the_whole_current_copy)
{
    put_both("a", "value");
    EXPECT_EQ(reading_a(0), reading("current a"));
}

TEST_F(PersistentSteps, reading_goes_on_to_the_backup)
{
    backup.put("a", stored("value"));
    EXPECT_EQ(reading_a(0), missing("current a", " to read") + reading("backup a"));
    current.put("a", "");
    EXPECT_EQ(reading_a(0), reading("current a") + reading("backup a"));
}

TEST_F(PersistentSteps, reading_opens_the_defaults_file_last_and_writes_nothing)
{
    const Steps expected =
        missing("current a", " to read") + missing("backup a", " to read") + kDefaults;
    EXPECT_EQ(reading_a(0), expected);
    declare("b=1=x\n");
    EXPECT_EQ(reading_a(1), expected);
    declare("broken\n");
    EXPECT_EQ(reading_a(5), expected);
}

TEST_F(PersistentSteps, too_long_current_value_ends_the_search)
{
    current.put("a", stored(std::string(100, 'v')));
    EXPECT_EQ(reading_a(2), reading("current a"));
}

TEST_F(PersistentSteps, refused_arguments_touch_no_file)
{
    char buffer[8];
    EXPECT_EQ(steps_of([&] {
                  nvm_readnv("b d", buffer, sizeof(buffer));
                  nvm_readnv(nullptr, buffer, sizeof(buffer));
                  nvm_readnv("a", nullptr, sizeof(buffer));
                  nvm_match("a", nullptr);
                  nvm_writenv("b d", "value", 6);
                  nvm_writenv(nullptr, "value", 6);
                  nvm_writenv("a", nullptr, 6);
                  nvm_writenv("a", "value", 5);
                  nvm_export(nullptr, 1, 1);
                  nvm_import(nullptr, 1, 1, 1);
              }),
              Steps(5, "umask 0000"));
}

// ---- Writing ----

TEST_F(PersistentSteps, writing_rewrites_the_current_copy_and_then_the_backup)
{
    put_both("a", "a much longer old value");
    EXPECT_EQ(writing_a(),
              kUmask + rewriting("current a", kToWrite) + rewriting("backup a", kCreating));
    expect_both("a", "value");
}

TEST_F(PersistentSteps, writing_begins_with_the_backup_when_that_is_the_only_copy)
{
    backup.put("a", stored("old"));
    EXPECT_EQ(writing_a(), kUmask + missing("current a", kToWrite) + rewriting("backup a", kToWrite) +
                               rewriting("current a", kCreating));
}

TEST_F(PersistentSteps, writing_for_the_first_time_asks_the_defaults_file)
{
    Steps steps = writing_a();
    // When it is closed again is of no account to others.
    std::erase(steps, "close default.cfg");
    EXPECT_EQ(steps, kUmask + missing("current a", kToWrite) + missing("backup a", kToWrite) +
                         Steps{"open default.cfg as a stream"} + rewriting("current a", kCreating) +
                         rewriting("backup a", kCreating));
}

TEST_F(PersistentSteps, writing_an_undeclared_parameter_creates_nothing)
{
    declare("");
    EXPECT_EQ(steps_of([] { EXPECT_EQ(nvm_writenv("a", "value", 6), 1U); }),
              kUmask + missing("current a", kToWrite) + missing("backup a", kToWrite) + kDefaults);
}

TEST_F(PersistentSteps, short_write_is_not_reported_and_each_copy_is_cut_to_what_was_written)
{
    put_both("a", "old value");
    g_file_steps.write_result = 3;
    EXPECT_EQ(writing_a(),
              kUmask + rewriting("current a", kToWrite, "3") + rewriting("backup a", kCreating, "3"));
    EXPECT_EQ(current.content("a"), "val");
    EXPECT_EQ(backup.content("a"), "val");
}

TEST_F(PersistentSteps, failed_locks_are_not_reported)
{
    put_both("a", "old");
    g_file_steps.locks_fail = true;
    EXPECT_EQ(writing_a(),
              kUmask + rewriting("current a", kToWrite) + rewriting("backup a", kCreating));
    expect_both("a", "value");
    EXPECT_EQ(reading_a(0), reading("current a"));
}

// ---- Start-up and shutdown ----

TEST_F(PersistentSteps, start_after_an_orderly_shutdown_only_removes_the_marker)
{
    EXPECT_EQ(steps_of([] { EXPECT_EQ(nvm_fin(), 0U); }), Steps{"make nvflage 0666"});
    EXPECT_EQ(steps_of([] { EXPECT_EQ(nvm_init(), 0U); }), kUmask + Steps{"remove nvflage"});
}

TEST_F(PersistentSteps, start_without_a_defaults_file_makes_no_folder)
{
    remove_defaults();
    EXPECT_EQ(steps_of([] { EXPECT_EQ(nvm_init(), 5U); }),
              kUmask + missing("default.cfg", " as a stream"));
}

TEST_F(PersistentSteps, repair_of_equal_copies_writes_neither)
{
    put_both("a", "value");
    EXPECT_EQ(repairing(), (Steps{"open current a for both"} + shared_read("current a") +
                            Steps{"open backup a for both, creating 0666"} + shared_read("backup a") +
                            Steps{"close backup a"} + cutting("current a") + Steps{"close current a"}));
}

TEST_F(PersistentSteps, repair_writes_the_backup_before_it_cuts_the_current_copy)
{
    current.put("a", stored("value") + "garbage");
    backup.put("a", stored("other and longer"));
    EXPECT_EQ(repairing(),
              (Steps{"open current a for both"} + shared_read("current a") +
               Steps{"open backup a for both, creating 0666"} + shared_read("backup a") +
               Steps{"exclusive lock of backup a", "seek backup a to 0", "write 6 to backup a",
                     "cut backup a to 6", "unlock backup a", "close backup a"} +
               cutting("current a") + Steps{"close current a"}));
    expect_both("a", "value");
}

TEST_F(PersistentSteps, mirrored_backup_is_cut_to_the_whole_value_also_after_a_short_write)
{
    current.put("a", stored("value"));
    backup.put("a", stored("other and longer"));
    g_file_steps.write_result = 3;
    const Steps steps = repairing();
    EXPECT_EQ(std::count(steps.begin(), steps.end(), "cut backup a to 6"), 1);
    EXPECT_EQ(backup.content("a"), "valer ");
}

TEST_F(PersistentSteps, repair_from_the_backup_writes_the_current_copy_before_it_cuts_the_backup)
{
    backup.put("a", stored("value") + "garbage");
    EXPECT_EQ(repairing(), (missing("current a", kForBoth) + Steps{"open backup a for both"} +
                            shared_read("backup a") + Steps{"open current a for both, creating 0666"} +
                            locked_write("current a") + cutting("backup a") +
                            Steps{"close current a", "close backup a"}));
    expect_both("a", "value");
}

TEST_F(PersistentSteps, empty_current_copy_is_closed_before_the_backup_is_opened)
{
    current.put("a", "");
    backup.put("a", stored("value"));
    const Steps steps = repairing();
    const Steps expected = Steps{"open current a for both"} + shared_read("current a") +
                           Steps{"close current a", "open backup a for both"};
    EXPECT_EQ(Steps(steps.begin(), steps.begin() + static_cast<ptrdiff_t>(expected.size())), expected);
}

TEST_F(PersistentSteps, default_goes_into_the_current_copy_and_then_into_the_backup)
{
    declare("a=1=value\n");
    EXPECT_EQ(repairing(), missing("current a", kForBoth) + missing("backup a", kForBoth) +
                               rewriting("current a", kCreating) + rewriting("backup a", kCreating));
}

// ---- Export and import ----

TEST_F(PersistentSteps, export_writes_a_placeholder_then_line_by_line_and_the_checksum_last)
{
    declare("a=1=value\n#\nb=2=left out\nc=3=a default\n");
    put_both("a", "value");
    EXPECT_EQ(steps_of([] { EXPECT_EQ(nvm_export(kOther, 1, 1), 0U); }),
              (Steps({"open other to write, creating 0666, truncating", "write 9 to other",
                      "open default.cfg as a stream"}) +
               reading("current a") + Steps{"write 10 to other"} + missing("current c", " to read") +
               missing("backup c", " to read") +
               Steps{"write 14 to other", "close default.cfg", "seek other to 0", "write 9 to other",
                     "close other"}));
}

TEST_F(PersistentSteps, export_without_a_checksum_writes_lines_alone)
{
    backup.put("a", stored("value"));
    EXPECT_EQ(
        steps_of([] { EXPECT_EQ(nvm_export(kOther, 1, 0), 0U); }),
        (Steps({"open other to write, creating 0666, truncating", "open default.cfg as a stream"}) +
         missing("current a", " to read") + reading("backup a") +
         Steps{"write 10 to other", "close default.cfg", "close other"}));
}

TEST_F(PersistentSteps, import_rewrites_the_current_copy_and_then_the_backup)
{
    put_both("a", "a much longer old value");
    write_text(kOther, with_checksum("a=1=value\n"));
    Steps steps = steps_of([] { EXPECT_EQ(nvm_import(kOther, 1, 1, 0), 0U); });
    std::erase(steps, "open default.cfg as a stream");
    std::erase(steps, "close default.cfg");
    EXPECT_EQ(steps, kUmask + Steps{"open other as a stream"} + rewriting("current a", kCreating) +
                         rewriting("backup a", kCreating) + Steps{"close other"});
}

TEST_F(PersistentSteps, import_reads_the_defaults_file_anew_for_every_parameter_line)
{
    write_text(kOther, "# comment\na=1=1\nundeclared=1=x\n\na=1=2\n");
    const Steps steps = steps_of([] { EXPECT_EQ(nvm_import(kOther, 0, 0, 0), 0U); });
    EXPECT_EQ(std::count(steps.begin(), steps.end(), "open default.cfg as a stream"), 3);
    EXPECT_EQ(std::count(steps.begin(), steps.end(), "close default.cfg"), 3);
}

TEST_F(PersistentSteps, refused_import_writes_nothing)
{
    write_text(kOther, "00000000\na=1=value\n");
    EXPECT_EQ(steps_of([] { EXPECT_EQ(nvm_import(kOther, 1, 1, 0), 3U); }),
              (kUmask + Steps{"open other as a stream", "close other"}));
}

TEST_F(PersistentSteps, reset_imports_the_defaults_file)
{
    declare("a=1=value\n");
    put_both("a", "old");
    const Steps reset = steps_of([] { EXPECT_EQ(nvm_routerreset(), 0U); });
    EXPECT_EQ(reset, (steps_of([] { EXPECT_EQ(nvm_import(NVM_DEFAULTS_FILE, 1, 0, 0), 0U); })));
    EXPECT_EQ(std::count(reset.begin(), reset.end(), "open default.cfg as a stream"), 2);
}

} // namespace persistent_steps_test
