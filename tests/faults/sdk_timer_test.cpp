// Effects of failing calls in the timer service.
#include "harness.h"

#include "sdk_timer.h"

namespace sdk_timer_test {

using namespace faults;

namespace {

std::atomic<int> g_fired{0};

// The service runs for good once it has started.
void start_service()
{
    inside([] { init_timer(); });
}

timer described(uint32_t interval)
{
    return {.name = "timer",
            .interval = interval,
            .repeat = 0,
            .callback = [](uintptr_t) { ++g_fired; },
            .arg = 0};
}

std::string started()
{
    timer descriptor = described(1000);
    timer_id id = {1, 1};
    const int32_t result = start_timer(&descriptor, &id);
    return shown(result) + (id.node == 0 ? " without id" : " with id");
}

timer_id g_id = {};

void start_service_and_timer()
{
    start_service();
    timer descriptor = described(1000);
    start_timer(&descriptor, &g_id);
}

Rule memory(int nth, const char *result, const char *line)
{
    return {.call = "mem_malloc_ex", .result = result, .said = {kError + line}, .nth = nth};
}

const bool g_enlisted = enlist({
    {.function = "init_timer",
     .act = [] { return shown(init_timer()); },
     .rules = {memory(1, "1", "create gp_timer_list error"),
               memory(2, "1", "create timer header error"),
               memory(3, "1", "create deleted list header error"),
               memory(4, "-1", "init first timer node error"),
               memory(5, "-1", "init first list node error"),
               {.call = "pthread_create", .result = "4", .said = {kError + "create thread failed."}}},
     // It runs then, whether it ran already or not.
     .next =
         [] {
             init_timer();
             return started();
         },
     .stays = true},
    // A sleep that is cut short is a short tick.
    {.function = "init_timer",
     .story = "ticks",
     .act =
         [] {
             timer descriptor = described(100);
             timer_id id;
             g_fired = 0;
             start_timer(&descriptor, &id);
             testing_support::eventually([] { return g_fired == 1; });
             return shown(g_fired.load());
         },
     .setup = start_service,
     .role = Role::kLibrary,
     .stays = true,
     .calls_vary = true},
    {.function = "start_timer",
     .act = started,
     .rules = {memory(1, "-1 without id", "init timer node error"),
               memory(2, "-1 without id", "init list node error")},
     .setup = start_service,
     .stays = true},
    {.function = "stop_timer",
     .act = [] { return shown(stop_timer(g_id.node, g_id.stamp)); },
     .setup = start_service_and_timer,
     .stays = true,
     .calls_nothing = true},
    {.function = "exist_timer",
     .act = [] { return shown(exist_timer(g_id.node, g_id.stamp)); },
     .setup = start_service_and_timer,
     .stays = true,
     .calls_nothing = true},
    {.function = "query_timer",
     .act =
         [] {
             uint32_t counts[2];
             return shown(query_timer(counts));
         },
     .setup = start_service,
     .stays = true,
     .calls_nothing = true},
    calls_nothing("printf_list", [] { return shown(printf_list()); }),
    calls_nothing("printf_timerlist",
                  [] {
                      printf_timerlist();
                      return std::string();
                  }),
});

} // namespace

} // namespace sdk_timer_test
