// Each system call and stream operation of the persistent store fails once, or is cut short: its
// effect, call by call. In every case another parameter's files keep every byte, no descriptor stays
// open and the store remains usable.
#include "support/file_steps.h"
#include "support/persistent_store.h"

#include <algorithm>
#include <functional>

using namespace testing_support;

extern "C" {

char *fgets(char *buffer, int size, FILE *stream)
{
    const auto named = g_file_steps.streams.find(stream);
    if (named != g_file_steps.streams.end() && g_file_steps.note("line of " + named->second)) {
        return nullptr;
    }
    return next_definition<char *(char *, int, FILE *)>("fgets")(buffer, size, stream);
}

size_t fread(void *buffer, size_t size, size_t count, FILE *stream)
{
    const auto named = g_file_steps.streams.find(stream);
    if (named != g_file_steps.streams.end() && g_file_steps.note("bytes of " + named->second)) {
        return 0;
    }
    return next_definition<size_t(void *, size_t, size_t, FILE *)>("fread")(buffer, size, count,
                                                                            stream);
}

int fseek(FILE *stream, long offset, int whence)
{
    const auto named = g_file_steps.streams.find(stream);
    if (named != g_file_steps.streams.end() &&
        g_file_steps.note("seek " + named->second + " to " + std::to_string(offset))) {
        return -1;
    }
    return next_definition<int(FILE *, long, int)>("fseek")(stream, offset, whence);
}

int system(const char *command)
{
    if (g_file_steps.note(command)) {
        return -1;
    }
    return next_definition<int(const char *)>("system")(command);
}
}

namespace {

constexpr const char *kFile = "/2ndfile/file"; // that is exported to, imported, looked in
constexpr size_t kTaken = 3;                   // of a transfer that is cut short

// Content of a copy that is not there.
const std::string kNone = "(none)";

// What a call comes to: its result, with what it read or exported, and the copies of the parameter a.
struct Outcome {
    ReadResult result;
    std::string current;
    std::string backup;

    bool operator==(const Outcome &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Outcome &outcome)
{
    return out << outcome.result << ", current " << testing::PrintToString(outcome.current)
               << ", backup " << testing::PrintToString(outcome.backup);
}

// One step of a call and what comes of it when it fails, or transfers only kTaken bytes. A step without
// either cannot fail, or what it answers is not asked.
struct Fault {
    std::string step;
    std::optional<Outcome> failed = {};
    std::optional<Outcome> cut_short = {};
};

using Faults = std::vector<Fault>;

Faults operator+(Faults first, const Faults &second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// A call in one state of the store.
struct Scenario {
    std::string current = kNone;
    std::string backup = kNone;
    std::string defaults = "# comment\na=1=default\nb=2=other\n";
    std::function<ReadResult()> call;
    Outcome outcome; // when nothing fails
    Faults faults;   // every step, in order
};

// ---- Steps that many calls have ----

// Reading a copy. empty: what the call comes to when there is nothing to read.
Faults reading(const std::string &copy, const Outcome &normal, const Outcome &empty,
               const std::optional<Outcome> &cut_short)
{
    return {{"open " + copy + " a to read", empty},
            {"shared lock of " + copy + " a", normal},
            {"read 4096 from " + copy + " a", empty, cut_short},
            {"unlock " + copy + " a", normal},
            {"close " + copy + " a"}};
}

// Writing a value over what a copy holds. unopened: what the call comes to when the copy does not open;
// with: the same when it opened and now has this content.
Faults writing(const std::string &copy, const std::string &open, const std::string &old,
               const std::string &value, const Outcome &unopened,
               const std::function<Outcome(const std::string &content)> &with)
{
    const std::string before = old == kNone ? "" : old;
    const std::string after = stored(value);
    const std::string size = std::to_string(after.size());
    const std::string tail = before.size() > after.size() ? before.substr(after.size()) : "";
    return {{"open " + copy + " a " + open, unopened},
            {"exclusive lock of " + copy + " a", with(after)},
            {"write " + size + " to " + copy + " a", with(before), with(after.substr(0, kTaken))},
            {"cut " + copy + " a to " + size, with(after + tail)},
            {"unlock " + copy + " a", with(after)},
            {"close " + copy + " a"}};
}

const std::string kExisting = "to write";
const std::string kCreating = "to write, creating 0666";

// Writing a value into the current copy and then into the backup.
Faults writing_both(const std::string &current, const std::string &backup, const std::string &value,
                    const std::string &open_current = kCreating)
{
    const std::string after = stored(value);
    return writing("current", open_current, current, value, {found(""), current, after},
                   [=](const std::string &content) {
                       return Outcome{found(""), content, after};
                   }) +
           writing("backup", kCreating, backup, value, {found(""), after, backup},
                   [=](const std::string &content) {
                       return Outcome{found(""), after, content};
                   });
}

// Searching the defaults file for what stands in its n-th line. ended: what the call comes to when that
// line is not reached.
Faults searching(int lines, const Outcome &unopened, const Outcome &ended)
{
    Faults faults = {{"open default.cfg as a stream", unopened}};
    faults.resize(faults.size() + static_cast<size_t>(lines), {"line of default.cfg", ended});
    return faults;
}

const Faults kClosingDefaults = {{"close default.cfg"}};

class PersistentFaults : public MadeStore {
protected:
    void run(const Scenario &scenario)
    {
        prepare(scenario);
        g_file_steps.failing = 0;
        EXPECT_EQ(outcome_of(scenario), scenario.outcome);
        expect_steps(scenario.faults);
        for (size_t i = 0; i < scenario.faults.size(); ++i) {
            const Fault &fault = scenario.faults[i];
            if (fault.failed.has_value()) {
                run_fault(scenario, i, std::nullopt, *fault.failed);
            }
            if (fault.cut_short.has_value()) {
                run_fault(scenario, i, kTaken, *fault.cut_short);
            }
        }
    }

private:
    static void expect_steps(const Faults &faults)
    {
        Steps expected;
        for (const Fault &fault : faults) {
            expected.push_back(fault.step);
        }
        ASSERT_EQ(g_file_steps.steps, expected);
    }

    void prepare(const Scenario &scenario) const
    {
        declare(scenario.defaults);
        put_or_remove(current.file_of("a"), scenario.current);
        put_or_remove(backup.file_of("a"), scenario.backup);
        put_both("b", "untouched");
    }
    static void put_or_remove(const std::string &path, const std::string &content)
    {
        remove(path.c_str());
        if (content != kNone) {
            write_text(path, content);
        }
    }

    Outcome outcome_of(const Scenario &scenario) const
    {
        ReadResult result{};
        steps_of([&] { result = scenario.call(); });
        return {result, content_of(current), content_of(backup)};
    }
    static std::string content_of(const ParameterFolder &folder)
    {
        return folder.files().contains("a") ? folder.content("a") : kNone;
    }

    void run_fault(const Scenario &scenario, size_t step, std::optional<size_t> taken,
                   const Outcome &expected)
    {
        SCOPED_TRACE(std::to_string(step + 1) + ": " + scenario.faults[step].step +
                     (taken.has_value() ? " is cut short" : " fails"));
        prepare(scenario);
        const int descriptors = count_descriptors();
        g_file_steps.failing = step + 1;
        g_file_steps.taken = taken;
        const Outcome outcome = outcome_of(scenario);
        g_file_steps.failing = 0;
        EXPECT_EQ(outcome, expected);
        EXPECT_EQ(count_descriptors(), descriptors);
        EXPECT_EQ(read_text(NVM_DEFAULTS_FILE), scenario.defaults);
        expect_both("b", "untouched");
        expect_works_on();
    }

    void expect_works_on() const
    {
        EXPECT_EQ(write_nv("a", "afterwards"), 0U);
        expect_both("a", "afterwards");
        EXPECT_EQ(read_nv("a"), found("afterwards"));
        EXPECT_EQ(nvm_init(), 0U);
        EXPECT_EQ(read_nv("a"), found("afterwards"));
    }
};

// Calls whose whole result is a code.
ReadResult code(uint32_t result) { return {result, ""}; }

ReadResult write_a() { return code(nvm_writenv("a", "newer", 100)); }

} // namespace

// ---- nvm_readnv, nvm_match ----

TEST_F(PersistentFaults, reading_goes_on_to_the_backup)
{
    const std::string first = stored("first");
    const std::string second = stored("second");
    const Outcome normal{found("first"), first, second};
    run({.current = first,
         .backup = second,
         .call = [] { return read_nv("a"); },
         .outcome = normal,
         .faults = reading("current", normal, {found("second"), first, second},
                           Outcome{found("fi"), first, second})});
}

TEST_F(PersistentFaults, reading_the_backup_goes_on_to_the_default)
{
    const std::string second = stored("second");
    const Outcome normal{found("second"), "", second};
    run({.current = "",
         .backup = second,
         .call = [] { return read_nv("a"); },
         .outcome = normal,
         .faults = reading("current", normal, normal, normal) +
                   reading("backup", normal, {found("default"), "", second},
                           Outcome{found("se"), "", second})});
}

TEST_F(PersistentFaults, reading_the_default_fails_with_the_defaults_file)
{
    const Outcome normal{found("default"), kNone, kNone};
    run({.call = [] { return read_nv("a"); },
         .outcome = normal,
         .faults = Faults{{"open current a to read: fails", normal},
                          {"open backup a to read: fails", normal}} +
                   searching(2, {refused(5), kNone, kNone}, {refused(1), kNone, kNone}) +
                   kClosingDefaults});
}

TEST_F(PersistentFaults, matching_compares_what_reading_finds)
{
    const std::string first = stored("first");
    const std::string second = stored("second");
    const Outcome equal{code(0), first, second};
    const Outcome different{code(6), first, second};
    run({.current = first,
         .backup = second,
         .call = [] { return code(nvm_match("a", "first")); },
         .outcome = equal,
         .faults = reading("current", equal, different, different)});
}

TEST_F(PersistentFaults, matching_the_default_fails_with_the_defaults_file)
{
    const Outcome equal{code(0), kNone, kNone};
    const Outcome unreadable{code(5), kNone, kNone};
    run({.call = [] { return code(nvm_match("a", "default")); },
         .outcome = equal,
         .faults =
             Faults{{"open current a to read: fails", equal}, {"open backup a to read: fails", equal}} +
             searching(2, unreadable, unreadable) + kClosingDefaults});
}

// ---- nvm_writenv ----

TEST_F(PersistentFaults, writing_leaves_the_other_copy_with_the_new_value)
{
    const std::string old = stored("a longer old value");
    const std::string newer = stored("newer");
    // The current copy that does not open at first is written behind the backup.
    Faults faults = Faults{{"umask 0000"}} + writing_both(old, old, "newer", kExisting);
    faults[1].failed = {found(""), newer, newer};
    run({.current = old,
         .backup = old,
         .call = write_a,
         .outcome = {found(""), newer, newer},
         .faults = faults});
}

TEST_F(PersistentFaults, writing_where_only_the_backup_exists)
{
    const std::string old = stored("a longer old value");
    const std::string newer = stored("newer");
    const Outcome normal{found(""), newer, newer};
    run({.backup = old,
         .call = write_a,
         .outcome = normal,
         .faults = Faults{{"umask 0000"}, {"open current a to write: fails", normal}} +
                   // A backup that does not open is no reason not to write: the name is declared.
                   writing("backup", kExisting, old, "newer", normal,
                           [&](const std::string &content) {
                               return Outcome{found(""), newer, content};
                           }) +
                   writing("current", kCreating, kNone, "newer", {found(""), kNone, newer},
                           [&](const std::string &content) {
                               return Outcome{found(""), content, newer};
                           })});
}

TEST_F(PersistentFaults, writing_for_the_first_time_needs_the_defaults_file)
{
    const std::string newer = stored("newer");
    const Outcome normal{found(""), newer, newer};
    run({.call = write_a,
         .outcome = normal,
         .faults = Faults{{"umask 0000"},
                          {"open current a to write: fails", normal},
                          {"open backup a to write: fails", normal}} +
                   searching(2, {code(5), kNone, kNone}, {code(1), kNone, kNone}) +
                   writing_both(kNone, kNone, "newer") + kClosingDefaults});
}

// ---- nvm_init ----

namespace {

// Up to the line of the parameter a; unchanged: what the start comes to when nothing is repaired.
Faults starting(const Outcome &unchanged)
{
    const Outcome refused_start{code(5), unchanged.current, unchanged.backup};
    return {{"umask 0000"},
            {"open default.cfg as a stream", refused_start},
            {"make current folder 0666", refused_start},
            {"make backup folder 0666", refused_start},
            {"line of default.cfg", unchanged},
            {"line of default.cfg", unchanged}};
}

// Behind the parameter a.
Faults ending(const Outcome &normal)
{
    return {{"line of default.cfg", normal}, {"close default.cfg"}};
}

constexpr const char *kOnlyA = "# comment\na=1=default\n";

ReadResult start() { return code(nvm_init()); }

} // namespace

TEST_F(PersistentFaults, start_that_mirrors_the_current_copy)
{
    const std::string garbage = stored("first") + "garbage";
    const std::string first = stored("first");
    const std::string second = stored("second");
    const Outcome normal{code(0), first, first};
    const Outcome from_backup{code(0), second, second};
    const auto with_backup = [&](const std::string &content) {
        return Outcome{code(0), first, content};
    };
    run({.current = garbage,
         .backup = second,
         .defaults = kOnlyA,
         .call = start,
         .outcome = normal,
         .faults =
             starting({code(0), garbage, second}) +
             Faults{{"open current a for both", from_backup},
                    {"shared lock of current a", normal},
                    {"read 4096 from current a", from_backup, Outcome{code(0), "fir", stored("fi")}},
                    {"unlock current a", normal},
                    {"open backup a for both, creating 0666", from_backup},
                    {"shared lock of backup a", normal},
                    {"read 4096 from backup a", normal, normal},
                    {"unlock backup a", normal},
                    {"exclusive lock of backup a", normal},
                    // Written behind what was read, and cut to the length of what should be there.
                    {"seek backup a to 0", with_backup("second")},
                    {"write 6 to backup a", with_backup("second"), with_backup("firond")},
                    {"cut backup a to 6", with_backup(first + '\0')},
                    {"unlock backup a", normal},
                    {"close backup a"},
                    {"exclusive lock of current a", normal},
                    {"cut current a to 6", Outcome{code(0), garbage, first}},
                    {"unlock current a", normal},
                    {"close current a"}} +
             ending(normal)});
}

TEST_F(PersistentFaults, start_that_restores_the_current_copy)
{
    const std::string garbage = stored("second") + "garbage";
    const std::string second = stored("second");
    const Outcome normal{code(0), second, second};
    const Outcome from_default{code(0), stored("default"), stored("default")};
    const auto with_current = [&](const std::string &content) {
        return Outcome{code(0), content, second};
    };
    run({.backup = garbage,
         .defaults = kOnlyA,
         .call = start,
         .outcome = normal,
         .faults =
             starting({code(0), kNone, garbage}) +
             Faults{{"open current a for both: fails", normal},
                    {"open backup a for both", from_default},
                    {"shared lock of backup a", normal},
                    {"read 4096 from backup a", from_default, Outcome{code(0), stored("se"), "sec"}},
                    {"unlock backup a", normal},
                    {"open current a for both, creating 0666", from_default},
                    {"exclusive lock of current a", normal},
                    {"write 7 to current a", with_current(""), with_current("sec")},
                    {"cut current a to 7", normal},
                    {"unlock current a", normal},
                    {"exclusive lock of backup a", normal},
                    {"cut backup a to 7", Outcome{code(0), second, garbage}},
                    {"unlock backup a", normal},
                    {"close current a"},
                    {"close backup a"}} +
             ending(normal)});
}

TEST_F(PersistentFaults, start_that_fills_in_the_default)
{
    const std::string filled = stored("default");
    const Outcome normal{code(0), filled, filled};
    run({.defaults = kOnlyA,
         .call = start,
         .outcome = normal,
         .faults = starting({code(0), kNone, kNone}) +
                   Faults{{"open current a for both: fails", normal},
                          {"open backup a for both: fails", normal}} +
                   writing_both(kNone, kNone, "default") + ending(normal)});
}

TEST_F(PersistentFaults, start_that_goes_on_to_the_next_parameter)
{
    // What goes wrong with one parameter does not stop the repair of the next.
    declare("b=1=default\na=1=default\n");
    const auto start_with = [&](size_t failing) {
        for (const char *name : {"a", "b"}) {
            current.put(name, stored("first"));
            backup.put(name, stored("second"));
        }
        g_file_steps.failing = failing;
        return steps_of([] { EXPECT_EQ(nvm_init(), 0U); });
    };
    const Steps steps = start_with(0);
    const auto begins = std::find(steps.begin(), steps.end(), "open current b for both");
    const auto ends = std::find(begins, steps.end(), "close current b");
    ASSERT_GT(ends - begins, 10);
    for (auto step = begins; step != ends; ++step) {
        SCOPED_TRACE(*step);
        start_with(static_cast<size_t>(step - steps.begin()) + 1);
        expect_both("a", "first");
    }
}

TEST_F(PersistentFaults, start_after_an_orderly_shutdown)
{
    ASSERT_EQ(nvm_fin(), 0U);
    const Steps steps = {"umask 0000", "remove nvflage"};
    g_file_steps.failing = 2;
    EXPECT_EQ(steps_of([] { EXPECT_EQ(nvm_init(), 5U); }), steps);
    g_file_steps.failing = 0;
    EXPECT_EQ(steps_of([] { EXPECT_EQ(nvm_init(), 0U); }), steps);
    EXPECT_EQ(nvm_init(), 0U) << "the store is started without the marker too";
}

TEST_F(PersistentFaults, orderly_shutdown)
{
    g_file_steps.failing = 1;
    EXPECT_EQ(steps_of([] { EXPECT_EQ(nvm_fin(), 5U); }), Steps{"make nvflage 0666"});
    EXPECT_NE(access(NVM_SHUTDOWN_MARKER, F_OK), 0);
    g_file_steps.failing = 0;
    EXPECT_EQ(nvm_fin(), 0U);
    EXPECT_EQ(access(NVM_SHUTDOWN_MARKER, F_OK), 0);
}

TEST_F(PersistentFaults, clearing_does_the_other_folder_all_the_same)
{
    const Steps steps = {"rm " NVM_CURRENT_DIR "* 2> /dev/null", "rm " NVM_BACKUP_DIR "* 2> /dev/null"};
    for (const size_t failing : {1U, 2U}) {
        put_both("a", "value");
        g_file_steps.failing = failing;
        EXPECT_EQ(steps_of([] { EXPECT_EQ(nvm_clear(), 0U); }), steps);
        EXPECT_EQ(current.content("a"), failing == 1 ? stored("value") : "");
        EXPECT_EQ(backup.content("a"), failing == 2 ? stored("value") : "");
    }
}

// ---- nvm_parsefile ----

TEST_F(PersistentFaults, looking_a_parameter_up)
{
    write_text(kFile, with_checksum("b=1=x\na=1=y\n"));
    const Outcome normal{found("y"), kNone, kNone};
    const Outcome bad{refused(3), kNone, kNone};
    const Outcome missing{refused(1), kNone, kNone};
    run({.call =
             [] {
                 return read_with(100, [](char *buffer, uint32_t size) {
                     return nvm_parsefile(kFile, "a", buffer, size, 1);
                 });
             },
         .outcome = normal,
         .faults = {{"open file as a stream", bad},
                    {"bytes of file", bad},
                    {"bytes of file", bad},
                    {"bytes of file", normal}, // there are none left
                    {"seek file to 9", bad},
                    {"line of file", missing},
                    {"line of file", missing},
                    {"close file"}}});
}

// ---- nvm_export, nvm_import, nvm_routerreset ----

namespace {

// The result with what was exported.
ReadResult export_a()
{
    remove(kFile);
    const uint32_t result = nvm_export(kFile, 1, 1);
    g_file_steps.recording = false; // what follows is the test's own
    return {result, read_text(kFile)};
}

const std::string kPlaceholder(9, '\xFF');

} // namespace

TEST_F(PersistentFaults, exporting)
{
    const std::string first = stored("first");
    const std::string second = stored("second");
    const auto result = [&](const std::string &text, uint32_t code = 0) {
        return Outcome{{code, text}, first, second};
    };
    const std::string lines = "a=1=first\n";
    const std::string header = with_checksum(lines).substr(0, 9);
    const Outcome normal = result(header + lines);
    const Outcome nothing = result(with_checksum(""));
    run({.current = first,
         .backup = second,
         .call = export_a,
         .outcome = normal,
         .faults =
             Faults{{"open file to write, creating 0666, truncating", result("", 3)},
                    // What was not written first is missing in the end.
                    {"write 9 to file", result(header + lines.substr(9)),
                     result(header + lines.substr(9 - kTaken))},
                    {"open default.cfg as a stream", result(kPlaceholder, 5)},
                    {"line of default.cfg", nothing},
                    {"line of default.cfg", nothing}} +
             reading("current", normal, result(with_checksum("a=1=second\n")),
                     result(with_checksum("a=1=fi\n"))) +
             Faults{{"write 10 to file", result(header), result(header + lines.substr(0, kTaken))},
                    {"line of default.cfg", normal}, // b takes no part
                    {"line of default.cfg", normal},
                    {"close default.cfg"},
                    {"seek file to 0", result(kPlaceholder + lines, 3)},
                    {"write 9 to file", result(kPlaceholder + lines),
                     result(header.substr(0, kTaken) + kPlaceholder.substr(kTaken) + lines)},
                    {"close file"}}});
}

TEST_F(PersistentFaults, importing_with_checksum_and_identity)
{
    const std::string identity = "pri_version=4=1\nup_dev_sku=4=m\n";
    write_text(kFile, with_checksum(identity + "a=1=newer\n"));
    const std::string old = stored("a longer old value");
    const std::string newer = stored("newer");
    const Outcome normal{code(0), newer, newer};
    const Outcome nothing{code(0), old, old};
    const Outcome bad{code(3), old, old};
    const Outcome no_defaults{code(5), old, old};
    const Faults next_line_or_bad = {{"line of file", bad}};
    const Faults next_line_or_nothing = {{"line of file", nothing}};
    run({.current = old,
         .backup = old,
         .defaults = identity + "a=1=default\nb=2=other\n",
         .call = [] { return code(nvm_import(kFile, 1, 1, 1)); },
         .outcome = normal,
         .faults = Faults{{"umask 0000"},
                          {"open file as a stream", bad},
                          {"bytes of file", bad},
                          {"bytes of file", bad},
                          {"bytes of file", normal}, // there are none left
                          {"seek file to 9", bad}} +
                   // An identity that cannot be compared does not agree.
                   next_line_or_bad + searching(1, no_defaults, bad) + kClosingDefaults +
                   next_line_or_bad + searching(2, no_defaults, bad) + kClosingDefaults +
                   Faults{{"seek file to 9", bad}} +
                   // A line that ends too early ends the file; a name that is not found is ignored.
                   next_line_or_nothing + searching(1, no_defaults, normal) + kClosingDefaults +
                   next_line_or_nothing + searching(2, no_defaults, normal) + kClosingDefaults +
                   next_line_or_nothing + searching(3, no_defaults, nothing) +
                   writing_both(old, old, "newer") + kClosingDefaults +
                   Faults{{"line of file", normal}, {"close file"}}});
}

TEST_F(PersistentFaults, resetting)
{
    const std::string old = stored("a longer old value");
    const std::string reset = stored("default");
    const Outcome normal{code(0), reset, reset};
    const Outcome nothing{code(0), old, old};
    run({.current = old,
         .backup = old,
         .call = [] { return code(nvm_routerreset()); },
         .outcome = normal,
         .faults = Faults{{"umask 0000"},
                          {"open default.cfg as a stream", Outcome{code(3), old, old}},
                          {"line of default.cfg", nothing},
                          {"line of default.cfg", nothing}} +
                   searching(2, {code(5), old, old}, nothing) + writing_both(old, old, "default") +
                   kClosingDefaults + Faults{{"line of default.cfg", normal}} +
                   searching(3, {code(5), reset, reset}, normal) + kClosingDefaults +
                   Faults{{"line of default.cfg", normal}, {"close default.cfg"}}});
}

TEST_F(PersistentFaults, defaults_that_cannot_be_read_are_malformed)
{
    // A folder opens as a stream, but gives an error instead of bytes.
    remove_defaults();
    ASSERT_EQ(mkdir(NVM_DEFAULTS_FILE, 0755), 0);
    put_both("b", "value");
    EXPECT_EQ(nvm_init(), 5U);
    EXPECT_EQ(read_nv("a"), refused(5));
    EXPECT_EQ(write_nv("a", "value"), 5U);
    EXPECT_EQ(read_nv("b"), found("value"));
    EXPECT_EQ(nvm_export("/tmp/export", ~0U, 0), 5U);
    EXPECT_EQ(nvm_routerreset(), 3U);
}
