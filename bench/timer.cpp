// Timers beside those of libuv and libevent. What waits for time to pass is taken over in all three:
// what is measured is their own work. At each tick the loops of the others are entered and left, as by
// a program that has its own; the library's goes on in its thread.
#include "sdk_timer.h"
#include "support/measure.h"

#include <chrono>
#include <event2/event.h>
#include <random>
#include <semaphore.h>
#include <sys/epoll.h>
#include <sys/select.h>
#include <sys/time.h>
#include <uv.h>

// ---- What they wait with ----

namespace {

using Clock = std::chrono::steady_clock;

// The ticks of the service's thread, asked for by many at once, and what they took: as the thread sees
// it, which may wait long for its turn on a busy machine.
struct Ticks {
    sem_t asked;
    sem_t done;
    unsigned due = 0;
    Clock::time_point begin;
    double seconds = 0;
};
Ticks g_ticks;

void start_service()
{
    sem_init(&g_ticks.asked, 0, 0);
    sem_init(&g_ticks.done, 0, 0);
    bench::require(init_timer() == TIMER_SUCCESS, "init_timer");
    sem_wait(&g_ticks.done);
}

void pass_ticks(unsigned count)
{
    g_ticks.due = count;
    sem_post(&g_ticks.asked);
    sem_wait(&g_ticks.done);
}

} // namespace

extern "C" {

int select(int, fd_set *, fd_set *, fd_set *, timeval *)
{
    if (g_ticks.due == 0) {
        g_ticks.seconds = std::chrono::duration<double>(Clock::now() - g_ticks.begin).count();
        sem_post(&g_ticks.done);
        sem_wait(&g_ticks.asked);
        g_ticks.begin = Clock::now();
    }
    --g_ticks.due;
    return 0;
}

int epoll_wait(int, epoll_event *, int, int) { return 0; }

int epoll_pwait(int, epoll_event *, int, int, const sigset_t *) { return 0; }

} // extern "C"

namespace {

// ---- The three ----

constexpr size_t kMostLive = 10000;
constexpr unsigned kStartsAtOnce = 100;
constexpr unsigned kTicksAtOnce = 1000;

void never_expires() { bench::require(false, "a timer expired"); }

struct OurService {
    using Timer = timer_id;

    void make(Timer *) {}
    void start(Timer *id, uint32_t milliseconds)
    {
        timer descriptor = {"benchmark", milliseconds, 0, [](uintptr_t) { never_expires(); }, 0};
        bench::require(start_timer(&descriptor, id) == TIMER_SUCCESS, "start_timer");
    }
    void stop(Timer *id)
    {
        bench::require(stop_timer(id->node, id->stamp) == TIMER_SUCCESS, "stop_timer");
    }
    void idle(unsigned ticks) { pass_ticks(ticks); }
};

struct UvService {
    using Timer = uv_timer_t;

    UvService() { bench::require(uv_loop_init(&loop) == 0, "uv_loop_init"); }
    void make(Timer *timer) { uv_timer_init(&loop, timer); }
    void start(Timer *timer, uint32_t milliseconds)
    {
        const auto expired = [](uv_timer_t *) { never_expires(); };
        bench::require(uv_timer_start(timer, expired, milliseconds, 0) == 0, "uv_timer_start");
    }
    void stop(Timer *timer) { uv_timer_stop(timer); }
    void idle(unsigned ticks)
    {
        for (unsigned i = 0; i < ticks; ++i) {
            uv_run(&loop, UV_RUN_NOWAIT);
        }
    }

    uv_loop_t loop;
};

struct EventService {
    using Timer = event *;

    EventService() { bench::require(base != nullptr, "event_base_new"); }
    void make(Timer *timer)
    {
        *timer = evtimer_new(
            base, [](int, short, void *) { never_expires(); }, nullptr);
    }
    void start(Timer *timer, uint32_t milliseconds)
    {
        const timeval after = {milliseconds / 1000, milliseconds % 1000 * 1000};
        bench::require(evtimer_add(*timer, &after) == 0, "evtimer_add");
    }
    void stop(Timer *timer) { evtimer_del(*timer); }
    void idle(unsigned ticks)
    {
        for (unsigned i = 0; i < ticks; ++i) {
            event_base_loop(base, EVLOOP_NONBLOCK);
        }
    }

    event_base *base = event_base_new();
};

// A service with so many live timers, and one to start and stop.
template <typename Service> class Bench {
public:
    Bench() : timers_(kMostLive)
    {
        for (auto &timer : timers_) {
            service_.make(&timer);
        }
        service_.make(&timer_);
    }

    void set_live(unsigned count)
    {
        for (; live_ < count; ++live_) {
            service_.start(&timers_[live_], any_interval());
        }
        for (; live_ > count; --live_) {
            service_.stop(&timers_[live_ - 1]);
        }
    }
    bench::Contender starts(const char *name)
    {
        return {name, [this] {
                    for (unsigned i = 0; i < kStartsAtOnce; ++i) {
                        service_.start(&timer_, any_interval());
                        service_.stop(&timer_);
                    }
                }};
    }
    bench::Contender ticks(const char *name)
    {
        return {name, [this] { service_.idle(kTicksAtOnce); }};
    }

private:
    // Anywhere among the live ones; longer than all ticks of a size together.
    uint32_t any_interval() { return 3000000000 + static_cast<uint32_t>(random_() % 1000000000); }

    Service service_;
    std::minstd_rand random_;
    std::vector<typename Service::Timer> timers_;
    typename Service::Timer timer_;
    size_t live_ = 0;
};

} // namespace

int main(int argc, char **argv)
{
    const bench::Report report(argc, argv);
    start_service();
    static Bench<OurService> ours;
    static Bench<UvService> uv;
    static Bench<EventService> event;
    const auto set_live = [](unsigned count) {
        ours.set_live(count);
        uv.set_live(count);
        event.set_live(count);
    };
    const std::vector<unsigned> sizes = {10, 100, 1000, kMostLive};
    report.race({"timer: start and stop",
                 sizes,
                 [](unsigned) { return kStartsAtOnce; },
                 set_live,
                 {ours.starts("lterouter"), uv.starts("libuv"), event.starts("libevent")}});
    bench::Contender our_ticks = ours.ticks("lterouter");
    our_ticks.seconds = [] { return g_ticks.seconds; };
    report.race({"timer: idle tick",
                 sizes,
                 [](unsigned) { return kTicksAtOnce; },
                 [&](unsigned count) {
                     set_live(0);
                     set_live(count);
                 },
                 {our_ticks, uv.ticks("libuv"), event.ticks("libevent")}});
    return 0;
}
