// The process is killed at every step of the operations that write, and inside every write; then the
// store is started by another process. Prints the value after each of these points.
//
// Between two steps nothing changes on disk, so "before a step" is also "after the step before it".
// What the C library reads for a stream changes nothing either and is no step.
#include "support/child_process.h"
#include "support/file_steps.h"
#include "support/nv_recovery.h"
#include "support/persistent_store.h"

#include <algorithm>
#include <functional>
#include <iostream>
#include <set>

namespace crash_test {

using namespace testing_support;

namespace {

constexpr const char *kFile = "/2ndfile/file"; // that is imported
constexpr const char *kDefault = "default";
const std::string kNone = "(none)";    // content of a copy that is not there
constexpr size_t kEveryByteUpTo = 100; // a write of so many bytes is cut after every one

enum class Fate {
    kOld,  // what reading the store gave before; the default when it held nothing
    kNew,  // what is being written
    kTorn, // what the write in progress made of the file
};

struct Point {
    std::string step;
    Fate before;              // the fate of the value when the process dies before this step
    Fate within = Fate::kOld; // if it is a write: when it dies inside
    const char *reason = "";  // why the value is lost inside
};

using Points = std::vector<Point>;

Points operator+(Points first, const Points &second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

struct Scenario {
    std::string current = kNone;
    std::string backup = kNone;
    std::string newer; // the value that is written; for the start-up the one that it keeps
    std::function<uint32_t()> action;
    Points points; // every step, in order
    Fate end = Fate::kNew;
    std::string defaults = "b=2=other\na=1=default\nc=4=other\n";
    std::string imported = {};
    bool marked = false; // the last run ended in order
};

// ---- Points that many operations have ----

const char *const kCurrentCounts = "an incomplete current copy counts all the same";
const char *const kOnlyCopy = "there is no other copy";

Points all_of(const Steps &steps, Fate fate)
{
    Points points;
    for (const std::string &step : steps) {
        points.push_back({step, fate});
    }
    return points;
}

// Writing a copy that is open.
Points filling(const std::string &copy, size_t size, Fate before, Fate within, Fate after,
               const char *reason = "")
{
    const std::string bytes = std::to_string(size);
    return {{"exclusive lock of " + copy + " a", before},
            {"write " + bytes + " to " + copy + " a", before, within, reason},
            {"cut " + copy + " a to " + bytes, after},
            {"unlock " + copy + " a", after}};
}

Points rewriting(const std::string &copy, const std::string &how, size_t size, Fate before, Fate within,
                 Fate after, const char *reason = "")
{
    return Points{{"open " + copy + " a " + how, before}} +
           filling(copy, size, before, within, after, reason) + Points{{"close " + copy + " a", after}};
}

constexpr const char *kExisting = "to write";
constexpr const char *kCreating = "to write, creating 0666";

// The current copy and then the backup: the value is lost only inside the first write.
Points rewriting_both(size_t size, const char *how_current = kCreating)
{
    return rewriting("current", how_current, size, Fate::kOld, Fate::kTorn, Fate::kNew,
                     kCurrentCounts) +
           rewriting("backup", kCreating, size, Fate::kNew, Fate::kNew, Fate::kNew);
}

Points cutting(const std::string &copy, size_t size)
{
    return all_of({"exclusive lock of " + copy + " a", "cut " + copy + " a to " + std::to_string(size),
                   "unlock " + copy + " a"},
                  Fate::kOld);
}

Points reading(const std::string &copy)
{
    return all_of(
        {"shared lock of " + copy + " a", "read 4096 from " + copy + " a", "unlock " + copy + " a"},
        Fate::kOld);
}

// ---- Running ----

// After how many bytes a write of this size is cut.
std::set<size_t> cuts_of(size_t size)
{
    std::set<size_t> cuts;
    if (size <= kEveryByteUpTo) {
        for (size_t taken = 1; taken < size; ++taken) {
            cuts.insert(taken);
        }
        return cuts;
    }
    for (const size_t taken : {size_t{1}, size_t{2}, size_t{512}, size_t{1024}, size / 2, size_t{4094},
                               size_t{4095}, size_t{4096}, size_t{4097}, size - 2, size - 1}) {
        if (taken < size) {
            cuts.insert(taken);
        }
    }
    return cuts;
}

bool is_write(const std::string &step) { return step.starts_with("write "); }
size_t size_of_write(const std::string &step) { return std::stoul(step.substr(strlen("write "))); }
bool is_of_current(const std::string &step) { return step.find(" current ") != std::string::npos; }

std::string content_of(const std::string &copy) { return copy == kNone ? "" : copy; }

std::string size_of(const std::string &copy)
{
    return copy == kNone ? "missing" : "of " + std::to_string(copy.size()) + " bytes";
}

// A file whose first bytes are written over.
std::string overwritten(const std::string &file, const std::string &bytes)
{
    return bytes + (file.size() > bytes.size() ? file.substr(bytes.size()) : "");
}

std::string old_value(const Scenario &scenario)
{
    return recovered(content_of(scenario.current), content_of(scenario.backup), kDefault);
}

std::string new_value(const Scenario &scenario) { return text_of(stored(scenario.newer)); }

std::string value_for(const Scenario &scenario, Fate fate)
{
    return fate == Fate::kNew ? new_value(scenario) : old_value(scenario);
}

// When the process dies inside a write.
std::string value_within(const Scenario &scenario, const Point &point, size_t taken)
{
    if (point.within != Fate::kTorn) {
        return value_for(scenario, point.within);
    }
    const std::string &file = is_of_current(point.step) ? scenario.current : scenario.backup;
    return text_of(overwritten(content_of(file), stored(scenario.newer).substr(0, taken)));
}

std::string label_of(const Scenario &scenario, const std::string &value)
{
    if (value == old_value(scenario)) {
        return scenario.current == kNone && scenario.backup == kNone ? "default" : "old";
    }
    return value == new_value(scenario) ? "new" : "torn";
}

// What became of the value at each point; lines that differ only in the bytes written are joined.
class Table {
public:
    void add(const std::string &where, size_t taken, const std::string &outcome)
    {
        if (taken == 0 || rows_.empty() || rows_.back().where != where || rows_.back().first == 0 ||
            rows_.back().outcome != outcome) {
            rows_.push_back({where, taken, taken, 0, outcome});
        }
        rows_.back().last = taken;
        ++rows_.back().deaths;
    }
    void print() const
    {
        for (const Row &row : rows_) {
            std::cout << "  " << row.where;
            if (row.first != 0) {
                std::cout << ", bytes " << row.first;
            }
            if (row.last != row.first) {
                std::cout << " to " << row.last << " (" << row.deaths << " of them)";
            }
            std::cout << ": " << row.outcome << '\n';
        }
    }

private:
    struct Row {
        std::string where;
        size_t first;
        size_t last;
        size_t deaths;
        std::string outcome;
    };
    std::vector<Row> rows_;
};

Steps steps_in(const Points &points)
{
    Steps steps;
    for (const Point &point : points) {
        steps.push_back(point.step);
    }
    return steps;
}

class Crash : public PersistentStore {
protected:
    // Ends a process that does this at one of its steps, or when it has done it all.
    static void kill_at(size_t step, size_t taken, const std::function<uint32_t()> &action)
    {
        g_file_steps.killed_at = step;
        g_file_steps.killed_after = taken;
        const int status = ChildProcess([&] {
                               steps_of(action);
                               return kill(getpid(), SIGKILL);
                           }).wait();
        g_file_steps.killed_at = 0;
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    }

    // What the start of the store gives in another process.
    static int start_again()
    {
        return ChildProcess([] { return static_cast<int>(nvm_init()); }).wait();
    }

    void run(const Scenario &scenario)
    {
        prepare(scenario);
        EXPECT_EQ(steps_of([&] { EXPECT_EQ(scenario.action(), 0U); }), steps_in(scenario.points));
        Table table;
        for (size_t i = 0; i < scenario.points.size(); ++i) {
            const Point &point = scenario.points[i];
            const std::string step = std::to_string(i + 1) + ", " + point.step;
            table.add("before " + step, 0, die(scenario, i + 1, 0, value_for(scenario, point.before)));
            if (is_write(point.step)) {
                for (const size_t taken : cuts_of(size_of_write(point.step))) {
                    const std::string label =
                        die(scenario, i + 1, taken, value_within(scenario, point, taken));
                    table.add("within " + step, taken,
                              label == "torn" ? label + ": " + point.reason : label);
                }
            }
        }
        table.add("after the last step", 0,
                  die(scenario, scenario.points.size() + 1, 0, value_for(scenario, scenario.end)));
        std::cout << "current copy " << size_of(scenario.current) << ", backup "
                  << size_of(scenario.backup) << ":\n";
        table.print();
    }

private:
    void prepare(const Scenario &scenario) const
    {
        declare(scenario.defaults);
        write_text(kFile, scenario.imported);
        make_folders();
        if (scenario.marked) {
            EXPECT_EQ(nvm_fin(), 0U);
        } else {
            rmdir(NVM_SHUTDOWN_MARKER);
        }
        put_or_remove(current.file_of("a"), scenario.current);
        put_or_remove(backup.file_of("a"), scenario.backup);
        put_both("b", "untouched");
        for (const ParameterFolder &folder : {current, backup}) {
            remove(folder.file_of("c").c_str());
        }
    }
    static void put_or_remove(const std::string &path, const std::string &content)
    {
        remove(path.c_str());
        if (content != kNone) {
            write_text(path, content);
        }
    }

    // The last byte of a torn copy counts as its terminator and stays what it is, and so does what is
    // behind the longest value.
    static void expect_copy(const std::string &content, const std::string &expected)
    {
        EXPECT_EQ(text_of(content), expected);
        EXPECT_EQ(std::min(content.size(), kNvOneRead), expected.size() + 1);
    }

    // Kills a process that does what the scenario says, starts the store in another one, and looks at
    // what is there. Returns what to call it.
    std::string die(const Scenario &scenario, size_t step, size_t taken, const std::string &expected)
    {
        SCOPED_TRACE("step " + std::to_string(step) + ", byte " + std::to_string(taken));
        prepare(scenario);
        kill_at(step, taken, scenario.action);
        EXPECT_EQ(start_again(), 0);
        expect_copy(current.content("a"), expected);
        expect_copy(backup.content("a"), expected);
        expect_both("b", "untouched");
        EXPECT_EQ(read_nv("a"), found(expected));
        return label_of(scenario, expected);
    }
};

// ---- Values ----

const std::string kLonger(12, 'o');
const std::string kShorter = "oo";
const std::string kNewer = "nnnnn";
const std::string kEqual(kNewer.size(), 'o');
const std::string kOverLong(5000, 'o');
const std::string kLong(NV_VALUE_MAX, 'n');
const size_t kNewerSize = kNewer.size() + 1;
const size_t kDefaultSize = strlen(kDefault) + 1;

Scenario both(const std::string &value)
{
    Scenario scenario;
    scenario.current = scenario.backup = stored(value);
    return scenario;
}

// ---- nvm_writenv ----

Scenario writing(Scenario scenario, const std::string &newer, const Points &points)
{
    scenario.newer = newer;
    scenario.action = [newer] { return nvm_writenv("a", newer.c_str(), 10000); };
    scenario.points = Points{{"umask 0000", Fate::kOld}} + points;
    return scenario;
}

Scenario writing_over(const std::string &value, const std::string &newer = kNewer)
{
    return writing(both(value), newer, rewriting_both(newer.size() + 1, kExisting));
}

// ---- nvm_import, nvm_routerreset ----

Points opening(const std::string &file, Fate fate = Fate::kOld)
{
    return {{"open " + file + " as a stream", fate}};
}
Points closing(const std::string &file, Fate fate) { return {{"close " + file, fate}}; }

// The same steps for the parameter c, which leave a as it is.
Points of_c(Points points, Fate fate)
{
    for (Point &point : points) {
        for (const char *copy : {"current a", "backup a"}) {
            if (const size_t at = point.step.find(copy); at != std::string::npos) {
                point.step[at + strlen(copy) - 1] = 'c';
            }
        }
        point.before = point.within = fate;
    }
    return points;
}

Scenario importing_over(Scenario scenario, const std::string &newer = kNewer)
{
    scenario.newer = newer;
    scenario.imported = "a=1=" + newer + "\n";
    scenario.action = [] { return nvm_import(kFile, 5, 0, 0); };
    scenario.points = Points{{"umask 0000", Fate::kOld}} + opening("file") + opening("default.cfg") +
                      rewriting_both(newer.size() + 1) + closing("default.cfg", Fate::kNew) +
                      closing("file", Fate::kNew);
    return scenario;
}

// The defaults file declares b before a, and c behind it; both take no part.
Scenario resetting(Scenario scenario)
{
    const auto searching = [](Fate fate) {
        return opening("default.cfg", fate) + closing("default.cfg", fate);
    };
    scenario.newer = kDefault;
    scenario.action = nvm_routerreset;
    scenario.points = Points{{"umask 0000", Fate::kOld}} + opening("default.cfg") +
                      searching(Fate::kOld) + opening("default.cfg") + rewriting_both(kDefaultSize) +
                      closing("default.cfg", Fate::kNew) + searching(Fate::kNew) +
                      closing("default.cfg", Fate::kNew);
    return scenario;
}

// ---- nvm_init ----

// kept: the value that both copies hold in the end.
Scenario starting(const std::string &current, const std::string &backup, const std::string &kept,
                  const Points &points)
{
    Scenario scenario;
    scenario.current = current;
    scenario.backup = backup;
    scenario.newer = kept;
    scenario.action = nvm_init;
    scenario.points = all_of({"umask 0000", "open default.cfg as a stream", "make current folder 0666",
                              "make backup folder 0666"},
                             Fate::kOld) +
                      points + closing("default.cfg", Fate::kOld);
    scenario.end = Fate::kOld;
    scenario.defaults = "a=1=default\n";
    return scenario;
}

// From opening the current copy up to reading the backup.
Points comparing()
{
    return Points{{"open current a for both", Fate::kOld}} + reading("current") +
           Points{{"open backup a for both, creating 0666", Fate::kOld}} + reading("backup");
}

// From closing the backup on.
Points cutting_current(size_t size)
{
    return Points{{"close backup a", Fate::kOld}} + cutting("current", size) +
           Points{{"close current a", Fate::kOld}};
}

// Whatever happens to the backup, the current copy is there to start from again.
Points mirroring(size_t size)
{
    Points points = comparing() + filling("backup", size, Fate::kOld, Fate::kOld, Fate::kOld) +
                    cutting_current(size);
    const auto write = std::find_if(points.begin(), points.end(),
                                    [](const Point &point) { return is_write(point.step); });
    points.insert(write, {"seek backup a to 0", Fate::kOld});
    return points;
}

Points restoring(const Points &opening_current, size_t size)
{
    return opening_current + Points{{"open backup a for both", Fate::kOld}} + reading("backup") +
           Points{{"open current a for both, creating 0666", Fate::kOld}} +
           filling("current", size, Fate::kOld, Fate::kTorn, Fate::kOld, kCurrentCounts) +
           cutting("backup", size) + all_of({"close current a", "close backup a"}, Fate::kOld);
}

const Points kNoCurrent = {{"open current a for both: fails", Fate::kOld}};

Points finding_empty(const std::string &copy)
{
    return Points{{"open " + copy + " a for both", Fate::kOld}} + reading(copy) +
           Points{{"close " + copy + " a", Fate::kOld}};
}

} // namespace

// ---- nvm_writenv ----

TEST_F(Crash, writing_over_a_longer_value) { run(writing_over(kLonger)); }

TEST_F(Crash, writing_over_a_shorter_value) { run(writing_over(kShorter)); }

TEST_F(Crash, writing_over_a_value_of_the_same_length) { run(writing_over(kEqual)); }

TEST_F(Crash, writing_over_an_empty_value) { run(writing_over("")); }

TEST_F(Crash, writing_over_a_value_of_more_than_one_read) { run(writing_over(kOverLong)); }

TEST_F(Crash, writing_a_long_value_over_a_short_one) { run(writing_over(kShorter, kLong)); }

TEST_F(Crash, writing_a_long_value_over_one_of_more_than_one_read)
{
    run(writing_over(kOverLong, kLong));
}

TEST_F(Crash, writing_a_value_of_more_than_one_read)
{
    run(writing_over(kLonger, std::string(kOverLong.size(), 'n')));
}

TEST_F(Crash, writing_for_the_first_time)
{
    run(writing({}, kNewer,
                all_of({"open current a to write: fails", "open backup a to write: fails",
                        "open default.cfg as a stream"},
                       Fate::kOld) +
                    rewriting_both(kNewerSize) + closing("default.cfg", Fate::kNew)));
}

TEST_F(Crash, writing_without_a_backup)
{
    Scenario scenario = writing_over(kLonger);
    scenario.backup = kNone;
    run(scenario);
}

TEST_F(Crash, writing_without_a_current_copy)
{
    for (const std::string &value : {kLonger, kShorter, kEqual}) {
        Scenario scenario = writing(both(value), kNewer,
                                    Points{{"open current a to write: fails", Fate::kOld}} +
                                        rewriting("backup", kExisting, kNewerSize, Fate::kOld,
                                                  Fate::kTorn, Fate::kNew, kOnlyCopy) +
                                        rewriting("current", kCreating, kNewerSize, Fate::kNew,
                                                  Fate::kTorn, Fate::kNew, kCurrentCounts));
        scenario.current = kNone;
        run(scenario);
    }
}

TEST_F(Crash, writing_over_an_empty_current_copy)
{
    Scenario scenario = writing_over(kLonger);
    scenario.current = "";
    run(scenario);
}

// ---- nvm_import ----

TEST_F(Crash, importing_over_a_longer_value) { run(importing_over(both(kLonger))); }

TEST_F(Crash, importing_over_a_shorter_value) { run(importing_over(both(kShorter))); }

TEST_F(Crash, importing_over_a_value_of_the_same_length) { run(importing_over(both(kEqual))); }

TEST_F(Crash, importing_over_a_value_of_more_than_one_read) { run(importing_over(both(kOverLong))); }

TEST_F(Crash, importing_a_long_value) { run(importing_over(both(kShorter), kLong)); }

TEST_F(Crash, importing_for_the_first_time) { run(importing_over({})); }

TEST_F(Crash, importing_without_a_current_copy)
{
    Scenario scenario = importing_over(both(kLonger));
    scenario.current = kNone;
    run(scenario);
}

TEST_F(Crash, importing_a_line_before_and_a_line_behind)
{
    Scenario scenario = importing_over(both(kLonger));
    const Points points = scenario.points;
    const auto file_begins = points.begin() + 2; // behind opening the file
    const auto file_ends = points.end() - 1;
    const Points line(file_begins, file_ends);
    scenario.imported = "c=1=nnnnn\na=1=nnnnn\nc=1=nnnnn\n";
    scenario.points = Points(points.begin(), file_begins) + of_c(line, Fate::kOld) + line +
                      of_c(line, Fate::kNew) + Points(file_ends, points.end());
    run(scenario);
}

// ---- nvm_routerreset ----

TEST_F(Crash, resetting_a_longer_value) { run(resetting(both(kLonger))); }

TEST_F(Crash, resetting_a_shorter_value) { run(resetting(both(kShorter))); }

TEST_F(Crash, resetting_a_value_of_the_same_length) { run(resetting(both(std::string(7, 'o')))); }

TEST_F(Crash, resetting_a_value_of_more_than_one_read) { run(resetting(both(kOverLong))); }

TEST_F(Crash, resetting_what_was_never_written) { run(resetting({})); }

// ---- nvm_init ----

TEST_F(Crash, starting_with_equal_copies)
{
    run(starting(stored(kEqual), stored(kEqual), kEqual, comparing() + cutting_current(kNewerSize)));
}

TEST_F(Crash, starting_with_another_backup)
{
    for (const std::string &backup_value : {kLonger, kShorter, kNewer, kOverLong}) {
        run(starting(stored(kEqual), stored(backup_value), kEqual, mirroring(kNewerSize)));
    }
}

TEST_F(Crash, starting_without_a_backup)
{
    for (const std::string &no_backup : {kNone, std::string()}) {
        run(starting(stored(kEqual), no_backup, kEqual, mirroring(kNewerSize)));
    }
}

TEST_F(Crash, starting_with_bytes_behind_the_value)
{
    const std::string file = stored(kEqual) + "garbage";
    run(starting(file, file, kEqual, mirroring(kNewerSize)));
}

TEST_F(Crash, starting_with_more_than_one_read)
{
    const std::string file = stored(kOverLong);
    run(starting(file, file, kOverLong.substr(0, NV_VALUE_MAX), mirroring(kNvOneRead)));
}

TEST_F(Crash, starting_without_a_current_copy)
{
    run(starting(kNone, stored(kEqual), kEqual, restoring(kNoCurrent, kNewerSize)));
    run(starting(kNone, stored(kEqual) + "garbage", kEqual, restoring(kNoCurrent, kNewerSize)));
    run(starting(kNone, stored(kOverLong), kOverLong.substr(0, NV_VALUE_MAX),
                 restoring(kNoCurrent, kNvOneRead)));
}

TEST_F(Crash, starting_with_an_empty_current_copy)
{
    run(starting("", stored(kEqual), kEqual, restoring(finding_empty("current"), kNewerSize)));
}

TEST_F(Crash, starting_without_copies)
{
    const Points filling_in =
        rewriting("current", kCreating, kDefaultSize, Fate::kOld, Fate::kTorn, Fate::kOld,
                  kCurrentCounts) +
        rewriting("backup", kCreating, kDefaultSize, Fate::kOld, Fate::kOld, Fate::kOld);
    run(starting(kNone, kNone, kDefault,
                 kNoCurrent + Points{{"open backup a for both: fails", Fate::kOld}} + filling_in));
    run(starting("", "", kDefault,
                 finding_empty("current") + Points{{"open backup a for both", Fate::kOld}} +
                     reading("backup") + Points{{"close backup a", Fate::kOld}} + filling_in));
}

TEST_F(Crash, starting_after_an_orderly_shutdown)
{
    // Also when it dies before the marker is removed: the next start finds it again.
    Scenario scenario = starting(stored(kEqual), stored(kEqual), kEqual, {});
    scenario.marked = true;
    scenario.points = all_of({"umask 0000", "remove nvflage"}, Fate::kOld);
    run(scenario);
}

TEST_F(Crash, starting_a_store_without_folders)
{
    for (size_t step = 1; step <= 5; ++step) { // up to the first parameter
        for (const ParameterFolder &folder : {current, backup}) {
            for (const std::string &name : folder.files()) {
                remove(folder.file_of(name).c_str());
            }
            rmdir(folder.file_of("").c_str());
        }
        kill_at(step, 0, nvm_init);
        const bool made[] = {access(NVM_CURRENT_DIR, F_OK) == 0, access(NVM_BACKUP_DIR, F_OK) == 0};
        EXPECT_EQ(made[0], step > 3);
        EXPECT_EQ(made[1], step > 4);
        EXPECT_EQ(start_again(), 0);
        expect_both("a", kDefault);
    }
}

} // namespace crash_test
