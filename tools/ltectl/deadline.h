// The one deadline of a command, and its signals. The command's work runs on a thread of its own, since
// a call of the library cannot be cancelled. The main thread waits for the end of the work, the
// deadline, a signal and the end of the process that should answer; then it ends this process, even if
// the work still runs.
#pragma once

#include "common/command.h"
#include "common/program.h"
#include "ltectl/peer.h"

#include <cstdint>
#include <optional>

namespace lterouter::tools {

// What the work waits for.
struct Wait {
    const Peer *peer; // nullptr: the wait is for file locks, or for a device
    const char *what; // what the peer should do: "tell the roaming switch"; without a peer, a place
    const char *too_late = nullptr; // the message at the deadline, if not the usual one
    int too_late_code = kNoAnswer;
    // The peer's socket when it was asked, if that was before the wait: the peer may have restarted
    // since.
    std::optional<uint32_t> asked = std::nullopt;
};

// For calls that take the lock of a parameter.
inline constexpr Wait kStoreWait = {nullptr, "the parameter store"};

// The work waits during the lifetime of this object. Only that time counts towards the deadline, and
// only then the peer's end is noticed: a slow reader of the output must not cause a time-out. If the
// command is ended meanwhile, the destructor does not return.
class Waiting {
public:
    explicit Waiting(const Wait &wait);
    ~Waiting();
    Waiting(const Waiting &) = delete;
    Waiting &operator=(const Waiting &) = delete;

private:
    const Wait wait_;
};

struct Work {
    int (*run)(void *context); // returns the exit code
    void *context;
    uint32_t seconds; // until the deadline; 0: there is none
    // Shows the results so far when the work is ended.
    void (*salvage)(void *context) = nullptr;
};

// Runs the work. Returns its exit code, or ends the process.
int run_work(Work work);

template <typename Run> int run_until(uint32_t seconds, Run run)
{
    return run_work({.run = [](void *context) { return (*static_cast<Run *>(context))(); },
                     .context = &run,
                     .seconds = seconds});
}

// --timeout: the deadline.
inline uint32_t g_timeout_seconds = 10;
inline constexpr ValueType kTimeoutSeconds = {"a number of seconds from 1 to 400",
                                              parse_number_in<1, 400>};
inline constexpr Option kLockTimeoutOption = {"timeout", "SECONDS",
                                              "give up after waiting that long for locks (10)",
                                              &kTimeoutSeconds, &g_timeout_seconds};

// For the library's own time-outs: later than every deadline, even by the second that mkcondtimeout may
// drop.
inline constexpr uint32_t kBeyondAnyDeadlineMs = 500'000;

// A command under that deadline.
template <Run run> int in_time(char *const *operands)
{
    return run_until(g_timeout_seconds, [&] { return run(operands); });
}

// Steps at the end, within kGraceMs.
struct Ending {
    void (*farewell)(); // cancels what other processes keep of this one; the work may still wait
    void (*close)();    // after the work and its farewell
};

// For the work.
void at_end(const Ending &ending);
// The same with the close of before.
void at_end(void (*farewell)());

// For the work, before it changes something: the message if the command is ended before the work.
void unknown_if_ended(const char *format, ...) __attribute__((format(printf, 1, 2)));

// For the work: from now on there is no deadline, and a signal is the regular end.
void run_until_signal();
// The same, but every single wait has the deadline again.
void run_until_signal_or_lock();

// Readable as soon as a signal has come; -1 outside of run_work.
int stop_fd();

} // namespace lterouter::tools
