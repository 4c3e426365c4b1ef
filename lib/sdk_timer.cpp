// Timers in one delta list: each entry holds its ticks relative to the entry before it, so that a tick
// changes only the first. Entries are never freed but parked for the next start, so that the id of a
// timer that has ended can always be dereferenced.
//
// One mutex guards both lists and the counters; it is held while callbacks run.

#include "sdk_timer.h"

#include "lc_list/owned.h"
#include "lc_log/print.h"
#include "lc_mem/alloc.h"
#include "lc_pthread/mutex.h"
#include "support/ignore.h"
#include "support/layout.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <sys/select.h>
#include <sys/time.h>

namespace lterouter {
namespace {

constexpr LogFamily kLogFamily = kLogTimer;
constexpr suseconds_t kTickMicroseconds = TIMER_TICK_MS * 1000;

static_assert(on_32_bits(offsetof(timer, interval) == 24 && offsetof(timer, repeat) == 28 &&
                         offsetof(timer, callback) == 32 && offsetof(timer, arg) == 36));
static_assert(on_32_bits(sizeof(timer_id) == 8 && offsetof(timer_id, stamp) == 4));

Mutex g_mutex;

struct Entry {
    lc_list_node *node GUARDED_BY(g_mutex); // null while parked
    uint32_t stamp GUARDED_BY(g_mutex);
    int32_t remaining GUARDED_BY(g_mutex); // ticks
    timer descriptor GUARDED_BY(g_mutex);
};

using NewEntry = OwnedEntry<Entry, MEM_OWNER_TIMER>;

// Control block of the service.
struct TimerList {
    uint32_t repeating GUARDED_BY(g_mutex);
    uint32_t one_shot GUARDED_BY(g_mutex);
    lc_list *list; // its first entry is a permanent head, not a timer
};

TimerList *gp_timer_list GUARDED_BY(g_mutex) = nullptr;
lc_list *g_deleted GUARDED_BY(g_mutex) = nullptr;

Entry &entry_of(const lc_list_node *node) { return *static_cast<Entry *>(node->data); }

lc_list_node *first_timer() REQUIRES(g_mutex) { return gp_timer_list->list->head->next; }

bool is_empty() REQUIRES(g_mutex) { return first_timer() == gp_timer_list->list->head; }

int32_t ticks_of(const timer &descriptor)
{
    return static_cast<int32_t>(descriptor.interval / TIMER_TICK_MS);
}

uint32_t &counter_of(const timer &descriptor) REQUIRES(g_mutex)
{
    return descriptor.repeat == 1 ? gp_timer_list->repeating : gp_timer_list->one_shot;
}

// Whether these words are the id of a running timer. A parked entry has no node, a reused one another
// stamp.
bool runs(uintptr_t id, uint32_t stamp) REQUIRES(g_mutex)
{
    const auto *node = reinterpret_cast<const lc_list_node *>(id);
    return node->data != nullptr && entry_of(node).node == node && entry_of(node).stamp == stamp;
}

// ---- The delta list ----

// Links a node so that it expires after `ticks`, after others that expire in the same tick.
bool insert_timer(lc_list_node *node, int32_t ticks) REQUIRES(g_mutex)
{
    lc_list *const list = gp_timer_list->list;
    lc_list_node *current = list->head;
    int32_t sum = 0;
    while (current->next != list->head && ticks >= sum) {
        current = current->next;
        sum += entry_of(current).remaining;
    }
    Entry &entry = entry_of(node);
    uint32_t result;
    if (sum > ticks) {
        int32_t &behind = entry_of(current).remaining;
        entry.remaining = ticks - (sum - behind);
        behind -= entry.remaining;
        result = lc_list_add_before(list, current, node);
    } else {
        entry.remaining = ticks - sum;
        result = lc_list_add_at_tail(list, node);
    }
    if (result != LC_LIST_SUCCESS) {
        return false;
    }
    ++counter_of(entry.descriptor);
    printf_timerlist();
    return true;
}

bool remove_timer(lc_list_node *node) REQUIRES(g_mutex)
{
    lc_list *const list = gp_timer_list->list;
    const Entry &entry = entry_of(node);
    if (node->next != list->head) {
        entry_of(node->next).remaining += entry.remaining;
    }
    if (lc_list_del_node(list, node) != LC_LIST_SUCCESS) {
        return LC_FAIL(false, "remove list node from gp_timer_list failure");
    }
    --counter_of(entry.descriptor);
    printf_timerlist();
    return true;
}

// Removes a timer and parks its entry; its id is stale afterwards.
bool del_timer(lc_list_node *node) REQUIRES(g_mutex)
{
    if (!remove_timer(node)) {
        return LC_FAIL(false, "remove node error\n");
    }
    entry_of(node).node = nullptr;
    if (lc_list_add_at_head(g_deleted, node) != LC_LIST_SUCCESS) {
        return LC_FAIL(false, "add deleted node into delete list error\n");
    }
    return true;
}

// ---- Starting ----

// A parked node, its entry cleared but for the last stamp; null on failure.
lc_list_node *reuse_node() REQUIRES(g_mutex)
{
    uint32_t error;
    lc_list_node *node = lc_list_del_from_head(g_deleted, &error);
    if (node == nullptr || error != LC_LIST_SUCCESS) {
        return LC_FAIL(nullptr, "get node from delete list error errorno=%ld\n",
                       static_cast<long>(error));
    }
    if (node->data == nullptr || entry_of(node).node != nullptr) {
        return LC_FAIL(nullptr, "deleted node is not validate\n");
    }
    entry_of(node) = {.node = nullptr, .stamp = entry_of(node).stamp, .remaining = 0, .descriptor = {}};
    return node;
}

bool is_complete(const NewEntry &entry, const char *no_record, const char *no_node)
{
    if (entry.is_complete()) {
        return true;
    }
    return LC_FAIL(false, "%s", entry.record == nullptr ? no_record : no_node);
}

// A new node with a zeroed entry; null when out of memory.
lc_list_node *build_node()
{
    NewEntry entry = NewEntry::with_record_first();
    return is_complete(entry, "init timer node error\n", "init list node error\n") ? entry.release()
                                                                                   : nullptr;
}

// Never 0, which is no stamp, nor the entry's last one, which would make a stale id valid again.
uint32_t creation_stamp(uint32_t last)
{
    timeval now;
    uint32_t stamp = last + 1; // used when gettimeofday fails, as with a 32-bit time_t after 2038
    if (gettimeofday(&now, nullptr) == 0) {
        stamp = static_cast<uint32_t>(now.tv_sec) + static_cast<uint32_t>(now.tv_usec);
    }
    while (stamp == 0 || stamp == last) {
        ++stamp;
    }
    return stamp;
}

int32_t add_timer(timer *descriptor, timer_id *id) REQUIRES(g_mutex)
{
    descriptor->interval -= descriptor->interval % TIMER_TICK_MS;
    lc_list_node *node = lc_list_query_num(g_deleted) != 0 ? reuse_node() : build_node();
    if (node == nullptr) {
        return TIMER_ERR_INTERNAL;
    }
    Entry &entry = entry_of(node);
    entry.descriptor = *descriptor;
    entry.node = node;
    entry.stamp = creation_stamp(entry.stamp);
    *id = {reinterpret_cast<uintptr_t>(node), entry.stamp};
    if (!insert_timer(node, ticks_of(entry.descriptor))) {
        *id = {};
        return LC_FAIL(TIMER_ERR_INTERNAL, "init list node error\n");
    }
    return TIMER_SUCCESS;
}

// ---- The thread ----

// A repeating timer shorter than a tick expires at every tick.
bool restart(lc_list_node *node) REQUIRES(g_mutex)
{
    if (!remove_timer(node)) {
        return LC_FAIL(false, "remove timer node from gp_timer_list error\n");
    }
    if (!insert_timer(node, std::max(ticks_of(entry_of(node).descriptor), 1))) {
        return LC_FAIL(false, "insert timer node into gp_timer_list error\n");
    }
    return true;
}

bool fire(lc_list_node *node) REQUIRES(g_mutex)
{
    const timer &descriptor = entry_of(node).descriptor;
    if (descriptor.callback != nullptr) {
        descriptor.callback(descriptor.arg);
    }
    if (descriptor.repeat == 1) {
        return restart(node);
    }
    return del_timer(node) || LC_FAIL(false, "delete timer node from gp_timer_list error\n");
}

// One tick. False ends the service, since its list is then inconsistent.
bool tick()
{
    const MutexLock guard(g_mutex);
    if (is_empty() || --entry_of(first_timer()).remaining >= 1) {
        return true;
    }
    do {
        if (!fire(first_timer())) {
            return false;
        }
    } while (!is_empty() && entry_of(first_timer()).remaining == 0);
    return true;
}

void *timer_thread(void *)
{
    do {
        timeval duration = {.tv_sec = 0, .tv_usec = kTickMicroseconds};
        select(0, nullptr, nullptr, nullptr, &duration);
    } while (tick());
    return nullptr;
}

// What init_timer allocates; freed unless the service starts.
struct Service {
    mem::Ptr<TimerList, MEM_OWNER_TIMER> control;
    OwnedList timers;
    OwnedList deleted;

    void keep()
    {
        constexpr char kReason[] = "the service has no end";
        ignore(control.release(), kReason);
        ignore(timers.release(), kReason);
        ignore(deleted.release(), kReason);
    }
};

int32_t make_service(Service *service)
{
    service->control = mem::make<TimerList, MEM_OWNER_TIMER>();
    if (service->control == nullptr) {
        return LC_FAIL(TIMER_ERR_NOT_INIT, "create gp_timer_list error\n");
    }
    service->timers.reset(lc_list_create());
    if (service->timers == nullptr) {
        return LC_FAIL(TIMER_ERR_NOT_INIT, "create timer header error\n");
    }
    service->deleted.reset(lc_list_create());
    if (service->deleted == nullptr) {
        return LC_FAIL(TIMER_ERR_NOT_INIT, "create deleted list header error\n");
    }
    NewEntry head = NewEntry::with_record_first();
    if (!is_complete(head, "init first timer node error\n", "init first list node error\n")) {
        return TIMER_ERR_INTERNAL;
    }
    if (head.give(lc_list_add_at_head, service->timers.get()) != LC_LIST_SUCCESS) {
        return LC_FAIL(TIMER_ERR_INTERNAL, "add first list node error\n");
    }
    service->control->list = service->timers.get();
    return TIMER_SUCCESS;
}

} // namespace
} // namespace lterouter

using namespace lterouter;

int32_t init_timer()
{
    const MutexLock guard(g_mutex);
    if (gp_timer_list != nullptr || g_deleted != nullptr) {
        return LC_FAIL(TIMER_ERR_NOT_INIT, "timer_list has been inited\n");
    }
    Service service;
    if (const int32_t failure = make_service(&service); failure != TIMER_SUCCESS) {
        return failure;
    }
    pthread_t thread; // never joined: the service cannot be stopped
    gp_timer_list = service.control.get();
    g_deleted = service.deleted.get();
    if (lc_pthread_create(&thread, nullptr, timer_thread, nullptr) != 0) {
        gp_timer_list = nullptr;
        g_deleted = nullptr;
        return LC_FAIL(TIMER_ERR_THREAD, "create thread failed.\n");
    }
    service.keep();
    return TIMER_SUCCESS;
}

int32_t start_timer(timer *descriptor, timer_id *id)
{
    *id = {};
    if (strnlen(descriptor->name, sizeof(descriptor->name)) > TIMER_NAME_MAX) {
        return LC_FAIL(TIMER_ERR_PARAM, "timer's name error\n");
    }
    if (descriptor->repeat > 1) {
        return LC_FAIL(TIMER_ERR_PARAM, "timer's repeat error\n");
    }
    const MutexLock guard(g_mutex);
    if (gp_timer_list == nullptr) {
        return LC_FAIL(TIMER_ERR_NOT_INIT, "gp_timer_list is NULL\n");
    }
    return add_timer(descriptor, id);
}

int32_t stop_timer(uintptr_t node, uint32_t stamp)
{
    if (const int32_t result = exist_timer(node, stamp); result != TIMER_SUCCESS) {
        return result;
    }
    const MutexLock guard(g_mutex);
    if (!runs(node, stamp)) {
        return TIMER_ERR_NO_TIMER; // expired since exist_timer
    }
    return del_timer(reinterpret_cast<lc_list_node *>(node)) ? TIMER_SUCCESS : TIMER_ERR_INTERNAL;
}

int32_t exist_timer(uintptr_t node, uint32_t stamp)
{
    if (node == 0 || stamp == 0) {
        return LC_FAIL(TIMER_ERR_PARAM, "exclusive id is invalid\n");
    }
    const MutexLock guard(g_mutex);
    if (gp_timer_list == nullptr) {
        return LC_FAIL(TIMER_ERR_NOT_INIT, "gp_timer_list is NULL\n");
    }
    return runs(node, stamp) ? TIMER_SUCCESS : TIMER_ERR_NO_TIMER;
}

int32_t query_timer(uint32_t counts[2])
{
    const MutexLock guard(g_mutex);
    if (gp_timer_list == nullptr) {
        return TIMER_ERR_NOT_INIT;
    }
    counts[0] = gp_timer_list->repeating;
    counts[1] = gp_timer_list->one_shot;
    return TIMER_SUCCESS;
}

int32_t printf_list() { return 0; }

// Weak: otherwise the compiler would drop the calls of an empty function, and a debugger its hook.
[[gnu::weak]] void printf_timerlist() {}
