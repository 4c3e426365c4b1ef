// Each operation of operations.h makes these calls in this order: other processes rely on the order of
// locking, and the repair after a power cut on the order of writing. Each call fails once, or is cut
// short: in every case another parameter's files keep every byte, no descriptor stays open and the
// store remains usable. At each call of the persistent store, and inside every write, the process is
// killed; then another process starts the store. Prints the value after each of these points.
//
// Between two calls nothing changes on disk, so "before a call" is also "after the call before it".
#include "operations.h"
#include "stores.h"

#include "support/child_process.h"
#include "support/ram_store.h"

#include <algorithm>
#include <iostream>
#include <set>

namespace operations_test {

using namespace operations;

namespace {

Steps calls_of(const Sequence &steps)
{
    Steps calls;
    for (const Step &step : steps) {
        calls.push_back(step.call);
    }
    return calls;
}

void put_or_remove(const std::string &path, const std::string &content)
{
    remove(path.c_str());
    if (content != kNone) {
        write_text(path, content);
    }
}

std::string content_in(const ParameterFolder &folder)
{
    return folder.files().contains("a") ? folder.content("a") : kNone;
}

class Persistent : public MadeStore {
protected:
    void prepare(const Operation &operation) const
    {
        put_or_remove(NVM_DEFAULTS_FILE, operation.defaults);
        write_text(kFile, operation.imported);
        make_folders();
        rmdir(NVM_SHUTDOWN_MARKER);
        if (operation.marked) {
            EXPECT_EQ(nvm_fin(), 0U);
        }
        put_or_remove(current.file_of("a"), operation.current);
        put_or_remove(backup.file_of("a"), operation.backup);
        put_both("b", "untouched");
        for (const ParameterFolder &folder : {current, backup}) {
            remove(folder.file_of("c").c_str());
        }
    }
    Outcome outcome_with(const ReadResult &result) const
    {
        return {result, content_in(current), content_in(backup)};
    }
    void expect_others_untouched(const Operation &operation) const
    {
        EXPECT_EQ(read_text(NVM_DEFAULTS_FILE), content_of(operation.defaults));
        expect_both("b", "untouched");
    }
    void expect_works_on() const
    {
        declare(kOnlyA);
        EXPECT_EQ(write_nv("a", "afterwards"), 0U);
        expect_both("a", "afterwards");
        EXPECT_EQ(read_nv("a"), found("afterwards"));
        EXPECT_EQ(nvm_init(), 0U);
        EXPECT_EQ(read_nv("a"), found("afterwards"));
    }
};

class Volatile : public RamStore {
protected:
    void prepare(const Operation &operation) const
    {
        put_or_remove(file_of("a"), operation.current);
        put("b", stored("untouched"));
    }
    Outcome outcome_with(const ReadResult &result) const
    {
        return {result, files().contains("a") ? content("a") : kNone};
    }
    void expect_others_untouched(const Operation &) const
    {
        EXPECT_EQ(content("b"), stored("untouched"));
    }
    void expect_works_on() const
    {
        EXPECT_EQ(nvmram_writenv("a", "afterwards", 100), 0U);
        EXPECT_EQ(content("a"), stored("afterwards"));
        EXPECT_EQ(nvram_match("a", "afterwards"), 0U);
    }
};

// ---- One call fails ----

template <typename Store> class FailingCalls : public Store, public testing::WithParamInterface<Row> {
protected:
    void run(const Operation &operation)
    {
        const int descriptors = count_descriptors();
        EXPECT_EQ(outcome_of(operation), operation.outcome);
        ASSERT_EQ(g_file_steps.steps, calls_of(operation.steps));
        EXPECT_EQ(count_descriptors(), descriptors);
        for (size_t i = 0; i < operation.steps.size(); ++i) {
            const Step &step = operation.steps[i];
            if (step.failed.has_value()) {
                run_fault(operation, i, std::nullopt, *step.failed);
            }
            if (step.cut_short.has_value()) {
                run_fault(operation, i, kTaken, *step.cut_short);
            }
        }
    }

private:
    Outcome outcome_of(const Operation &operation) const
    {
        this->prepare(operation);
        ReadResult result{};
        steps_of([&] { result = operation.call(); });
        return this->outcome_with(result);
    }

    void run_fault(const Operation &operation, size_t step, std::optional<size_t> taken,
                   const Outcome &expected)
    {
        SCOPED_TRACE(std::to_string(step + 1) + ": " + operation.steps[step].call +
                     (taken.has_value() ? " is cut short" : " fails"));
        const int descriptors = count_descriptors();
        g_file_steps.fail(step + 1, taken);
        const Outcome outcome = outcome_of(operation);
        g_file_steps.fail(0);
        EXPECT_EQ(outcome, expected);
        EXPECT_EQ(count_descriptors(), descriptors);
        this->expect_others_untouched(operation);
        this->expect_works_on();
    }
};

// ---- The process dies ----

constexpr size_t kEveryByteUpTo = 100; // a write of so many bytes is cut after every one

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

// Into a parameter's file, not into the one that is exported to.
bool is_write(const std::string &call)
{
    return call.starts_with("write ") && !call.ends_with(" file");
}
size_t size_of_write(const std::string &call) { return std::stoul(call.substr(strlen("write "))); }

std::string size_of(const std::string &copy)
{
    return copy == kNone ? "missing" : "of " + std::to_string(copy.size()) + " bytes";
}

std::string old_value(const Operation &operation)
{
    return recovered(content_of(operation.current), content_of(operation.backup), kDefault);
}

std::string new_value(const Operation &operation) { return text_of(stored(operation.newer)); }

std::string value_for(const Operation &operation, Fate fate)
{
    return fate == Fate::kNew ? new_value(operation) : old_value(operation);
}

// When the process dies inside a write.
std::string value_within(const Operation &operation, const Step &step, size_t taken)
{
    if (step.within != Fate::kTorn) {
        return value_for(operation, step.within);
    }
    const bool is_of_current = step.call.find(" current ") != std::string::npos;
    const std::string &file = is_of_current ? operation.current : operation.backup;
    return text_of(overwritten(content_of(file), stored(operation.newer).substr(0, taken)));
}

std::string label_of(const Operation &operation, const std::string &value)
{
    if (value == old_value(operation)) {
        return operation.current == kNone && operation.backup == kNone ? "default" : "old";
    }
    return value == new_value(operation) ? "new" : "torn";
}

// The value after each point; lines that differ only in the bytes written are joined.
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

// A process is killed.
class Death : public Persistent {
protected:
    // Ends a process that does this at one of its calls, or when it has done it all.
    template <typename Action> static void kill_at(size_t step, size_t taken, Action action)
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
};

class Crash : public Death, public testing::WithParamInterface<Row> {
protected:
    void run(const Operation &operation)
    {
        Table table;
        for (size_t i = 0; i < operation.steps.size(); ++i) {
            const Step &step = operation.steps[i];
            const std::string where = std::to_string(i + 1) + ", " + step.call;
            table.add("before " + where, 0,
                      die(operation, i + 1, 0, value_for(operation, step.before)));
            if (is_write(step.call)) {
                for (const size_t taken : cuts_of(size_of_write(step.call))) {
                    const std::string label =
                        die(operation, i + 1, taken, value_within(operation, step, taken));
                    table.add("within " + where, taken,
                              label == "torn" ? label + ": " + step.reason : label);
                }
            }
        }
        table.add("after the last step", 0,
                  die(operation, operation.steps.size() + 1, 0, value_for(operation, operation.end)));
        std::cout << "current copy " << size_of(operation.current) << ", backup "
                  << size_of(operation.backup) << ":\n";
        table.print();
    }

private:
    // The last byte of a torn copy counts as its terminator and stays what it is, and so does what is
    // behind the longest value.
    static void expect_copy(const std::string &content, const std::string &expected)
    {
        EXPECT_EQ(text_of(content), expected);
        EXPECT_EQ(std::min(content.size(), kNvOneRead), expected.size() + 1);
    }

    // Kills a process that does the operation, starts the store in another one, and looks at what is
    // there. Returns what to call it.
    std::string die(const Operation &operation, size_t step, size_t taken, const std::string &expected)
    {
        SCOPED_TRACE("step " + std::to_string(step) + ", byte " + std::to_string(taken));
        prepare(operation);
        kill_at(step, taken, operation.call);
        EXPECT_EQ(start_again(), 0);
        expect_copy(current.content("a"), expected);
        expect_copy(backup.content("a"), expected);
        expect_both("b", "untouched");
        EXPECT_EQ(read_nv("a"), found(expected));
        return label_of(operation, expected);
    }
};

using PersistentCalls = FailingCalls<Persistent>;
using VolatileCalls = FailingCalls<Volatile>;

} // namespace

const std::vector<Operation> kPersistent = persistent_operations();
const std::vector<Operation> kRefused = refused_operations();
const std::vector<Operation> kVolatile = volatile_operations();

INSTANTIATE_TEST_SUITE_P(, BothStores, testing::ValuesIn(kStores));
INSTANTIATE_TEST_SUITE_P(, PersistentCalls, testing::ValuesIn(rows_of(kPersistent)));
INSTANTIATE_TEST_SUITE_P(Refused, PersistentCalls, testing::ValuesIn(rows_of(kRefused)));
INSTANTIATE_TEST_SUITE_P(, VolatileCalls, testing::ValuesIn(rows_of(kVolatile)));
INSTANTIATE_TEST_SUITE_P(, Crash, testing::ValuesIn(rows_of(kPersistent)));

TEST_P(PersistentCalls, are_these_and_each_may_fail) { run(*GetParam().operation); }

TEST_P(VolatileCalls, are_these_and_each_may_fail) { run(*GetParam().operation); }

TEST_P(Crash, leaves_what_the_table_says) { run(*GetParam().operation); }

// ---- What is no row of the table ----

TEST_P(BothStores, refused_arguments_touch_no_file)
{
    char buffer[8];
    EXPECT_EQ(steps_of([&] {
                  GetParam().read("b d", buffer, sizeof(buffer));
                  GetParam().read(nullptr, buffer, sizeof(buffer));
                  GetParam().read("a", nullptr, sizeof(buffer));
                  GetParam().match("a", nullptr);
                  GetParam().write("b d", "value", 6);
                  GetParam().write(nullptr, "value", 6);
                  GetParam().write("a", nullptr, 6);
                  GetParam().write("a", "value", 5);
              }),
              Steps(4, "umask 0000"));
}

TEST_P(BothStores, failed_locks_are_not_reported)
{
    const auto write = [&] { EXPECT_EQ(GetParam().write("a", "other", 100), 0U); };
    put_all("a", stored("old"));
    const Steps steps = steps_of(write);
    g_file_steps.locks_fail = true;
    put_all("a", stored("old"));
    EXPECT_EQ(steps_of(write), steps);
    expect_stored("a", "other");
    EXPECT_EQ(read("a"), found("other"));
}

TEST_P(BothStores, short_write_is_not_reported_and_each_file_is_cut_to_what_was_written)
{
    put_all("a", stored("old value"));
    g_file_steps.write_result = 3;
    steps_of([&] { EXPECT_EQ(GetParam().write("a", "value", 100), 0U); });
    for (const ParameterFolder &folder : folders()) {
        EXPECT_EQ(folder.content("a"), "val");
    }
}

TEST_P(BothStores, clear_removes_every_parameter_and_nothing_else)
{
    const std::string others = folders().size() == 1 ? "/tmp/nvother" : NVM_DEFAULTS_FILE;
    Steps commands;
    for (const ParameterFolder &folder : folders()) {
        commands.push_back("rm " + folder.file_of("") + "* 2> /dev/null");
        for (const char *name : {"one", "-undeclared.3_x", ".hidden"}) {
            folder.put(name, stored("value"));
        }
    }
    folders().back().put("last", "");
    write_text(others, "kept");
    EXPECT_EQ(steps_of([&] { EXPECT_EQ(GetParam().clear(), 0U); }), commands);
    for (const ParameterFolder &folder : folders()) {
        EXPECT_EQ(folder.files(), std::set<std::string>{".hidden"});
    }
    EXPECT_EQ(read_text(others), "kept");
}

TEST_P(BothStores, clear_of_an_empty_or_missing_store_gives_0_and_prints_nothing)
{
    testing::internal::CaptureStderr();
    EXPECT_EQ(GetParam().clear(), 0U);
    for (const ParameterFolder &folder : folders()) {
        rmdir(folder.file_of("").c_str());
    }
    EXPECT_EQ(GetParam().clear(), 0U);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_P(BothStores, cleared_store_is_usable)
{
    put_all("a", stored("old"));
    EXPECT_EQ(GetParam().clear(), 0U);
    EXPECT_NE(GetParam().match("a", "old"), 0U);
    EXPECT_EQ(write("a", "new"), 0U);
    EXPECT_EQ(GetParam().match("a", "new"), 0U);
}

using PersistentSteps = MadeStore;

TEST_F(PersistentSteps, failure_of_one_parameter_does_not_stop_the_repair_of_the_next)
{
    declare("b=1=default\na=1=default\n");
    const auto start_with = [&](size_t failing) {
        for (const char *name : {"a", "b"}) {
            current.put(name, stored("first"));
            backup.put(name, stored("second"));
        }
        g_file_steps.fail(failing);
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

TEST_F(PersistentSteps, shutdown_that_fails_leaves_no_marker)
{
    g_file_steps.fail(1);
    steps_of([] { EXPECT_EQ(nvm_fin(), 5U); });
    EXPECT_NE(access(NVM_SHUTDOWN_MARKER, F_OK), 0);
    g_file_steps.fail(0);
    EXPECT_EQ(nvm_fin(), 0U);
    EXPECT_EQ(access(NVM_SHUTDOWN_MARKER, F_OK), 0);
}

TEST_F(PersistentSteps, clearing_does_the_other_folder_all_the_same)
{
    const Steps steps = {"rm " NVM_CURRENT_DIR "* 2> /dev/null", "rm " NVM_BACKUP_DIR "* 2> /dev/null"};
    for (const size_t failing : {1U, 2U}) {
        put_both("a", "value");
        g_file_steps.fail(failing);
        EXPECT_EQ(steps_of([] { EXPECT_EQ(nvm_clear(), 0U); }), steps);
        EXPECT_EQ(current.content("a"), failing == 1 ? stored("value") : "");
        EXPECT_EQ(backup.content("a"), failing == 2 ? stored("value") : "");
    }
}

TEST_F(PersistentSteps, clearing_leaves_the_marker_and_the_next_start_refills_from_the_defaults)
{
    put_both("a", "value");
    EXPECT_EQ(nvm_fin(), 0U);
    EXPECT_EQ(nvm_clear(), 0U);
    EXPECT_EQ(access(NVM_SHUTDOWN_MARKER, F_OK), 0);
    rmdir(NVM_SHUTDOWN_MARKER);
    EXPECT_EQ(read_nv("a"), found("default"));
    EXPECT_EQ(nvm_init(), 0U);
    expect_both("a", "default");
}

TEST_F(PersistentSteps, refused_exchange_touches_no_file)
{
    EXPECT_EQ(steps_of([] {
                  nvm_export(nullptr, 1, 1);
                  nvm_import(nullptr, 1, 1, 1);
              }),
              Steps{"umask 0000"});
}

TEST_F(PersistentSteps, defaults_that_cannot_be_read_are_malformed)
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

TEST_F(Death, while_the_folders_are_made)
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

} // namespace operations_test
