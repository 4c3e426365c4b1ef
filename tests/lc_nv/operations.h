// The system calls of each operation of the stores, in order, with the outcome when the call fails or
// is cut short and the value of the parameter when the process dies there. operations_test.cpp tests
// all three.
#pragma once

#include "support/file_steps.h"
#include "support/nv_recovery.h"
#include "support/persistent_store.h"

#include <functional>
#include <optional>

namespace operations {

using namespace testing_support;

constexpr const char *kFile = "/2ndfile/file"; // that is exported to, imported, looked in
constexpr size_t kTaken = 3;                   // of a transfer that is cut short
constexpr const char *kDefault = "default";
const std::string kNone = "(none)"; // content of a copy that is not there

// The parameter a takes part with the mask 1, b and c do not.
const std::string kDefaults = "# comment\nb=2=other\na=1=default\nc=4=other\n";
constexpr int kLineOfA = 3, kLineOfB = 2, kLineOfC = 4, kEndOfDefaults = 5;
const std::string kOnlyA = "# comment\na=1=default\n";

inline std::string content_of(const std::string &copy) { return copy == kNone ? "" : copy; }

// The result of an operation, with what it read or exported, and the copies of the parameter a
// afterwards.
struct Outcome {
    ReadResult result;
    std::string current;
    std::string backup = kNone; // the volatile store has none

    bool operator==(const Outcome &) const = default;
};

inline std::ostream &operator<<(std::ostream &out, const Outcome &outcome)
{
    return out << outcome.result << ", current " << testing::PrintToString(outcome.current)
               << ", backup " << testing::PrintToString(outcome.backup);
}

// The value of the parameter when the process has died and the store was started again.
enum class Fate {
    kOld,  // the value before; the default when there was none
    kNew,  // the value that is written
    kTorn, // what the unfinished write left in the file
};

// A call without an outcome cannot fail, or its result is not used.
struct Step {
    std::string call;
    std::optional<Outcome> failed = {};
    std::optional<Outcome> cut_short = {}; // to kTaken bytes
    Fate before = Fate::kOld;              // the value when the process dies before the call
    Fate within = Fate::kOld;              // when it dies inside, if the call is a write
    const char *reason = "";               // why the value is lost inside
};

using Sequence = std::vector<Step>;

inline Sequence operator+(Sequence first, const Sequence &second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// An operation in one state of the store.
struct Operation {
    std::string name;
    std::string current = kNone;
    std::string backup = kNone;
    std::string newer = {}; // the value that is written; for a start-up the one that it keeps
    std::string defaults = kDefaults;
    std::string imported = {};
    bool marked = false; // the last run ended in order
    std::function<ReadResult()> call = {};
    Outcome outcome = {}; // when nothing fails
    Sequence steps = {};
    Fate end = Fate::kOld;
};

// An operation as the parameter of a test: each test's process registers all of them, and copying them
// took longer than most tests.
struct Row {
    const Operation *operation;
};

inline void PrintTo(const Row &row, std::ostream *out) { *out << row.operation->name; }

inline std::vector<Row> rows_of(const std::vector<Operation> &operations)
{
    std::vector<Row> rows;
    for (const Operation &operation : operations) {
        rows.push_back({&operation});
    }
    return rows;
}

// ---- Steps that many operations have ----

inline ReadResult code(uint32_t result) { return {result, ""}; }

// The same calls where each has this outcome.
inline Sequence all_of(Sequence steps, const std::optional<Outcome> &failed, Fate fate)
{
    for (Step &step : steps) {
        step.failed = failed;
        step.cut_short = std::nullopt;
        step.before = step.within = fate;
    }
    return steps;
}

inline Sequence closing(const std::string &file, Fate fate = Fate::kOld)
{
    return {{.call = "close " + file, .before = fate}};
}

// Reading an open file. empty: when there is nothing to read; part: when only the beginning is read.
inline Sequence taking_in(const std::string &file, const Outcome &normal, const Outcome &empty,
                          const std::optional<Outcome> &part)
{
    return {{"shared lock of " + file, normal},
            {"read 4096 from " + file, empty, part},
            {"unlock " + file, normal}};
}

inline Sequence reading(const std::string &file, const Outcome &normal, const Outcome &empty,
                        const std::optional<Outcome> &part)
{
    return Sequence{{"open " + file + " to read", empty}} + taking_in(file, normal, empty, part) +
           closing(file);
}

inline Sequence not_opening(const std::vector<std::string> &files, const std::string &how,
                            const Outcome &normal)
{
    Sequence steps;
    for (const std::string &file : files) {
        steps.push_back({"open " + file + how + ": fails", normal});
    }
    return steps;
}

// Searching the defaults file for what stands in its n-th line. ended: when that line is not reached.
inline Sequence searching(int lines, const Outcome &unopened, const Outcome &ended,
                          Fate fate = Fate::kOld)
{
    Sequence steps(static_cast<size_t>(lines) + 1, {"line of default.cfg", ended, {}, fate});
    steps.front() = {"open default.cfg as a stream", unopened, {}, fate};
    return steps;
}

constexpr const char *kExisting = " to write";
constexpr const char *kCreating = " to write, creating 0666";
constexpr const char *kForBoth = " for both";
constexpr const char *kMirrored = " for both, creating 0666";

// The bytes of a file whose first bytes are written over.
inline std::string overwritten(const std::string &file, const std::string &bytes)
{
    return bytes + (file.size() > bytes.size() ? file.substr(bytes.size()) : "");
}

// A value and the file that it is written into.
struct Writing {
    std::string file;
    std::string old; // what it holds
    std::string value;
    std::function<Outcome(const std::string &content)> with; // the outcome with this in the file
    Fate before, within, after;
    const char *reason = "";
};

// From the lock on to its end.
inline Sequence filling(const Writing &writing)
{
    const auto &[file, old, value, with, before, within, after, reason] = writing;
    const std::string bytes = content_of(old);
    const std::string whole = stored(value);
    const std::string size = std::to_string(whole.size());
    return {{"exclusive lock of " + file, with(whole), {}, before},
            {"write " + size + " to " + file, with(bytes), with(whole.substr(0, kTaken)), before,
             within, reason},
            {"cut " + file + " to " + size, with(overwritten(bytes, whole)), {}, after},
            {"unlock " + file, with(whole), {}, after}};
}

inline Sequence rewriting(const std::string &how, const Outcome &unopened, const Writing &writing)
{
    return Sequence{{"open " + writing.file + how, unopened, {}, writing.before}} + filling(writing) +
           closing(writing.file, writing.after);
}

constexpr const char *kCurrentCounts = "an incomplete current copy counts all the same";
constexpr const char *kOnlyCopy = "there is no other copy";

// The current copy and then the backup: the value is lost only inside the first write.
inline Sequence rewriting_both(const std::string &current, const std::string &backup,
                               const std::string &value, const char *how_current = kCreating,
                               Fate after = Fate::kNew)
{
    const std::string whole = stored(value);
    return rewriting(how_current, {code(0), current, whole},
                     {"current a", current, value,
                      [=](const std::string &content) {
                          return Outcome{code(0), content, whole};
                      },
                      Fate::kOld, Fate::kTorn, after, kCurrentCounts}) +
           rewriting(kCreating, {code(0), whole, backup},
                     {"backup a", backup, value,
                      [=](const std::string &content) {
                          return Outcome{code(0), whole, content};
                      },
                      after, after, after});
}

// ---- nvm_readnv, nvm_match ----

inline std::vector<Operation> reading_operations()
{
    const std::string first = stored("first"), second = stored("second"), big(100, 'v');
    const auto with = [](const std::string &current, const std::string &backup) {
        return [=](const ReadResult &result) { return Outcome{result, current, backup}; };
    };
    const auto read = [] {
        return read_with(100,
                         [](char *buffer, uint32_t size) { return nvm_readnv("a", buffer, size); });
    };
    const auto match = [](const char *value) {
        return [value] { return code(nvm_match("a", value)); };
    };
    const auto search = [](const Outcome &normal, const Outcome &unopened, const Outcome &ended) {
        return not_opening({"current a", "backup a"}, " to read", normal) +
               searching(kLineOfA, unopened, ended) + closing("default.cfg");
    };
    const auto both = with(first, second), backup = with("", second), none = with(kNone, kNone),
               long_one = with(stored(big), second);
    return {
        {.name = "reading_goes_on_to_the_backup",
         .current = first,
         .backup = second,
         .call = read,
         .outcome = both(found("first")),
         .steps = reading("current a", both(found("first")), both(found("second")), both(found("fi")))},
        {.name = "reading_a_value_for_which_there_is_no_room",
         .current = stored(big),
         .backup = second,
         .call = read,
         .outcome = long_one(refused(2)),
         .steps = reading("current a", long_one(refused(2)), long_one(found("second")),
                          long_one(found("vv")))},
        {.name = "reading_the_backup_goes_on_to_the_default",
         .current = "",
         .backup = second,
         .call = read,
         .outcome = backup(found("second")),
         .steps = reading("current a", backup(found("second")), backup(found("second")),
                          backup(found("second"))) +
                  reading("backup a", backup(found("second")), backup(found("default")),
                          backup(found("se")))},
        {.name = "reading_the_default",
         .call = read,
         .outcome = none(found("default")),
         .steps = search(none(found("default")), none(refused(5)), none(refused(1)))},
        {.name = "matching",
         .current = first,
         .backup = second,
         .call = match("first"),
         .outcome = both(code(0)),
         .steps = reading("current a", both(code(0)), both(code(6)), both(code(6)))},
        {.name = "matching_the_default",
         .call = match("default"),
         .outcome = none(code(0)),
         .steps = search(none(code(0)), none(code(5)), none(code(5)))}};
}

// ---- Values that are written, and those that they replace ----

const std::string kLonger(12, 'o');
const std::string kShorter = "oo";
const std::string kNewer = "nnnnn";
const std::string kEqual(kNewer.size(), 'o');
const std::string kOverLong(5000, 'o');
const std::string kLong(NV_VALUE_MAX, 'n');

// ---- nvm_writenv ----

// current, backup: what the copies hold.
inline Operation writing(const std::string &name, const std::string &current, const std::string &backup,
                         const std::string &newer = kNewer)
{
    const std::string whole = stored(newer);
    const Outcome done{code(0), whole, whole};
    Sequence steps = {{"umask 0000"}};
    if (current != kNone) {
        steps = steps + rewriting_both(current, backup, newer, kExisting);
        steps[1].failed = done; // it is written behind the backup then
    } else if (backup != kNone) {
        // A backup that does not open is no reason not to write: the name is declared.
        steps = steps + not_opening({"current a"}, kExisting, done) +
                rewriting(kExisting, done,
                          {"backup a", backup, newer,
                           [=](const std::string &content) {
                               return Outcome{code(0), whole, content};
                           },
                           Fate::kOld, Fate::kTorn, Fate::kNew, kOnlyCopy}) +
                rewriting(kCreating, {code(0), kNone, whole},
                          {"current a", kNone, newer,
                           [=](const std::string &content) {
                               return Outcome{code(0), content, whole};
                           },
                           Fate::kNew, Fate::kTorn, Fate::kNew, kCurrentCounts});
    } else {
        steps = steps + not_opening({"current a", "backup a"}, kExisting, done) +
                searching(kLineOfA, {code(5), kNone, kNone}, {code(1), kNone, kNone}) +
                rewriting_both(kNone, kNone, newer) + closing("default.cfg", Fate::kNew);
    }
    return {.name = name,
            .current = current,
            .backup = backup,
            .newer = newer,
            .call = [newer] { return code(nvm_writenv("a", newer.c_str(), 10000)); },
            .outcome = done,
            .steps = steps,
            .end = Fate::kNew};
}

inline Operation writing_over(const std::string &name, const std::string &value,
                              const std::string &newer = kNewer)
{
    return writing(name, stored(value), stored(value), newer);
}

inline std::vector<Operation> writing_operations()
{
    return {
        writing_over("writing_over_a_longer_value", kLonger),
        writing_over("writing_over_a_shorter_value", kShorter),
        writing_over("writing_over_a_value_of_the_same_length", kEqual),
        writing_over("writing_over_an_empty_value", ""),
        writing_over("writing_over_a_value_of_more_than_one_read", kOverLong),
        writing("writing_over_an_empty_backup", stored(kOverLong), ""),
        writing_over("writing_a_long_value_over_a_short_one", kShorter, kLong),
        writing_over("writing_a_long_value_over_one_of_more_than_one_read", kOverLong, kLong),
        writing_over("writing_a_value_of_more_than_one_read", kLonger,
                     std::string(kOverLong.size(), 'n')),
        writing("writing_for_the_first_time", kNone, kNone),
        writing("writing_without_a_backup", stored(kLonger), kNone),
        writing("writing_without_a_current_copy", kNone, stored(kLonger)),
        writing("writing_without_a_current_copy_over_a_shorter_value", kNone, stored(kShorter)),
        writing("writing_without_a_current_copy_over_a_value_of_the_same_length", kNone,
                stored(kEqual)),
        writing("writing_over_an_empty_current_copy", "", stored(kLonger)),
    };
}

// ---- nvm_import, nvm_routerreset ----

inline Operation importing(const std::string &name, const std::string &current,
                           const std::string &backup, const std::string &newer = kNewer)
{
    const std::string whole = stored(newer);
    const Outcome done{code(0), whole, whole}, nothing{code(0), current, backup};
    return {.name = name,
            .current = current,
            .backup = backup,
            .newer = newer,
            .imported = "a=1=" + newer + "\n",
            .call = [] { return code(nvm_import(kFile, 5, 0, 0)); },
            .outcome = done,
            .steps = Sequence{{"umask 0000"},
                              {"open file as a stream", Outcome{code(3), current, backup}},
                              {"line of file", nothing}} +
                     searching(kLineOfA, {code(5), current, backup}, nothing) +
                     rewriting_both(current, backup, newer) + closing("default.cfg", Fate::kNew) +
                     Sequence{{"line of file", done, {}, Fate::kNew}} + closing("file", Fate::kNew),
            .end = Fate::kNew};
}

inline Operation importing_over(const std::string &name, const std::string &value,
                                const std::string &newer = kNewer)
{
    return importing(name, stored(value), stored(value), newer);
}

// A line before and a line behind that are for the parameter c, and lines for nobody.
inline Operation importing_lines()
{
    Operation operation = importing_over("importing_a_line_before_and_a_line_behind", kLonger);
    const Outcome done = operation.outcome;
    const auto line = [](uint32_t result, const Outcome &copies) {
        return Outcome{code(result), copies.current, copies.backup};
    };
    // before: what the copies of a hold until then.
    const auto of_nobody = [&](const Outcome &before, Fate fate) {
        return Sequence{{"line of file", line(0, before), {}, fate}, // the comment
                        {"line of file", line(0, before), {}, fate}, // the empty line
                        {"line of file", line(0, before), {}, fate}} +
               searching(kEndOfDefaults, line(5, before), done, fate) + closing("default.cfg", fate);
    };
    const auto of_c = [&](const Outcome &before, Fate fate) {
        Sequence writing = all_of(rewriting_both(kNone, kNone, kNewer), done, fate);
        for (Step &step : writing) {
            step.call.replace(step.call.find(" a") + 1, 1, "c");
        }
        return Sequence{{"line of file", line(0, before), {}, fate}} +
               searching(kLineOfC, line(5, before), done, fate) + writing +
               closing("default.cfg", fate);
    };
    const Outcome old{code(0), operation.current, operation.backup};
    const Sequence &one = operation.steps;
    const auto begins = one.begin() + 2, ends = one.end() - 2; // behind opening the file; its end
    operation.imported = "# comment\n\nundeclared=1=x\nc=1=nnnnn\na=1=nnnnn\nc=1=nnnnn\n";
    operation.steps = Sequence(one.begin(), begins) + of_nobody(old, Fate::kOld) +
                      of_c(old, Fate::kOld) + Sequence(begins, ends) + of_c(done, Fate::kNew) +
                      Sequence(ends, one.end());
    return operation;
}

// With the checksum and the identity demanded.
inline Operation importing_what_was_exported()
{
    const std::string identity = "pri_version=4=1\nup_dev_sku=4=m\n";
    Operation operation =
        importing_over("importing_with_checksum_and_identity", "a longer old value", "newer");
    operation.defaults = identity + "a=1=default\nb=2=other\n";
    operation.imported = with_checksum(identity + "a=1=newer\n");
    operation.call = [] { return code(nvm_import(kFile, 1, 1, 1)); };
    const std::string &old = operation.current;
    const Outcome done = operation.outcome, nothing{code(0), old, old}, bad{code(3), old, old},
                  no_defaults{code(5), old, old};
    const auto line = [&](int number, const Outcome &unread, const Outcome &ended) {
        return Sequence{{"line of file", unread}} + searching(number, no_defaults, ended);
    };
    operation.steps =
        Sequence{{"umask 0000"},         {"open file as a stream", bad}, {"bytes of file", bad},
                 {"bytes of file", bad}, {"bytes of file", done}, // there are none left
                 {"seek file to 9", bad}} +
        // An identity that cannot be compared does not agree.
        line(1, bad, bad) + closing("default.cfg") + line(2, bad, bad) + closing("default.cfg") +
        Sequence{{"seek file to 9", bad}} +
        // A line that ends too early ends the file; a name that is not found is ignored.
        line(1, nothing, done) + closing("default.cfg") + line(2, nothing, done) +
        closing("default.cfg") + line(3, nothing, nothing) + rewriting_both(old, old, "newer") +
        closing("default.cfg", Fate::kNew) + Sequence{{"line of file", done, {}, Fate::kNew}} +
        closing("file", Fate::kNew);
    return operation;
}

// An import of the defaults file into itself. copy: what both copies hold.
inline Operation resetting(const std::string &name, const std::string &copy,
                           uint32_t (*reset)() = nvm_routerreset)
{
    const std::string whole = stored(kDefault);
    const Outcome done{code(0), whole, whole}, nothing{code(0), copy, copy},
        no_defaults{code(5), copy, copy};
    const auto line = [](const Outcome &unread, Fate fate = Fate::kOld) {
        return Sequence{{"line of default.cfg", unread, {}, fate}};
    };
    return {.name = name,
            .current = copy,
            .backup = copy,
            .newer = kDefault,
            .call = [reset] { return code(reset()); },
            .outcome = done,
            .steps = Sequence{{"umask 0000"},
                              {"open default.cfg as a stream", Outcome{code(3), copy, copy}}} +
                     line(nothing) + line(nothing) + searching(kLineOfB, no_defaults, done) +
                     closing("default.cfg") + line(nothing) +
                     searching(kLineOfA, no_defaults, nothing) + rewriting_both(copy, copy, kDefault) +
                     closing("default.cfg", Fate::kNew) + line(done, Fate::kNew) +
                     searching(kLineOfC, {code(5), whole, whole}, done, Fate::kNew) +
                     closing("default.cfg", Fate::kNew) + line(done, Fate::kNew) +
                     closing("default.cfg", Fate::kNew),
            .end = Fate::kNew};
}

inline std::vector<Operation> importing_operations()
{
    return {
        importing_over("importing_over_a_longer_value", kLonger),
        importing_over("importing_over_a_shorter_value", kShorter),
        importing_over("importing_over_a_value_of_the_same_length", kEqual),
        importing_over("importing_over_a_value_of_more_than_one_read", kOverLong),
        importing_over("importing_a_long_value", kShorter, kLong),
        importing("importing_for_the_first_time", kNone, kNone),
        importing("importing_without_a_current_copy", kNone, stored(kLonger)),
        importing_lines(),
        importing_what_was_exported(),
        resetting("resetting_a_longer_value", stored(kLonger)),
        resetting("resetting_a_shorter_value", stored(kShorter)),
        resetting("resetting_a_value_of_the_same_length", stored(std::string(7, 'o'))),
        resetting("resetting_a_value_of_more_than_one_read", stored(kOverLong)),
        resetting("resetting_what_was_never_written", kNone),
        resetting("importing_the_defaults_file", stored(kLonger),
                  [] { return nvm_import(NVM_DEFAULTS_FILE, 1, 0, 0); }),
    };
}

// ---- nvm_export, nvm_parsefile ----

// The result with what was exported.
inline ReadResult export_to_file(uint32_t mask, int with_header)
{
    remove(kFile);
    const uint32_t result = nvm_export(kFile, mask, with_header);
    g_file_steps.recording = false; // what follows is the test's own
    return {result, read_text(kFile)};
}

inline Operation exporting()
{
    const std::string first = stored("first"), second = stored("second");
    const auto result = [&](const std::string &text, uint32_t number = 0) {
        return Outcome{{number, text}, first, second};
    };
    const std::string placeholder(9, '\xFF'), line_a = "a=1=first\n", line_c = "c=4=other\n",
                                              lines = line_a + line_c,
                                              header = with_checksum(lines).substr(0, 9);
    const Outcome normal = result(header + lines), nothing = result(with_checksum("")),
                  only_a = result(with_checksum(line_a));
    return {.name = "exporting",
            .current = first,
            .backup = second,
            .call = [] { return export_to_file(5, 1); },
            .outcome = normal,
            .steps = Sequence{{"open file to write, creating 0666, truncating", result("", 3)},
                              // What was not written first is missing in the end.
                              {"write 9 to file", result(header + lines.substr(9)),
                               result(header + lines.substr(9 - kTaken))}} +
                     searching(kLineOfA, result(placeholder, 5), nothing) +
                     reading("current a", normal, result(with_checksum("a=1=second\n" + line_c)),
                             result(with_checksum("a=1=fi\n" + line_c))) +
                     Sequence{{"write 10 to file", result(header + line_c),
                               result(header + line_a.substr(0, kTaken) + line_c)},
                              {"line of default.cfg", only_a}} +
                     not_opening({"current c", "backup c"}, " to read", normal) +
                     Sequence{{"write 10 to file", result(header + line_a),
                               result(header + line_a + line_c.substr(0, kTaken))},
                              {"line of default.cfg", normal}} +
                     closing("default.cfg") +
                     Sequence{{"seek file to 0", result(placeholder + lines, 3)},
                              {"write 9 to file", result(placeholder + lines),
                               result(header.substr(0, kTaken) + placeholder.substr(kTaken) + lines)}} +
                     closing("file")};
}

// b and c take no part.
inline Operation exporting_without_a_checksum()
{
    const std::string value = stored("value");
    const auto result = [&](const std::string &text, uint32_t number = 0) {
        return Outcome{{number, text}, kNone, value};
    };
    const Outcome normal = result("a=1=value\n");
    return {.name = "exporting_without_a_checksum",
            .backup = value,
            .call = [] { return export_to_file(1, 0); },
            .outcome = normal,
            .steps = Sequence{{"open file to write, creating 0666, truncating", result("", 3)}} +
                     searching(kLineOfA, result("", 5), result("")) +
                     not_opening({"current a"}, " to read", normal) +
                     reading("backup a", normal, result("a=1=default\n"), result("a=1=va\n")) +
                     Sequence{{"write 10 to file", result(""), result("a=1")},
                              {"line of default.cfg", normal},
                              {"line of default.cfg", normal}} +
                     closing("default.cfg") + closing("file")};
}

inline Operation looking_a_parameter_up()
{
    const auto result = [](const ReadResult &read) { return Outcome{read, kNone, kNone}; };
    const Outcome normal = result(found("y")), bad = result(refused(3)), missing = result(refused(1));
    return {.name = "looking_a_parameter_up",
            .imported = with_checksum("b=1=x\na=1=y\n"),
            .call =
                [] {
                    return read_with(100, [](char *buffer, uint32_t size) {
                        return nvm_parsefile(kFile, "a", buffer, size, 1);
                    });
                },
            .outcome = normal,
            .steps = Sequence{{"open file as a stream", bad},
                              {"bytes of file", bad},
                              {"bytes of file", bad},
                              {"bytes of file", normal}, // there are none left
                              {"seek file to 9", bad},
                              {"line of file", missing},
                              {"line of file", missing}} +
                     closing("file")};
}

// ---- nvm_init, nvm_fin ----

// From opening the current copy, which is there, to closing it.
inline Sequence mirroring(const std::string &current, const std::string &backup, const Outcome &normal,
                          const std::function<Outcome(std::string, std::string)> &repaired_from)
{
    const std::string whole = normal.backup.substr(0, kNvOneRead);
    const std::string size = std::to_string(whole.size());
    const std::string seen = content_of(backup).substr(0, kNvOneRead);
    const Outcome from_backup = repaired_from("", backup);
    const auto with_backup = [&](const std::string &content) {
        std::string cut = content;
        cut.resize(whole.size());
        return Outcome{code(0), normal.current, cut};
    };
    Sequence steps =
        Sequence{{"open current a for both", from_backup}} +
        taking_in("current a", normal, from_backup, repaired_from(current.substr(0, kTaken), backup)) +
        Sequence{{"open backup a for both, creating 0666", from_backup}} +
        taking_in("backup a", normal, normal, normal);
    if (seen != whole) {
        steps = steps +
                Sequence{{"exclusive lock of backup a", normal},
                         // Written behind what was read, and cut to the length of what should be there.
                         {"seek backup a to 0", with_backup(seen + whole)},
                         {"write " + size + " to backup a", with_backup(content_of(backup)),
                          with_backup(overwritten(content_of(backup), whole.substr(0, kTaken)))},
                         {"cut backup a to " + size,
                          Outcome{code(0), normal.current, overwritten(content_of(backup), whole)}},
                         {"unlock backup a", normal}};
    }
    return steps + closing("backup a") +
           Sequence{{"exclusive lock of current a", normal},
                    {"cut current a to " + size, Outcome{code(0), current, normal.backup}},
                    {"unlock current a", normal}} +
           closing("current a");
}

// Looking at a copy in which nothing is found.
inline Sequence finding_nothing(const std::string &file, const std::string &copy, const Outcome &normal)
{
    return copy == kNone ? not_opening({file}, kForBoth, normal)
                         : Sequence{{"open " + file + kForBoth, normal}} +
                               taking_in(file, normal, normal, {}) + closing(file);
}

inline Sequence restoring(const std::string &current, const std::string &backup, const Outcome &normal,
                          const std::function<Outcome(std::string, std::string)> &repaired_from)
{
    const Outcome from_default = repaired_from("", "");
    const std::string size = std::to_string(normal.current.size());
    return finding_nothing("current a", current, normal) +
           Sequence{{"open backup a for both", from_default}} +
           taking_in("backup a", normal, from_default, repaired_from("", backup.substr(0, kTaken))) +
           Sequence{{"open current a for both, creating 0666", from_default}} +
           filling({"current a", kNone, text_of(normal.current),
                    [&](const std::string &content) {
                        return Outcome{code(0), content, normal.backup};
                    },
                    Fate::kOld, Fate::kTorn, Fate::kOld, kCurrentCounts}) +
           Sequence{{"exclusive lock of backup a", normal},
                    {"cut backup a to " + size, Outcome{code(0), normal.current, backup}},
                    {"unlock backup a", normal}} +
           closing("current a") + closing("backup a");
}

inline Operation starting(const std::string &name, const std::string &current,
                          const std::string &backup)
{
    const std::string value = recovered(content_of(current), content_of(backup), kDefault);
    const auto repaired_from = [](const std::string &from_current, const std::string &from_backup) {
        const NvCopyContents copies =
            repaired(content_of(from_current), content_of(from_backup), kDefault);
        return Outcome{code(0), copies.current, copies.backup};
    };
    const Outcome normal = repaired_from(current, backup), unchanged{code(0), current, backup},
                  not_started{code(5), current, backup};
    const Sequence repairing =
        !content_of(current).empty() ? mirroring(current, backup, normal, repaired_from)
        : !content_of(backup).empty()
            ? restoring(current, backup, normal, repaired_from)
            : finding_nothing("current a", current, normal) +
                  finding_nothing("backup a", backup, normal) +
                  rewriting_both(current, backup, kDefault, kCreating, Fate::kOld);
    return {.name = name,
            .current = current,
            .backup = backup,
            .newer = value,
            .defaults = kOnlyA,
            .call = [] { return code(nvm_init()); },
            .outcome = normal,
            .steps = Sequence{{"umask 0000"},
                              {"open default.cfg as a stream", not_started},
                              {"make current folder 0666", not_started},
                              {"make backup folder 0666", not_started},
                              {"line of default.cfg", unchanged},
                              {"line of default.cfg", unchanged}} +
                     repairing + Sequence{{"line of default.cfg", normal}} + closing("default.cfg")};
}

// Of a store with equal copies, which stay as they are.
inline Operation orderly(const std::string &name, const Sequence &steps, uint32_t (*call)(),
                         bool marked)
{
    const std::string copy = stored(kEqual);
    const Outcome done{code(0), copy, copy}, failed{code(5), copy, copy};
    Sequence all = steps;
    all.back().failed = failed;
    return {.name = name,
            .current = copy,
            .backup = copy,
            .newer = kEqual,
            .defaults = kOnlyA,
            .marked = marked,
            .call = [call] { return code(call()); },
            .outcome = done,
            .steps = all};
}

inline std::vector<Operation> starting_operations()
{
    const std::string equal = stored(kEqual), garbage = equal + "garbage",
                      over_long = stored(kOverLong);
    return {
        starting("starting_with_equal_copies", equal, equal),
        starting("starting_with_a_longer_backup", equal, stored(kLonger)),
        starting("starting_with_a_shorter_backup", equal, stored(kShorter)),
        starting("starting_with_a_backup_of_the_same_length", equal, stored(kNewer)),
        starting("starting_with_a_backup_of_more_than_one_read", equal, over_long),
        starting("starting_without_a_backup", equal, kNone),
        starting("starting_with_an_empty_backup", equal, ""),
        starting("starting_with_bytes_behind_the_value", garbage, garbage),
        starting("starting_with_bytes_behind_the_value_and_another_backup", garbage, stored("second")),
        starting("starting_with_more_than_one_read", over_long, over_long),
        starting("starting_without_a_current_copy", kNone, equal),
        starting("starting_without_a_current_copy_and_with_bytes_behind_the_value", kNone, garbage),
        starting("starting_without_a_current_copy_and_with_more_than_one_read", kNone, over_long),
        starting("starting_with_an_empty_current_copy", "", equal),
        starting("starting_without_copies", kNone, kNone),
        starting("starting_with_empty_copies", "", ""),
        orderly("starting_after_an_orderly_shutdown", {{"umask 0000"}, {"remove nvflage"}}, nvm_init,
                true),
        orderly("shutting_down", {{"make nvflage 0666"}}, nvm_fin, false),
    };
}

// All after which the store can be started again.
inline std::vector<Operation> persistent_operations()
{
    std::vector<Operation> all = reading_operations();
    for (const std::vector<Operation> &more :
         {writing_operations(),
          importing_operations(),
          {exporting(), exporting_without_a_checksum(), looking_a_parameter_up()},
          starting_operations()}) {
        all.insert(all.end(), more.begin(), more.end());
    }
    return all;
}

// ---- What the defaults file or a file to import refuses ----

inline std::vector<Operation> refused_operations()
{
    const auto result = [](const ReadResult &read) { return Outcome{read, kNone, kNone}; };
    const auto read = [] {
        return read_with(100,
                         [](char *buffer, uint32_t size) { return nvm_readnv("a", buffer, size); });
    };
    const auto reading_from = [&](const std::string &name, const std::string &defaults, int lines,
                                  uint32_t number, const Outcome &ended) {
        const Outcome normal = result(refused(number));
        return Operation{.name = name,
                         .defaults = defaults,
                         .call = read,
                         .outcome = normal,
                         .steps = not_opening({"current a", "backup a"}, " to read", normal) +
                                  searching(lines, result(refused(5)), ended) + closing("default.cfg")};
    };
    const Outcome undeclared = result(code(1)), bad = result(code(3)), not_started = result(code(5));
    return {
        reading_from("reading_what_is_not_declared", "b=1=x\n", 2, 1, result(refused(1))),
        reading_from("reading_behind_a_malformed_line", "broken\n", 1, 5, result(refused(1))),
        {.name = "writing_what_is_not_declared",
         .defaults = "b=1=x\n",
         .call = [] { return code(nvm_writenv("a", "value", 6)); },
         .outcome = undeclared,
         .steps = Sequence{{"umask 0000"}} +
                  not_opening({"current a", "backup a"}, kExisting, undeclared) +
                  searching(2, result(code(5)), undeclared) + closing("default.cfg")},
        {.name = "starting_without_a_defaults_file",
         .defaults = kNone,
         .call = [] { return code(nvm_init()); },
         .outcome = not_started,
         .steps = Sequence{{"umask 0000"}, {"open default.cfg as a stream: fails", not_started}}},
        {.name = "importing_with_a_wrong_checksum",
         .imported = "00000001\na=1=value\n",
         .call = [] { return code(nvm_import(kFile, 1, 1, 0)); },
         .outcome = bad,
         .steps = Sequence{{"umask 0000"},
                           {"open file as a stream", bad},
                           {"bytes of file", bad},
                           {"bytes of file", bad},
                           {"bytes of file", bad}} +
                  closing("file")},
    };
}

// ---- The volatile store ----

inline std::vector<Operation> volatile_operations()
{
    const std::string old = stored("a longer old value"), whole = stored("newer");
    const Outcome done{code(0), whole}, nothing{code(0), kNone}, refused_write{code(5), kNone};
    const auto with = [](const std::string &content) { return Outcome{code(0), content}; };
    const auto read = [] {
        return read_with(100,
                         [](char *buffer, uint32_t size) { return nvmram_readnv("a", buffer, size); });
    };
    const auto write = [] { return code(nvmram_writenv("a", "newer", 100)); };
    const auto value = [&](const ReadResult &result) { return Outcome{result, old}; };
    const Outcome normal = value(found("a longer old value")), missing{refused(1), kNone};
    return {
        {.name = "reading",
         .current = old,
         .call = read,
         .outcome = normal,
         .steps = reading("a", normal, value(refused(1)), value(found("a ")))},
        {.name = "reading_what_is_missing",
         .call = read,
         .outcome = missing,
         .steps = not_opening({"a"}, " to read", missing)},
        {.name = "writing_over_a_longer_value",
         .current = old,
         .call = write,
         .outcome = done,
         .steps = Sequence{{"umask 0000"}} +
                  rewriting(kExisting, done, {"a", old, "newer", with, {}, {}, {}})},
        // The lock of the folder keeps others away until the file is there.
        {.name = "creating",
         .call = write,
         .outcome = done,
         .steps = Sequence{{"umask 0000"}} + not_opening({"a"}, kExisting, done) +
                  Sequence{{"open folder to read", refused_write},
                           {"exclusive lock of folder", done},
                           {"open a to write, creating 0666", nothing},
                           {"unlock folder", done}} +
                  filling({"a", kNone, "newer", with, {}, {}, {}}) + closing("a") + closing("folder")},
        {.name = "creating_what_cannot_be_created",
         .call = [] { return code(nvmram_writenv("", "value", 6)); },
         .outcome = nothing,
         .steps = Sequence{{"umask 0000"}} + not_opening({"folder"}, kExisting, nothing) +
                  Sequence{{"open folder to read", refused_write},
                           {"exclusive lock of folder", nothing},
                           {"open folder to write, creating 0666: fails", nothing},
                           {"unlock folder", nothing}} +
                  closing("folder")},
    };
}

} // namespace operations
