// Each call that a function of the library makes fails once.
//
// A scenario runs once without a failure, which records its calls; then once for each of these calls
// and each way in which it can fail. Each run is a process of its own, so that the damage of a failure
// is limited to that run. The scenario's rules state the effects of a failure; where none applies, the
// failure must have no effect: the same result, and no additional log line.
// A failure keeps nothing of what it has taken. Then the same must work on the same objects when
// another thread does it, to which a lock that is still held would show. In the end nothing may be
// left.
//
// With FAULTS_PLAN in the environment nothing fails; a line for each scenario says what would.
#pragma once

#include "calls.h"

#include "lc_log.h"
#include "support/eventually.h"
#include "support/first_thread.h"
#include "support/syslog_listener.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <functional>
#include <set>
#include <sstream>
#include <thread>

namespace faults {

using Lines = std::vector<std::string>;

// What comes of a call that fails. In the result and the lines "%e" stands for the error's number, "%w"
// for the wait status of a process that exits with it.
struct Rule {
    std::string call;
    std::string result = "";           // empty: as if it had not failed
    Lines said = {};                   // log and trace lines beside the usual
    Lines unsaid = {};                 // of the usual lines
    std::string subject = "";          // of the call: part of the file's name
    int nth = 0;                       // counted from 1; 0: any
    std::vector<std::string> how = {}; // the names of the faults; none: any
    int keeps = 0;                     // blocks, though the result is another
    bool loses_a_line = false;         // any of the usual
};
using Rules = std::vector<Rule>;

inline Rules operator+(Rules some, const Rules &more)
{
    some.insert(some.end(), more.begin(), more.end());
    return some;
}

// The same rules where these usual lines are not said.
inline Rules losing(Rules rules, const Lines &lines)
{
    for (Rule &rule : rules) {
        rule.unsaid.insert(rule.unsaid.end(), lines.begin(), lines.end());
    }
    return rules;
}

// The same rules where so many blocks stay.
inline Rules keeping(int blocks, Rules rules)
{
    for (Rule &rule : rules) {
        rule.keeps = blocks;
    }
    return rules;
}

// Where the log itself fails, it loses the line.
inline const Rules kLogFails = {
    {.call = "access", .subject = "/tmp/.LC_DEBUG_FLAG_SC_", .loses_a_line = true},
    {.call = "open64", .subject = "/tmp/ltelog.1", .loses_a_line = true},
    {.call = "write of an entry", .loses_a_line = true},
};

struct Scenario {
    std::string function;
    std::string story = "";           // tells it from others of the same function
    std::function<std::string()> act; // calls the function, and shows its result
    std::vector<Rule> rules = {};     // the first that applies holds
    std::function<void()> setup = [] {};
    std::function<void()> undo = [] {};          // gives back what act was given
    std::function<std::string()> next = nullptr; // what works afterwards, in the place of act
    bool once = false; // act uses up what it was given: undo and setup come between it and the next
    Role role = Role::kCaller;
    bool threads_count = false;
    bool heap_counts = false;
    bool unlogged = false; // without a log
    bool stays = false;    // it leaves something for good, when it succeeds
    bool calls_nothing = false;
    std::set<std::string> only = {}; // the calls that fail; none: all
    bool calls_vary = false;         // in number, with time: only the first of each kind fails
};

inline std::string shown(const void *pointer) { return pointer == nullptr ? "null" : "set"; }
template <typename Number> std::string shown(Number number) requires std::is_integral_v<Number>
{
    return std::to_string(number);
}

// ---- A run ----

struct Resources {
    std::multiset<std::string> descriptors;
    size_t threads = 0;
    int blocks = 0;

    static Resources now()
    {
        Resources resources;
        for (const std::string &fd : entries_of("/proc/self/fd", true)) {
            resources.descriptors.insert(Subject(atoi(fd.c_str())).text);
        }
        resources.threads = entries_of("/proc/self/task").size();
        resources.blocks = Blocks::count();
        return resources;
    }

private:
    // The descriptors' folder lists also the one that it is read by.
    static Lines entries_of(const char *path, bool lists_itself = false)
    {
        Lines names;
        DIR *directory = opendir(path);
        while (const dirent *entry = readdir(directory)) {
            const bool is_itself = lists_itself && atoi(entry->d_name) == dirfd(directory);
            if (entry->d_name[0] != '.' && !is_itself) {
                names.push_back(entry->d_name);
            }
        }
        closedir(directory);
        return names;
    }
};

inline std::string shown_blocks(int number)
{
    return Blocks::kCounted && number > 0 ? std::to_string(number) + " blocks; " : "";
}

// What there is now and was not before; empty when it is the same.
inline std::string difference(const Resources &before, Resources now)
{
    std::ostringstream left;
    for (const std::string &descriptor : before.descriptors) {
        if (const auto found = now.descriptors.find(descriptor); found != now.descriptors.end()) {
            now.descriptors.erase(found);
        }
    }
    for (const std::string &descriptor : now.descriptors) {
        left << "descriptor of " << descriptor << "; ";
    }
    if (now.threads > before.threads) {
        left << now.threads - before.threads << " threads; ";
    }
    left << shown_blocks(now.blocks - before.blocks);
    if (Blocks::too_many()) {
        left << "more blocks than can be counted; ";
    }
    return left.str();
}

// What was not given back. A thread that has been joined or has ended may still be listed for a moment,
// and the library's own may be about to give something back.
inline std::string left_since(const Resources &before, const char *usually = "")
{
    std::string left = difference(before, Resources::now());
    for (int tries = 0; !left.empty() && left != usually && tries < 100; ++tries) {
        usleep(2000);
        left = difference(before, Resources::now());
    }
    return left;
}

template <size_t Size> void leave(char (&to)[Size], const std::string &text)
{
    snprintf(to, Size, "%s", text.c_str());
}

// Its calls count, and what it says is kept.
template <size_t Size> void watch(const std::function<std::string()> &act, char (&result)[Size])
{
    t_role = Role::kCaller;
    g_open = true;
    {
        const std::string text = act();
        const Quiet quiet;
        leave(result, text);
    }
    g_open = false;
    t_role = Role::kNone;
}

// For what a setup or undo makes the library do where its threads are to be known and hooks to work.
template <typename Action> void inside(Action action)
{
    t_role = Role::kCaller;
    g_open = true;
    action();
    g_open = false;
    t_role = Role::kNone;
}

// What the same gives on another thread, and what there is in the end.
inline void run_again(const Scenario &scenario, const Resources &before)
{
    std::thread([&scenario] {
        if (scenario.once) {
            scenario.undo();
            scenario.setup();
        }
        watch(scenario.next ? scenario.next : scenario.act, g_record->next);
    }).join();
    scenario.undo();
    if (!scenario.stays) {
        leave(g_record->left, left_since(before));
    }
}

inline void run_here(const Scenario &scenario, const char *usually_kept)
{
    alarm(60);
    dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
    start_first_thread();
    g_counted_role = scenario.role;
    g_threads_count = scenario.threads_count;
    g_heap_counts = scenario.heap_counts;
    for (const char *level : {"DEBUG", "ERROR"}) {
        testing_support::switch_log("SC", level, !scenario.unlogged);
    }
    if (!scenario.unlogged) {
        log_init(0);
    }
    const Resources before = Resources::now();
    scenario.setup();
    const Resources before_act = Resources::now();
    take_said();
    g_record->counting = true;
    watch(scenario.act, g_record->result);
    g_record->counting = false;
    std::ostringstream said;
    for (const std::string &line : take_said()) {
        said << line << '\n';
    }
    leave(g_record->said, said.str());
    leave(g_record->kept, left_since(before_act, usually_kept));
    run_again(scenario, before);
    g_record->complete = true;
}

struct Outcome {
    std::string result;
    Lines said;
    std::string kept;
    std::string next;
    std::string left;
    std::string broken; // how the run ended, when not in order
    bool fired = false;
    std::vector<Event> events;
};

inline Outcome run(const Scenario &scenario, const Armed &armed, const Outcome &usual = {})
{
    g_record->reset();
    fflush(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        g_armed = armed;
        run_here(scenario, usual.kept.c_str());
        _exit(0);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    Outcome outcome;
    outcome.result = g_record->result;
    outcome.kept = g_record->kept;
    outcome.next = g_record->next;
    outcome.left = g_record->left;
    outcome.fired = g_record->fired;
    if (WIFSIGNALED(status)) {
        outcome.broken = WTERMSIG(status) == SIGALRM ? "it hangs" : strsignal(WTERMSIG(status));
    } else if (status != 0 || !g_record->complete) {
        outcome.broken = "it exits with " + std::to_string(WEXITSTATUS(status));
    }
    std::istringstream said(g_record->said);
    for (std::string line; std::getline(said, line);) {
        outcome.said.push_back(line);
    }
    const int events = g_record->event_count;
    EXPECT_LE(events, static_cast<int>(std::size(g_record->events)));
    outcome.events.assign(g_record->events, g_record->events + events);
    return outcome;
}

// ---- Judging it ----

inline std::string with_error(std::string text, const Fault &fault)
{
    const std::pair<const char *, int> numbers[] = {{"%e", fault.error}, {"%w", fault.error << 8}};
    for (const auto &[mark, number] : numbers) {
        for (size_t at; (at = text.find(mark)) != std::string::npos;) {
            text.replace(at, 2, std::to_string(number));
        }
    }
    return text;
}

// The lines of the first that are not among the second, each as often as it is there more often.
inline Lines without(const Lines &some, Lines others)
{
    Lines result;
    for (const std::string &line : some) {
        if (const auto found = std::find(others.begin(), others.end(), line); found != others.end()) {
            others.erase(found);
        } else {
            result.push_back(line);
        }
    }
    return result;
}

inline bool applies(const Rule &rule, const Armed &armed, const char *subject)
{
    return rule.call == armed.call->name &&
           std::string(subject).find(rule.subject) != std::string::npos &&
           (rule.nth == 0 || rule.nth == armed.nth) &&
           (rule.how.empty() ||
            std::find(rule.how.begin(), rule.how.end(), armed.fault.name()) != rule.how.end());
}

// The one that holds: the first that applies; without any, the failure is not to be seen.
inline Rule rule_for(const Scenario &scenario, const Armed &armed, const char *subject)
{
    for (const Rule &rule : kLogFails + scenario.rules) {
        if (applies(rule, armed, subject)) {
            return rule;
        }
    }
    return {};
}

inline void judge(const Scenario &scenario, const Outcome &usual, const Armed &armed,
                  const char *subject)
{
    const Outcome outcome = run(scenario, armed, usual);
    ASSERT_EQ(outcome.broken, "");
    ASSERT_TRUE(outcome.fired) << "the call was not made again";

    const Rule rule = rule_for(scenario, armed, subject);
    EXPECT_EQ(outcome.result,
              rule.result.empty() ? usual.result : with_error(rule.result, armed.fault));
    Lines said;
    for (const std::string &line : rule.said) {
        said.push_back(with_error(line, armed.fault));
    }
    EXPECT_EQ(without(outcome.said, usual.said), said);
    const Lines unsaid = without(usual.said, outcome.said);
    if (rule.loses_a_line) {
        EXPECT_EQ(unsaid.size(), 1U);
    } else {
        EXPECT_EQ(unsaid, rule.unsaid);
    }
    const bool as_ever = outcome.result == usual.result;
    EXPECT_EQ(outcome.kept, as_ever ? usual.kept : shown_blocks(rule.keeps)) << "is kept";
    EXPECT_EQ(outcome.next, as_ever || scenario.next ? usual.next : usual.result) << "afterwards";
    EXPECT_EQ(outcome.left, "") << "is left";
}

// The test of one scenario.
class EveryCall : public testing::Test {
public:
    explicit EveryCall(const Scenario &scenario) : scenario_(scenario) {}

private:
    void TestBody() override
    {
        const Outcome usual = run(scenario_, {});
        ASSERT_EQ(usual.broken, "") << "without a fault";
        EXPECT_EQ(usual.left, "") << "without a fault";
        if (scenario_.once) {
            EXPECT_EQ(usual.next, usual.result) << "it is not the same twice";
        }
        if (!is_hidden()) {
            EXPECT_EQ(usual.events.empty(), scenario_.calls_nothing);
        }
        const size_t faults = inject(usual, getenv("FAULTS_PLAN") == nullptr);
        printf("FAULTS %s: %zu in %zu calls, usually \"%s\"\n", scenario_.function.c_str(), faults,
               usual.events.size(), usual.result.c_str());
    }

    // Whether the calls that count may be among those that a sanitizer keeps to itself.
    bool is_hidden() const
    {
        return !Blocks::kCounted && (scenario_.threads_count || scenario_.heap_counts);
    }

    // How many faults there are; true: each takes place.
    size_t inject(const Outcome &usual, bool really)
    {
        size_t faults = 0;
        std::map<int, int> counts;
        for (const Event &event : usual.events) {
            const Call &call = *Call::all().at(static_cast<size_t>(event.call));
            const int nth = ++counts[event.call];
            if ((scenario_.calls_vary && nth > 1) ||
                (!scenario_.only.empty() && scenario_.only.count(call.name) == 0)) {
                continue;
            }
#ifdef WITH_ADDRESS_SANITIZER
            if (&call == &g_malloc) {
                continue;
            }
#endif
            for (const Fault &fault : call.faults) {
                ++faults;
                if (really) {
                    SCOPED_TRACE(std::string(call.name) + " no. " + std::to_string(nth) + " (" +
                                 event.subject + ") fails: " + fault.name());
                    judge(scenario_, usual, {&call, nth, fault}, event.subject);
                }
            }
        }
        return faults;
    }

    const Scenario scenario_;
};

// Makes a test of each scenario, before main does its work.
inline bool enlist(const std::vector<Scenario> &scenarios)
{
    for (const Scenario &scenario : scenarios) {
        const std::string name =
            scenario.function + (scenario.story.empty() ? "" : "_") + scenario.story;
        testing::RegisterTest("every_call_of", name.c_str(), nullptr, nullptr, __FILE__, __LINE__,
                              [scenario]() -> testing::Test * { return new EveryCall(scenario); });
    }
    return true;
}

// A function that neither allocates nor calls the kernel, which is what its test says.
inline Scenario calls_nothing(const char *function, std::function<std::string()> act)
{
    Scenario scenario{.function = function, .act = std::move(act)};
    scenario.calls_nothing = true;
    return scenario;
}

// Says what the harness takes over and what it leaves alone, for the check against the library.
class CallNames : public testing::Environment {
    void TearDown() override
    {
        if (getenv("FAULTS_PLAN") == nullptr) {
            return;
        }
        for (const Call *call : Call::all()) {
            printf("KNOWN %s\n", call->name);
        }
        for (const char *name : kOtherNames) {
            printf("KNOWN %s\n", name);
        }
        for (const char *name : kCannotFail) {
            printf("KNOWN %s\n", name);
        }
    }
};
inline testing::Environment *const g_call_names = testing::AddGlobalTestEnvironment(new CallNames);

} // namespace faults
