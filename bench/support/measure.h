// Measuring operations of the library: how much longer one takes than the same system calls made by
// hand or another library, and how the time of one grows.
//
// The process is pinned to one CPU. The sides of a comparison are timed in turns, so that whatever else
// the machine does meets all of them; the clock's own time is taken off.
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

// One of several that do the same.
struct Contender {
    std::string name;
    Operation operation;
    Operation reset = [] {}; // before each operation; not timed
    // What the last operation took, where timing it would time changes of the thread too.
    std::function<double()> seconds = nullptr;
};

struct Race {
    std::string name;
    std::vector<unsigned> sizes;
    std::function<unsigned(unsigned size)> batch; // what one operation does so many times
    std::function<void(unsigned size)> prepare;   // not timed
    std::vector<Contender> contenders;            // the library first
    double goal;                                  // for its ratio to each other; 0 for none
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

    // The time of one thing done, beside others, at each size.
    void race(const Race &race);

    // For main: 1 when a goal was missed.
    int status() const { return missed_ ? 1 : 0; }

private:
    // What a contender took at one size, and at the size before: 0 at the first.
    struct Lap {
        std::vector<double> seconds;
        double median_before;
    };

    void show(const Comparison &comparison, std::vector<double> ours, std::vector<double> bare);
    void show(const Race &race, unsigned size, std::vector<Lap> *laps);

    bool json_ = false;
    bool missed_ = false;
};

// Ends the program: what is not done is not to be measured.
void require(bool done, const char *what);

} // namespace bench
