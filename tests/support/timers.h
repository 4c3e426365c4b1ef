// Interposes the calls that the timer service uses: its sleep, its thread and its clock. Gives access
// to its lists.
#pragma once

#include "sdk_timer.h"
#include "support/allocations.h"
#include "support/calls.h"
#include "support/library_calls.h"
#include "support/tick_source.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace testing_support {

// ---- What the service stands on ----

// A clock that advances by a microsecond a look.
struct ServiceClock {
    std::atomic<uint32_t> seconds{1000};
    std::atomic<uint32_t> microseconds{0};
    std::atomic<bool> stopped{false};
    std::atomic<bool> fails{false}; // as where the time has come to need more bits than time_t has

    void stop_at(uint32_t at_seconds, uint32_t at_microseconds)
    {
        seconds = at_seconds;
        microseconds = at_microseconds;
        stopped = true;
    }
    // What a timer that starts now is stamped with.
    uint32_t stamp() const { return seconds + microseconds; }
};
inline ServiceClock g_clock;

struct ServiceThread {
    std::atomic<bool> has_attributes{false};
    std::atomic<bool> slept_otherwise{false}; // than for 0 s and 50000 us, on no descriptor
    void *(*routine)(void *) = nullptr;
    pthread_t id = {};
};
inline ServiceThread g_service_thread;

// The thread is nobody's to join.
inline void *run_service_thread(void *argument)
{
    pthread_detach(pthread_self());
    void *const result = g_service_thread.routine(argument);
    ticks().end();
    return result;
}

// The two that init_timer made last.
struct ServiceLists {
    const lc_list *timers = nullptr;
    const lc_list *parked = nullptr;
};
inline ServiceLists g_service_lists;

inline const bool g_service_is_interposed = [] {
    // Only the service sleeps like this here. As of the real one, nothing is left of the time.
    calls::select.add(
        [](auto &, int count, auto *readable, auto *writable, auto *exceptional, timeval *timeout) {
            if (count != 0 || readable != nullptr || writable != nullptr || exceptional != nullptr ||
                timeout == nullptr || timeout->tv_sec != 0 || timeout->tv_usec != 50000) {
                g_service_thread.slept_otherwise = true;
            } else {
                *timeout = {};
            }
            ticks().sleep();
            return 0;
        });
    calls::gettimeofday.add([](auto &, timeval *now, void *) {
        if (g_clock.fails) {
            errno = EOVERFLOW;
            return -1;
        }
        now->tv_sec = static_cast<time_t>(g_clock.seconds);
        now->tv_usec =
            static_cast<suseconds_t>(g_clock.microseconds.fetch_add(g_clock.stopped ? 0 : 1));
        return 0;
    });
    calls::lc_pthread_create.add(
        [](auto &next, auto *thread, auto *attributes, auto *routine, void *argument) {
            g_service_thread.has_attributes = attributes != nullptr;
            g_service_thread.routine = routine;
            const int result = next(thread, attributes, run_service_thread, argument);
            g_service_thread.id = *thread;
            return result;
        });
    calls::lc_list_create.add([](auto &next) {
        lc_list *const list = next();
        g_service_lists = {g_service_lists.parked, list};
        return list;
    });
    return true;
}();

// ---- What the service shows ----

// What the data of a node of the service is.
struct TimerEntry {
    lc_list_node *node;
    uint32_t stamp;
    int32_t remaining;
    timer descriptor;
};

inline constexpr Allocation kTimerControl = {"control record", MEM_OWNER_TIMER, 1, kAnySize};
inline constexpr Allocation kTimerEntry = of_size("timer", MEM_OWNER_TIMER, sizeof(TimerEntry));
inline constexpr Allocation kTimerNode =
    of_size("node of a timer", MEM_OWNER_TIMER, sizeof(lc_list_node));

inline const TimerEntry &entry_of(const lc_list_node *node)
{
    return *static_cast<const TimerEntry *>(node->data);
}

using Nodes = std::vector<uintptr_t>;

inline Nodes nodes_of(const lc_list *list)
{
    Nodes nodes;
    const lc_list_node *node = list->head;
    for (uint32_t i = 0; i < list->count; ++i, node = node->next) {
        nodes.push_back(reinterpret_cast<uintptr_t>(node));
    }
    return nodes;
}

// In the order of their expiry.
inline Nodes running_nodes()
{
    Nodes nodes = nodes_of(g_service_lists.timers);
    nodes.erase(nodes.begin()); // no timer: what the others hang on
    return nodes;
}

inline Nodes parked_nodes() { return nodes_of(g_service_lists.parked); }

using Deltas = std::vector<int32_t>;

inline Deltas deltas()
{
    Deltas result;
    for (const uintptr_t node : running_nodes()) {
        result.push_back(entry_of(reinterpret_cast<const lc_list_node *>(node)).remaining);
    }
    return result;
}

using Counts = std::pair<uint32_t, uint32_t>; // repeating, one-shot

inline Counts counts()
{
    uint32_t words[2] = {99, 99};
    EXPECT_EQ(query_timer(words), TIMER_SUCCESS);
    return {words[0], words[1]};
}

// ---- Timers ----

constexpr uint32_t kOnce = 0;
constexpr uint32_t kRepeating = 1;

using Fired = std::vector<uintptr_t>;

// The arguments that callbacks were given. Look only while the thread sleeps.
inline Fired g_fired;
inline void note_fired(uintptr_t arg) { g_fired.push_back(arg); }
inline Fired take_fired() { return std::exchange(g_fired, {}); }

inline timer described(uint32_t interval, uint32_t repeat = kOnce, uintptr_t arg = 0,
                       const char *name = "timer")
{
    timer result = {};
    strncpy(result.name, name, sizeof(result.name) - 1);
    result.interval = interval;
    result.repeat = repeat;
    result.callback = note_fired;
    result.arg = arg;
    return result;
}

inline timer_id started(timer descriptor)
{
    timer_id id = {1, 1};
    EXPECT_EQ(start_timer(&descriptor, &id), TIMER_SUCCESS);
    return id;
}

inline timer_id started(uint32_t interval, uint32_t repeat = kOnce, uintptr_t arg = 0)
{
    return started(described(interval, repeat, arg));
}

inline int32_t stop(timer_id id) { return stop_timer(id.node, id.stamp); }
inline int32_t exists(timer_id id) { return exist_timer(id.node, id.stamp); }

// What fires in each of so many ticks.
inline std::vector<Fired> fired_in_ticks(unsigned count)
{
    std::vector<Fired> result;
    for (unsigned i = 0; i < count; ++i) {
        EXPECT_TRUE(ticks().pass());
        result.push_back(take_fired());
    }
    return result;
}

// Needs a service that runs.
class Timers : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(init_timer(), TIMER_SUCCESS); }
    void TearDown() override { EXPECT_FALSE(g_service_thread.slept_otherwise); }
};

} // namespace testing_support
