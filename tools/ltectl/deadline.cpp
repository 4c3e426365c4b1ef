#include "ltectl/deadline.h"

#include "common/command.h"
#include "common/wan_manager.h"
#include "ltectl/clock.h"
#include "ltectl/endpoints.h"
#include "ltectl/held_lock.h"

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <optional>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>
#include <utility>

namespace lterouter::tools {

namespace {

constexpr int kTickMs = 100;
constexpr int kGraceMs = 200; // for an orderly end
constexpr int64_t kNoticeMs = 3000;
constexpr int64_t kLookMs = 250;

// Of this process's one command.
struct State {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    // Set before the work's thread starts.
    int changed = -1; // wakes the main thread
    int stop = -1;
    int signals = -1;
    // The rest under the mutex.
    const Wait *wait = nullptr;
    int64_t since_ms = 0;           // of the wait
    int64_t waited_ms = 0;          // before it
    std::optional<uint32_t> socket; // the peer's, at its start
    int64_t looked_ms = 0;          // for the peer, last
    bool missed = false;            // it was not there then
    bool noticed = false;           // the user has been told of waiting
    int64_t clock_s = 0;            // on the terminal; 0: none is shown
    bool lasting = false;
    bool renewed = false; // the deadline, by each wait of a lasting command
    bool given_up = false;
    Ending ending = {nullptr, nullptr};
    char unknown[256] = ""; // what the command leaves when it is ended, after "; "
    bool ended = false;     // the work itself, with its code
    int code = kFailed;
    bool left = false; // with its farewell
};

State g_state;

class Lock {
public:
    Lock() { pthread_mutex_lock(&g_state.mutex); }
    ~Lock() { pthread_mutex_unlock(&g_state.mutex); }
    Lock(const Lock &) = delete;
    Lock &operator=(const Lock &) = delete;
};

void wake(int fd)
{
    const uint64_t one = 1;
    static_cast<void>(!write(fd, &one, sizeof(one)));
}

void drain(int fd)
{
    uint64_t count;
    static_cast<void>(!read(fd, &count, sizeof(count)));
}

// After the main thread has given up, the work must not print anything.
void stay_if_given_up()
{
    bool given_up;
    {
        const Lock lock;
        given_up = g_state.given_up;
    }
    if (!given_up) {
        return;
    }
    for (;;) {
        pause();
    }
}

// ---- The work's thread ----

// Run once, by the work's thread or the main thread, whichever is first.
void say_farewell()
{
    void (*farewell)() = nullptr;
    {
        const Lock lock;
        std::swap(farewell, g_state.ending.farewell);
    }
    if (farewell != nullptr) {
        farewell();
    }
}

void *do_work(void *argument)
{
    const Work &work = *static_cast<const Work *>(argument);
    const int code = work.run(work.context);
    {
        const Lock lock;
        g_state.code = code;
        g_state.ended = true;
    }
    wake(g_state.changed);
    say_farewell();
    if (g_state.ending.close != nullptr) { // the work's own, which has ended
        g_state.ending.close();
    }
    {
        const Lock lock;
        g_state.left = true;
    }
    wake(g_state.changed);
    return nullptr;
}

// ---- The main thread ----

// An ignored signal stays ignored, as nohup and background jobs of a shell require.
bool open_descriptors()
{
    sigset_t ending;
    sigemptyset(&ending);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action = {};
        sigaction(number, nullptr, &action);
        if (action.sa_handler != SIG_IGN) {
            sigaddset(&ending, number);
        }
    }
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);
    g_state.signals = signalfd(-1, &ending, SFD_CLOEXEC);
    g_state.changed = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    g_state.stop = eventfd(0, EFD_CLOEXEC);
    return g_state.signals >= 0 && g_state.changed >= 0 && g_state.stop >= 0;
}

// Waits until something has changed or the time has passed; true for a signal.
bool await_change(int timeout_ms)
{
    pollfd watched[] = {{g_state.changed, POLLIN, 0}, {g_state.signals, POLLIN, 0}};
    poll(watched, std::size(watched), timeout_ms);
    drain(g_state.changed);
    return (watched[1].revents & POLLIN) != 0;
}

// True when the work has ended in order.
bool await_leaving()
{
    const int64_t until = now_ms() + kGraceMs;
    for (;;) {
        {
            const Lock lock;
            if (g_state.left) {
                return true;
            }
        }
        const int64_t left_ms = until - now_ms();
        if (left_ms <= 0) {
            return false;
        }
        // Further signals are ignored.
        pollfd changed = {g_state.changed, POLLIN, 0};
        poll(&changed, 1, static_cast<int>(left_ms));
        drain(g_state.changed);
    }
}

void *leave(void *argument)
{
    const auto *work = static_cast<const Work *>(argument);
    if (work != nullptr && work->salvage != nullptr) {
        work->salvage(work->context);
    }
    say_farewell();
    {
        const Lock lock;
        g_state.left = true;
    }
    wake(g_state.changed);
    return nullptr;
}

// Ends the process while the work still runs. salvaged: the work whose results so far are shown, or
// nullptr.
[[noreturn]] void end(int code, Work *salvaged)
{
    pthread_t thread;
    if (pthread_create(&thread, nullptr, leave, salvaged) == 0) {
        pthread_detach(thread); // it may hang, and is never waited for
        await_leaving();
    }
    _exit(code);
}

void wipe_clock()
{
    if (g_state.clock_s != 0) {
        fputs("\r\033[K", stderr);
        g_state.clock_s = 0;
    }
}

// What the work waits for, as a part of a sentence.
struct Awaited {
    explicit Awaited(const Wait &wait)
    {
        if (wait.peer != nullptr) {
            snprintf(text, sizeof(text), "the %s to %s", wait.peer->title, wait.what);
            return;
        }
        const HeldLock lock;
        if (lock.found()) {
            snprintf(text, sizeof(text), "the lock of %s, which %s holds", lock.path(), lock.holder());
        } else {
            snprintf(text, sizeof(text), "%s", wait.what);
        }
    }
    char text[512];
};

void show_waiting(uint32_t seconds, int64_t waited_ms)
{
    if (isatty(STDERR_FILENO) == 1) {
        const int64_t now_s = waited_ms / 1000;
        if (now_s != g_state.clock_s) {
            fprintf(stderr, "\r%s: waiting for %s ... %d s of %u s", g_program.name,
                    Awaited(*g_state.wait).text, static_cast<int>(now_s), seconds);
            g_state.clock_s = now_s;
        }
    } else if (!g_state.noticed) {
        note("waiting for %s, for %u s at most", Awaited(*g_state.wait).text, seconds);
    }
    g_state.noticed = true;
}

// Whether the process that existed when the wait began has ended. Tested twice, since its answer may
// have been received but not yet delivered to the work.
bool peer_is_gone(int64_t now)
{
    if (now - g_state.looked_ms < kLookMs || !g_state.socket || *g_state.socket == 0) {
        return false;
    }
    g_state.looked_ms = now;
    const auto socket = socket_at(module_address(g_state.wait->peer->module_id));
    const bool missed = socket && *socket != *g_state.socket;
    const bool gone = missed && g_state.missed;
    g_state.missed = missed;
    return gone;
}

int tell_gone(const Wait &wait)
{
    return fail(kNobody, "the %s on %s ended before it did %s; whether it had begun is not known",
                wait.peer->title, BoundName(*wait.peer).text, wait.what);
}

int tell_locked(const Wait &wait, uint32_t seconds)
{
    const HeldLock lock;
    return lock.found()
               ? fail(kNoAnswer, "%s holds the lock of %s, and has not given it back within %u s; %s%s",
                      lock.holder(), lock.path(), seconds, lock.next_step(), g_state.unknown)
               : fail(kNoAnswer,
                      "%s was not ready within %u s, though no other process holds a lock; dmesg "
                      "tells whether a device hangs%s",
                      wait.what, seconds, g_state.unknown);
}

int tell_late(const Wait &wait, uint32_t seconds)
{
    if (wait.too_late != nullptr) {
        return fail(wait.too_late_code, "%s", wait.too_late);
    }
    if (wait.peer == nullptr) {
        return tell_locked(wait, seconds);
    }
    return fail(
        kNoAnswer,
        "the %s is bound to %s, but did not %s within %u s: is it stopped or busy? It may still do so",
        wait.peer->title, BoundName(*wait.peer).text, wait.what, seconds);
}

// The reason to end the command while it waits, if there is one.
std::optional<int> look_at_wait(const Work &work)
{
    if (g_state.wait == nullptr || (g_state.lasting && !g_state.renewed)) {
        return std::nullopt;
    }
    const int64_t now = now_ms();
    const int64_t waited_ms = g_state.waited_ms + now - g_state.since_ms;
    const bool late = work.seconds != 0 && waited_ms >= static_cast<int64_t>(work.seconds) * 1000;
    if (late || peer_is_gone(now)) {
        wipe_clock();
        g_state.given_up = true;
        return late ? tell_late(*g_state.wait, work.seconds) : tell_gone(*g_state.wait);
    }
    if (waited_ms >= kNoticeMs) {
        show_waiting(work.seconds, waited_ms);
    }
    return std::nullopt;
}

int tell_interrupted(const Wait *wait)
{
    if (g_state.lasting) {
        return kDone;
    }
    return wait == nullptr || wait->peer == nullptr
               ? fail(kFailed, "interrupted%s", g_state.unknown)
               : fail(kFailed, "interrupted; the %s may go on with the request", wait->peer->title);
}

// Returns when the work has ended in order; work that waits for an answer cannot.
void end_by_signal()
{
    wake(g_state.stop);
    std::optional<int> code;
    {
        const Lock lock;
        if (g_state.wait != nullptr) {
            wipe_clock();
            g_state.given_up = true;
            code = tell_interrupted(g_state.wait);
        }
    }
    if (!code && await_leaving()) {
        return;
    }
    if (!code) {
        const Lock lock;
        g_state.given_up = true;
        code = g_state.ended ? g_state.code : tell_interrupted(nullptr);
    }
    end(*code, nullptr);
}

// The exit code of work that has ended.
int finish(pthread_t worker)
{
    const bool left = await_leaving();
    int code;
    {
        const Lock lock;
        code = g_state.code;
    }
    if (!left) {
        _exit(judge_output(code));
    }
    pthread_join(worker, nullptr);
    return code;
}

int watch(Work &work, pthread_t worker)
{
    for (;;) {
        bool idle;
        {
            const Lock lock;
            idle = g_state.lasting && !(g_state.renewed && g_state.wait != nullptr);
        }
        if (await_change(idle ? -1 : kTickMs)) {
            end_by_signal();
            return finish(worker);
        }
        std::optional<int> code;
        {
            const Lock lock;
            if (g_state.ended) {
                break;
            }
            code = look_at_wait(work);
        }
        if (code) {
            end(*code, &work);
        }
    }
    return finish(worker);
}

} // namespace

Waiting::Waiting(const Wait &wait) : wait_(wait)
{
    const auto socket = wait.asked || wait.peer == nullptr
                            ? wait.asked
                            : socket_at(module_address(wait.peer->module_id));
    bool renewed;
    {
        const Lock lock;
        g_state.wait = &wait_;
        g_state.since_ms = g_state.looked_ms = now_ms();
        g_state.socket = socket;
        g_state.missed = false;
        renewed = g_state.renewed;
        if (renewed) {
            g_state.waited_ms = 0;
            g_state.noticed = false;
        }
    }
    if (renewed) {
        wake(g_state.changed); // the main thread, which does not look at the clock meanwhile
    }
    stay_if_given_up();
}

Waiting::~Waiting()
{
    {
        const Lock lock;
        if (!g_state.given_up) {
            wipe_clock();
            g_state.wait = nullptr;
            g_state.waited_ms += now_ms() - g_state.since_ms;
        }
    }
    stay_if_given_up();
}

int run_work(Work work)
{
    if (!open_descriptors()) {
        return fail(kFailed, "cannot wait for signals: %s", strerror(errno));
    }
    pthread_t worker;
    const int error = pthread_create(&worker, nullptr, do_work, &work);
    return error == 0 ? watch(work, worker)
                      : fail(kFailed, "cannot start a thread: %s", strerror(error));
}

void at_end(const Ending &ending)
{
    bool given_up;
    {
        const Lock lock;
        g_state.ending = ending;
        given_up = g_state.given_up;
    }
    if (given_up) { // only this thread prints from now on
        say_farewell();
    }
}

void at_end(void (*farewell)())
{
    void (*close)() = nullptr;
    {
        const Lock lock;
        close = g_state.ending.close;
    }
    at_end({.farewell = farewell, .close = close});
}

void unknown_if_ended(const char *format, ...)
{
    const Lock lock;
    const size_t length = static_cast<size_t>(snprintf(g_state.unknown, sizeof(g_state.unknown), "; "));
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(g_state.unknown + length, sizeof(g_state.unknown) - length, format, arguments);
    va_end(arguments);
}

void run_until_signal()
{
    const Lock lock;
    g_state.lasting = true;
}

void run_until_signal_or_lock()
{
    const Lock lock;
    g_state.lasting = g_state.renewed = true;
}

int stop_fd() { return g_state.stop; }

} // namespace lterouter::tools
