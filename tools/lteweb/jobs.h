// Long work, one of each kind at a time: the search for operators and the upgrade of the modem.
#pragma once

#include "lteweb/child.h"
#include "lteweb/events.h"
#include "lteweb/routes.h"

#include <cstdio>

namespace lterouter::tools {

class Job {
public:
    Job(const char *name, int64_t longest_ms, Listeners &listeners)
        : name_(name), longest_ms_(longest_ms), listeners_(listeners)
    {
    }

    // Also when another process does it, or a server before this one has begun it.
    bool running() const { return child_.running() || elsewhere_; }
    void note_elsewhere(bool elsewhere);
    // False with errno set.
    bool start(const Settings &settings, CommandLine &line, int stdin_file);
    // {"running":...}, without the results of none.
    void write(FILE *file) const;
    Child &child() { return child_; }
    const Child &child() const { return child_; }

private:
    static void on_line(void *context, std::string_view line);
    static void on_end(void *context, Child &child);
    void add_line(std::string_view line);
    void finish();
    // An event; add: what it tells beside which job it is, and whether it runs.
    template <typename Add> void publish(Add add);
    template <typename Add> void publish_own(Add add);

    const char *const name_;
    const int64_t longest_ms_;
    Listeners &listeners_;
    Child child_;
    bool elsewhere_ = false; // nothing else is known of it
    bool ever_ = false;
    int64_t started_ms_ = 0;
    Bytes objects_; // with commas between them
    Bytes message_;
    int exit_code_ = 0;
};

// Whether a line is an object, as everything that ltectl prints is.
inline bool is_object(std::string_view line) { return line.starts_with('{') && line.ends_with('}'); }

} // namespace lterouter::tools
