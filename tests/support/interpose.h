// Interposing a function that the shared library calls: the test program defines it, and hooks decide
// what each call does. Which functions are interposed stands in calls.h and library_calls.h, and each
// is defined there alone, so that all headers that add hooks can be included in one program.
#pragma once

#include <atomic>
#include <cerrno>
#include <dlfcn.h>
#include <functional>
#include <type_traits>

namespace testing_support {

// The next definition of a function after the test program's own.
template <typename Function> Function *next_definition(const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

// State of an interposed function. Never destroyed: the process makes such calls until its very end,
// as when the library's coverage counts are written.
template <typename State> State &kept()
{
    static State *const state = new State();
    return *state;
}

// Fails the n-th of those that ask it, once.
class Fault {
public:
    // Counted from now on, from 1; 0 fails none.
    void fail_nth(int n, int error = EIO)
    {
        nth_ = 0;
        error_ = error;
        asked_ = 0;
        nth_ = n;
    }
    // With errno set when it does.
    bool fails()
    {
        if (++asked_ != nth_) {
            return false;
        }
        errno = error_;
        return true;
    }
    // How many have asked since the last fail_nth, and whether the one that was to fail is among them.
    int asked() const { return asked_; }
    bool failed() const { return nth_ != 0 && asked_ >= nth_; }

private:
    std::atomic<int> nth_{0};
    std::atomic<int> asked_{0};
    std::atomic<int> error_{0};
};

// An interposed function. A call of it goes through the hooks, the youngest first, then through
// the fault, to the real function. Needs neither construction nor destruction at run time: calls come
// before and after both.
template <typename> class Interposed;
template <typename Result, typename... Arguments>
class Interposed<Result(Arguments...)> : public Fault {
    struct Link;

public:
    // What is behind a hook.
    class Next {
    public:
        Next(Interposed *call, Link *link) : call_(call), link_(link) {}
        Result operator()(Arguments... arguments) const { return call_->pass(link_, arguments...); }

    private:
        Interposed *call_;
        Link *link_;
    };
    using Hook = std::function<Result(const Next &, Arguments...)>;

    // Of a function without a result the failure is its absence.
    using Failure = std::conditional_t<std::is_void_v<Result>, std::nullptr_t, Result>;
    constexpr Interposed(const char *symbol, Failure failure) : symbol_(symbol), failure_(failure) {}

    std::atomic<int> made{0}; // calls so far

    Result operator()(Arguments... arguments)
    {
        ++made;
        return pass(links_, arguments...);
    }

    // Past hooks and fault.
    Result real(Arguments... arguments)
    {
        auto *function = real_.load();
        if (function == nullptr) {
            function = next_definition<Result(Arguments...)>(symbol_);
            real_ = function;
        }
        return function(arguments...);
    }

    // For good, or until the given flag is cleared. A hook is never freed: a thread may be in it.
    std::atomic<bool> &add(Hook hook)
    {
        Link *const link = new Link{std::move(hook), true, links_};
        links_ = link;
        return link->active;
    }

private:
    struct Link {
        Hook hook;
        std::atomic<bool> active;
        Link *older;
    };

    Result pass(Link *link, Arguments... arguments)
    {
        while (link != nullptr && !link->active) {
            link = link->older;
        }
        if (link != nullptr) {
            return link->hook(Next(this, link->older), arguments...);
        }
        if (!fails()) {
            return real(arguments...);
        }
        if constexpr (!std::is_void_v<Result>) {
            return failure_;
        }
    }

    const char *const symbol_;
    const Failure failure_;
    std::atomic<Link *> links_{nullptr};
    std::atomic<Result (*)(Arguments...)> real_{nullptr};
};

// A hook for as long as this lives.
class Hooked {
public:
    template <typename Function>
    Hooked(Interposed<Function> &call, typename Interposed<Function>::Hook hook)
        : active_(call.add(std::move(hook)))
    {
    }
    ~Hooked() { active_ = false; }
    Hooked(const Hooked &) = delete;
    Hooked &operator=(const Hooked &) = delete;

private:
    std::atomic<bool> &active_;
};

} // namespace testing_support

// Interposes a function under the linker's name for it, which may differ from the headers'. `failure`
// is what a call that fails gives. Weak, since each source file of a program may include the
// definition.
#define INTERPOSE_AS(name, symbol, failure, Result, parameters, arguments) \
    namespace testing_support::calls {                                     \
    inline constinit Interposed<Result parameters> name{symbol, failure};  \
    }                                                                      \
    extern "C" Result taken_##name parameters __asm__(symbol);             \
    extern "C" [[gnu::weak]] Result taken_##name parameters                \
    {                                                                      \
        return testing_support::calls::name arguments;                     \
    }

#define INTERPOSE(name, failure, Result, parameters, arguments) \
    INTERPOSE_AS(name, #name, failure, Result, parameters, arguments)
