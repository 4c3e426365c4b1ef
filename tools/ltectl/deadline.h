// The one deadline of a command, and its signals. The command's work runs on a thread of its own, since
// nothing calls a call of the library off. The main thread waits for the end of the work, for the
// deadline, for a signal and for the end of the process that is to answer, and then ends this one,
// whatever the work is at.
#pragma once

#include "common/command.h"
#include "common/program.h"
#include "ltectl/peer.h"

#include <cstdint>
#include <optional>

namespace lterouter::tools {

// What the work waits for.
struct Wait {
    const Peer *peer;               // nullptr: for locks of files, and for a device
    const char *what;               // that the peer is to do: "tell the roaming switch"; else a place
    const char *too_late = nullptr; // said at the deadline instead of the usual
    int too_late_code = kNoAnswer;
    // The peer's socket when it was asked, where that comes before the wait: by now it may be
    // another's.
    std::optional<uint32_t> asked = std::nullopt;
};

// For calls that take the lock of a parameter.
inline constexpr Wait kStoreWait = {nullptr, "the parameter store"};

// The work waits for as long as this lives. Only that time counts up to the deadline, and only
// meanwhile the peer's end is looked at: a reader of the output may take its time. When the command is
// ended meanwhile, the work does not go on.
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
    // Shows what is known when no more is to be expected.
    void (*salvage)(void *context) = nullptr;
};

// Has the work done. Returns its exit code, or does not return.
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
                                              "end when locks keep it waiting for longer (10)",
                                              &kTimeoutSeconds, &g_timeout_seconds};

// For the library's own timeouts: the deadline comes first, whatever the library makes of the fraction
// of a second.
inline constexpr uint32_t kBeyondAnyDeadlineMs = 500'000;

// A command under that deadline.
template <Run run> int in_time(char *const *operands)
{
    return run_until(g_timeout_seconds, [&] { return run(operands); });
}

// What is done at the end, within a fraction of a second.
struct Ending {
    void (*farewell)(); // takes back what is left with others, also while the work still waits
    void (*close)();    // after the work and its farewell
};

// For the work.
void at_end(const Ending &ending);

// For the work: it begins to change something. This is said when the command is ended before the work.
void unknown_if_ended(const char *format, ...) __attribute__((format(printf, 1, 2)));

// For the work: from now on there is no deadline, and a signal is the regular end.
void run_until_signal();

// Readable as soon as a signal has come; -1 outside of run_work.
int stop_fd();

} // namespace lterouter::tools
