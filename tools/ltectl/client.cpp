#include "ltectl/client.h"

#include "common/program.h"
#include "common/wan_manager.h"
#include "lte_sdk.h"
#include "ltectl/clock.h"
#include "ltectl/endpoints.h"
#include "ltectl/events.h"
#include "ltectl/link_state.h"
#include "ltectl/parameter.h"
#include "ltectl/request.h"

#include <atomic>
#include <cerrno>
#include <cstring>

namespace lterouter::tools {
namespace {

constexpr uint32_t kAnswerTimeoutMs = 4000; // of a WAN manager that has restarted
constexpr int64_t kLookMs = 500;
constexpr char kSubscribing[] = "answer a subscription";

const lct_config g_config = {.reserved = {}, .callback = on_event};

std::atomic<bool> g_subscribing{false};

uint32_t g_first_served = 0;

uint32_t try_to_subscribe(uint32_t notification, uint32_t timeout_ms)
{
    const ipc_addr address = wan_manager_address();
    const Waiting waiting({&kWanManager, kSubscribing});
    g_subscribing = true;
    const uint32_t result = ipc_register_notify(&address, notification, timeout_ms);
    g_subscribing = false;
    return result;
}

int32_t init_client()
{
    const Waiting waiting({&kWanManager, kSubscribing});
    return lct_module_init(&g_config);
}

// ---- Restarts of the WAN manager ----

class Presence {
public:
    enum class Change { kNone, kGone, kBack };

    // At most once in a while.
    bool is_due() const { return now_ms() - looked_ms_ >= kLookMs; }
    int64_t next_ms() const { return looked_ms_ + kLookMs; }

    Change look()
    {
        looked_ms_ = now_ms();
        const auto socket = socket_at(wan_manager_address());
        if (!socket) {
            return Change::kNone;
        }
        if (served_ != 0) {
            if (*socket == served_) {
                return Change::kNone;
            }
            served_ = 0;
            return Change::kGone;
        }
        // One that has just started may not have stored its state yet.
        const bool settled = *socket != 0 && *socket == seen_;
        seen_ = *socket;
        if (!settled || !subscribe_again()) {
            return Change::kNone;
        }
        served_ = *socket;
        return Change::kBack;
    }

private:
    bool subscribe_again()
    {
        for (const uint32_t notification : kNotifications) {
            if (try_to_subscribe(notification, kAnswerTimeoutMs) != IPC_SUCCESS) {
                return false;
            }
        }
        return true;
    }

    uint32_t served_ =
        g_first_served; // the socket of the one that has subscribed us; 0 while it is gone
    uint32_t seen_ = 0;
    int64_t looked_ms_ = now_ms();
};

void print_state()
{
    const auto state = read_link_state();
    if (state) {
        Record record;
        add_time(record, wall_clock_ms());
        add_link_state(record, *state);
    }
}

// False when a signal comes instead of a reader.
bool tell(Presence::Change change, const Showing &showing)
{
    if (change == Presence::Change::kNone) {
        return true;
    }
    if (!await_reader()) {
        return false;
    }
    showing.presence(change == Presence::Change::kBack);
    return true;
}

} // namespace

bool is_subscribing() { return g_subscribing; }

uint32_t first_served() { return g_first_served; }

int subscribe(uint32_t notification)
{
    if (g_first_served == 0) {
        g_first_served = socket_at(wan_manager_address()).value_or(0);
    }
    const uint32_t result = try_to_subscribe(notification, kBeyondAnyDeadlineMs);
    if (result == IPC_SUCCESS) {
        return kDone;
    }
    if (result == IPC_ERR_SOCKET) {
        return tell_nobody(kWanManager);
    }
    return fail(kFailed, "the WAN manager on %s refuses to publish its events (code %u)",
                BoundName(kWanManager).text, result);
}

int subscribe_to_all()
{
    for (const uint32_t notification : kNotifications) {
        if (const int code = subscribe(notification); code != kDone) {
            return code;
        }
    }
    return kDone;
}

int start_client()
{
    if (!open_events()) {
        return fail(kFailed, "cannot wait for events: %s", strerror(errno));
    }
    if (const int code = make_volatile_store(); code != kDone) { // the LTE client needs it
        return code;
    }
    // After a failure the steps before the failed one remain done.
    at_end({.farewell = lct_deregister, .close = [] { lct_module_fin(); }});
    const int32_t result = init_client();
    if (result != 0) {
        return fail(kFailed, "cannot start the LTE client (code %d); see %s", result, LCT_TRACE_FILE);
    }
    // lct_module_init does not report whether its subscriptions were answered. Subscribing again does,
    // and is idempotent.
    return subscribe(WM_MSG_LINK_STATUS_NOTIFY);
}

void print_presence(bool is_back)
{
    {
        Record record;
        add_time(record, wall_clock_ms());
        record.word("event", "manager").word("status", is_back ? "back" : "gone");
    }
    if (is_back) {
        print_state();
    }
}

bool is_output_lost() { return output_error() != 0; }

int show_events(void *event, size_t size, uint32_t count, const Showing &showing)
{
    Presence presence;
    run_until_signal();
    uint32_t last = 0;
    for (uint32_t printed = 0; count == 0 || printed < count;) {
        if (presence.is_due() && !tell(presence.look(), showing)) {
            return kDone;
        }
        switch (next_event(event, size, presence.next_ms())) {
        case Arrival::kEvent:
            note_lost(event, &last);
            if (!await_reader()) {
                return kDone;
            }
            showing.event(event);
            ++printed;
            break;
        case Arrival::kSignal:
        case Arrival::kReaderGone:
            return kDone;
        case Arrival::kTimeout:
            break;
        case Arrival::kError:
            return fail(kFailed, "cannot wait for events: %s", strerror(errno));
        }
        if (showing.is_lost()) {
            return kDone; // judge_output decides at the end whether this is a failure
        }
    }
    return kDone;
}

} // namespace lterouter::tools
