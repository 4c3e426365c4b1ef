// Measuring the library beside the same work done by hand and beside what its users would take instead.
//
// The process, and what it starts, is pinned to one CPU. The contenders of a race do their work in
// turns, in another order each round, so that whatever else the machine does, and what one leaves to be
// done, meets all of them; the clock's own time is taken off. What was measured goes to standard
// output, an object a line; scripts/bench makes tables and plots of it.
//
// With --instructions only the library's own work is done, a few times for each race and size, for
// callgrind to count the instructions of this process.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace bench {

using Operation = std::function<void()>;

// One of several that do the same.
struct Contender {
    std::string name;
    Operation operation;
    double goal = 0;           // for the library's median divided by this one's; 0 for none
    Operation reset = nullptr; // before each operation, if it needs one; not timed
    // What the last operation took, where timing it would time changes of the thread too.
    std::function<double()> seconds = nullptr;
};

struct Race {
    std::string name;
    std::vector<unsigned> sizes;                  // how many things there are: see prepare and batch
    std::function<unsigned(unsigned size)> batch; // what one operation does so many times
    std::function<void(unsigned size)> prepare;   // before the operations of a size; not timed
    std::vector<Contender> contenders;            // the library first
};

// For a race in which one operation is one thing done.
unsigned once(unsigned size);
void nothing(unsigned size);

// What one of several needs of something that is not time.
struct Need {
    std::string name;
    double amount;
    double goal = 0; // for the library's divided by this one's; 0 for none
};

class Report {
public:
    // Pins the process. Ends it with 2 when the arguments are wrong.
    Report(int argc, char **argv);

    // The time of one thing done, beside others, at each size.
    void race(const Race &race) const;
    // The library first.
    void needs(const std::string &name, const char *unit, const std::vector<Need> &needs) const;

    bool counts_instructions() const { return counts_instructions_; }

private:
    bool counts_instructions_ = false;
};

[[noreturn]] void fail(const char *what);

// Ends the program: what is not done is not to be measured.
inline void require(bool done, const char *what)
{
    if (!done) {
        fail(what);
    }
}

} // namespace bench
