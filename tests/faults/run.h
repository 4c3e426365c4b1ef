// One run of a scenario: which calls are counted, which of them fails, and the results for the process
// that evaluates it. Each run is a process of its own, so this is in shared memory.
#pragma once

#include "heap.h"

#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <mutex>
#include <pthread.h>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace faults {

// How a call fails: with an error number, or in one of the ways that have none.
enum class Form {
    kFails,
    kShort,   // less than was there, or than was asked
    kNothing, // as if there were nothing
    kStatus,  // the shell could not be started
};

struct Fault {
    // An error number stands for the failure with it.
    constexpr Fault(int number, Form how = Form::kFails) : error(number), form(how) {}

    std::string name() const
    {
        switch (form) {
        case Form::kShort:
            return "short";
        case Form::kNothing:
            return "nothing";
        case Form::kStatus:
            return "status 127";
        default:
            return strerrorname_np(error);
        }
    }

    int error;
    Form form;
};

inline constexpr Fault kShort{0, Form::kShort};
inline constexpr Fault kNothing{0, Form::kNothing};
inline constexpr Fault kStatus{0, Form::kStatus};

// A call of libc (or of the allocation layer) that the library makes, and the ways in which it fails.
struct Call {
    Call(const char *symbol, std::initializer_list<Fault> ways) : name(symbol), faults(ways)
    {
        id = static_cast<int>(all().size());
        all().push_back(this);
    }
    Call(const Call &) = delete;
    Call &operator=(const Call &) = delete;

    static std::vector<Call *> &all()
    {
        static std::vector<Call *> calls;
        return calls;
    }

    const char *const name;
    const std::vector<Fault> faults;
    int id;
};

struct Event {
    int call;
    char subject[60]; // the file or other thing that the call was about
};

// What a run leaves behind.
struct Record {
    std::atomic<bool> fired;
    std::atomic<int> counts[128];
    std::atomic<int> event_count;
    Event events[4096];
    char result[256];
    char said[16384];           // log and trace, a line each
    char kept[256];             // what was taken and not given back when it had ended
    char next[256];             // what the same gives then
    char left[256];             // what has not been given back in the end
    std::atomic<bool> counting; // the first time, not what is done afterwards
    bool complete;

    void reset()
    {
        fired = false;
        counting = false;
        complete = false;
        event_count = 0;
        for (std::atomic<int> &count : counts) {
            count = 0;
        }
        result[0] = said[0] = kept[0] = next[0] = left[0] = '\0';
    }
};

inline Record *const g_record = static_cast<Record *>(
    mmap(nullptr, sizeof(Record), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));

// The call that is to fail.
struct Armed {
    const Call *call = nullptr;
    int nth = 0;
    Fault fault = 0;
};
inline Armed g_armed;

// Whose calls count: those of the thread that calls the library, or those of the library's own thread.
enum class Role { kNone, kCaller, kLibrary };

inline constinit thread_local Role t_role = Role::kNone;
inline constinit thread_local bool t_quiet = false;
inline std::atomic<bool> g_open{false}; // while the function under test runs
inline Role g_counted_role = Role::kCaller;
inline bool g_threads_count = false; // also the thread calls that cannot fail as the families use them
inline bool g_heap_counts = false;   // also what is allocated below the allocation layer

// What a test does on a thread whose calls count, itself or by way of libc.
class Quiet {
public:
    Quiet() { t_quiet = true; }
    ~Quiet() { t_quiet = was_; }
    Quiet(const Quiet &) = delete;
    Quiet &operator=(const Quiet &) = delete;

private:
    const bool was_ = t_quiet;
};

inline bool counted()
{
    return t_role != Role::kNone && !t_quiet && g_open && t_role == g_counted_role;
}
inline bool on_caller() { return t_role == Role::kCaller && !t_quiet && g_open; }

// A path that is another in each run, and what stands for it where subjects are compared.
inline char g_varying_path[32] = "none";
inline constexpr char kVarying[] = "the varying path";

// Counts a call; the fault when it is the one that is to fail, with errno set. Allocates nothing.
inline const Fault *due(const Call &call, const char *subject)
{
    if (!g_record->counting) {
        return nullptr;
    }
    const int nth = ++g_record->counts[call.id];
    const int event = g_record->event_count++;
    if (event < static_cast<int>(std::size(g_record->events))) {
        g_record->events[event].call = call.id;
        snprintf(g_record->events[event].subject, sizeof(Event::subject), "%s",
                 subject == nullptr                     ? "null"
                 : strcmp(subject, g_varying_path) == 0 ? kVarying
                                                        : subject);
    }
    if (g_armed.call != &call || g_armed.nth != nth) {
        return nullptr;
    }
    g_record->fired = true;
    errno = g_armed.fault.error;
    return &g_armed.fault;
}

inline bool heap_is_watched() { return t_role != Role::kNone && !t_quiet && g_open; }

// ---- What the library says ----

inline std::mutex g_said_mutex;
inline std::vector<std::string> g_said;

// A line without its source position, which stands behind its tag.
inline std::string without_position(std::string line)
{
    const size_t tag = line.rfind("[ERR]", 0) == 0 || line.rfind("[LOG]", 0) == 0 ? strlen("[ERR]") : 0;
    const std::string begin = line.substr(0, tag);
    line.erase(0, tag);
    if (line.rfind("[lib/", 0) == 0) {
        line.erase(0, line.find(']') + 1);
    }
    if (line.rfind(":cos,", 0) == 0) {
        const size_t text = line.find(' ', line.find(']'));
        line.erase(0, text == std::string::npos ? text : text + 1);
    }
    line.erase(line.find_last_not_of('\n') + 1);
    return begin + line;
}

// How lines of the log begin that are errors or notes; those of the trace have neither.
inline const std::string kError = "<11>";
inline std::string err(const std::string &text) { return kError + "[ERR]" + text; }
inline std::string note(const std::string &text) { return "<15>[LOG]" + text; }

inline void say(const std::string &line)
{
    if (!g_open) {
        return;
    }
    const Quiet quiet;
    const std::lock_guard guard(g_said_mutex);
    g_said.push_back(line);
}

// What has been said since the last time.
inline std::vector<std::string> take_said()
{
    const std::lock_guard guard(g_said_mutex);
    return std::exchange(g_said, {});
}

} // namespace faults
