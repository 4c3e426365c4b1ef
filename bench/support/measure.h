// Measuring operations of the library: how much longer one takes than the same system calls made by
// hand, and how the time of one grows.
//
// The process is pinned to one CPU. The two sides of a comparison are timed one operation at a time in
// turns, so that whatever else the machine does meets both; the clock's own time is taken off.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace bench {

using Operation = std::function<void()>;

// The library's operation and what it is held against.
struct Comparison {
    std::string name;
    Operation ours;
    Operation bare;
    double goal; // for the ratio of the medians
};

// What was done size times took so many seconds.
struct Step {
    unsigned size;
    double seconds;
};

// Collects what a benchmark measures: a table on standard output, or with --json an object a line.
class Report {
public:
    // Pins the process. Ends it with 2 when the arguments are wrong.
    Report(const char *what, int argc, char **argv);

    void compare(const std::vector<Comparison> &comparisons);
    // The time of an operation on so many things. prepare: what it needs, not timed; once for each
    // size.
    void grow(const std::string &name, const std::vector<unsigned> &sizes,
              const std::function<void(unsigned size)> &prepare, const Operation &operation);

    // For main: 1 when a goal was missed.
    int status() const { return missed_ ? 1 : 0; }

private:
    void show(const Comparison &comparison, std::vector<double> ours, std::vector<double> bare);

    bool json_ = false;
    bool missed_ = false;
};

// Ends the program: what is not done is not to be measured.
void require(bool done, const char *what);

} // namespace bench
