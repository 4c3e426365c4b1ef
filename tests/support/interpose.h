// Interposing a function that the shared library calls: a test program defines it, and this finds the
// real one.
#pragma once

#include <dlfcn.h>

// Before a function that a header interposes: each source file of a program may include the header, and
// the linker keeps one of the definitions.
#define TAKES_OVER [[gnu::weak]]

namespace testing_support {

// The next definition of a function after the test program's own.
template <typename Function> Function *next_definition(const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

// State of a call that is taken over. Never destroyed: the process makes such calls until its very end,
// as when the library's coverage counts are written.
template <typename State> State &kept()
{
    static State *const state = new State();
    return *state;
}

// Fails the n-th of the calls that ask it (counted from 1), or none when n is 0.
struct FailNth {
    int nth = 0;
    int calls = 0;

    void arm(int n)
    {
        nth = n;
        calls = 0;
    }
    bool fails() { return ++calls == nth; }
};

} // namespace testing_support
