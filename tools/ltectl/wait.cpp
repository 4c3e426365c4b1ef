// wait: until the system is as a script needs it.

#include "common/completion.h"
#include "common/program.h"
#include "common/record.h"
#include "common/text.h"
#include "common/wan_manager.h"
#include "lc_nv.h"
#include "ltectl/array.h"
#include "ltectl/clock.h"
#include "ltectl/commands.h"
#include "ltectl/endpoints.h"
#include "ltectl/interface.h"
#include "ltectl/link_state.h"
#include "ltectl/parameter.h"
#include "ltectl/request.h"
#include "ltectl/wakeup.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <optional>

namespace lterouter::tools {
namespace {

constexpr int64_t kAnswerMs = 2000; // of a WAN manager, which is asked again later
constexpr uint32_t kSendMs = 100;   // for room in its socket
constexpr int64_t kNoticeMs = 3000;

uint32_t g_seconds = 60;

// ---- The WAN manager ----

bool subscribes(const ipc_addr &address, uint32_t timeout_ms)
{
    const uint32_t result =
        ipc_register_notify(&address, WM_MSG_LINK_STATUS_NOTIFY, whole_timeout(timeout_ms));
    if (result != IPC_ERR_SOCKET) { // or it has not been sent
        ipc_deregister_notify(&address, WM_MSG_LINK_STATUS_NOTIFY);
    }
    return result == IPC_SUCCESS;
}

class Manager {
public:
    // No answer is waited for beyond that.
    void set_end(int64_t end_ms) { end_ms_ = end_ms; }

    // Looks once for all conditions that ask.
    bool is_there()
    {
        if (!socket_) {
            socket_ = socket_at(wan_manager_address()).value_or(0);
        }
        return *socket_ != 0;
    }
    void look_again() { socket_.reset(); }

    // Each new one is asked until it answers.
    bool answers()
    {
        const int64_t left_ms = std::min(kAnswerMs, end_ms_ - now_ms());
        if (is_there() && answered_ != *socket_ && left_ms > 0 &&
            subscribes(wan_manager_address(), static_cast<uint32_t>(left_ms))) {
            answered_ = *socket_;
        }
        return is_there() && answered_ == *socket_;
    }

private:
    std::optional<uint32_t> socket_; // of the one that is there, or 0
    uint32_t answered_ = 0;
    int64_t end_ms_ = 0;
};

// ---- Kinds of conditions ----

// Why a condition does not hold.
struct Reason {
    char text[96] = "";
};

bool manager_holds(Manager &manager, const char *, Reason *reason)
{
    const bool holds = manager.answers();
    snprintf(reason->text, sizeof(reason->text), "%s",
             manager.is_there() ? "it does not answer" : "none is bound to its name");
    return holds;
}

// What a WAN manager has stored counts while it is there.
bool stored_holds(Manager &manager, const char *stored, const char *wanted, Reason *reason)
{
    if (!manager.is_there()) {
        snprintf(reason->text, sizeof(reason->text), "there is no WAN manager");
        return false;
    }
    snprintf(reason->text, sizeof(reason->text), "it is %s", stored[0] != '\0' ? stored : "not known");
    return strcmp(stored, wanted) == 0;
}

bool link_holds(Manager &manager, const char *wanted, Reason *reason)
{
    const auto state = read_link_state();
    return stored_holds(manager, state && *state < std::size(kLinkStates) ? kLinkStates[*state] : "",
                        wanted, reason);
}

bool sim_holds(Manager &manager, const char *wanted, Reason *reason)
{
    return stored_holds(manager, SimStatus().text, wanted, reason);
}

bool interface_holds(Manager &, const char *name, Reason *reason)
{
    const auto up = is_interface_up(name);
    snprintf(reason->text, sizeof(reason->text), "it is %s", up ? "down" : "not there");
    return up.value_or(false);
}

bool parse_link(const char *text, void *)
{
    return std::any_of(std::begin(kLinkStates), std::end(kLinkStates),
                       [=](const char *state) { return strcmp(state, text) == 0; });
}

bool parse_sim(const char *text, void *)
{
    return text[0] != '\0' && strlen(text) < sizeof(SimStatus::text);
}

constexpr ValueType kLinkState = {"connected, connecting, disconnected or disconnecting", parse_link,
                                  [](Offer &offer) {
                                      for (const char *state : kLinkStates) {
                                          offer.add(state);
                                      }
                                  }};
constexpr ValueType kSimState = {
    "a state of at most 63 characters, such as sim_ready", parse_sim, [](Offer &offer) {
        offer.add_each("sim_ready sim_pin pin_enable sim_puk sim_locked sim_absent", ' ');
    }};

struct Kind {
    const char *name;
    const ValueType *value; // nullptr: it has none
    bool (*holds)(Manager &manager, const char *value, Reason *reason);
    Wakeup::Of told; // who tells of a change
};

constexpr Wakeup::Of kStored = {.directory = NVMRAM_DIR, .others = true};

const Kind kKinds[] = {
    {"manager", nullptr, manager_holds, {.others = true}},
    {"link", &kLinkState, link_holds, kStored},
    {"sim", &kSimState, sim_holds, kStored},
    {"interface", &kInterfaceName, interface_holds, {.interfaces = true}},
};

// ---- Conditions ----

struct Condition {
    const char *text; // on the command line
    const Kind *kind;
    const char *value;
};

int parse(const char *text, Condition *condition)
{
    const size_t length = strcspn(text, "=");
    for (const Kind &kind : kKinds) {
        const bool named = strlen(kind.name) == length && strncmp(text, kind.name, length) == 0;
        if (!named || (kind.value != nullptr) != (text[length] == '=')) {
            continue;
        }
        *condition = {text, &kind, text + length + 1};
        InterfaceText unused;
        return kind.value == nullptr || kind.value->parse(condition->value, unused)
                   ? kDone
                   : bad_value(kind.name, *kind.value, condition->value);
    }
    return fail(kUsage, "CONDITION is manager, link=STATE, sim=STATE or interface=NAME, not \"%s\"",
                text);
}

class Conditions {
public:
    int add(const char *text)
    {
        Condition condition;
        const int code = parse(text, &condition);
        return code != kDone || all_.add(condition) ? code : fail(kFailed, "out of memory");
    }

    Wakeup::Of told() const
    {
        Wakeup::Of told;
        for (const Condition &condition : all_) {
            const Wakeup::Of &more = condition.kind->told;
            told.directory = more.directory != nullptr ? more.directory : told.directory;
            told.interfaces |= more.interfaces;
            told.others |= more.others;
        }
        return told;
    }

    void set_end(int64_t end_ms) { manager_.set_end(end_ms); }

    // Lists those that do not hold.
    bool hold()
    {
        manager_.look_again();
        missing_ = Text<512>();
        for (const Condition &condition : all_) {
            Reason reason;
            if (!condition.kind->holds(manager_, condition.value, &reason)) {
                missing_.add(missing_.empty() ? "" : ", ").add(condition.text);
                missing_.add(" (").add(reason.text).add(")");
            }
        }
        return missing_.empty();
    }

    const char *missing() const { return missing_.text(); }

    void print() const
    {
        for (const Condition &condition : all_) {
            Record().event("met").text("met").word("condition", condition.text);
        }
    }

private:
    Array<Condition> all_;
    Manager manager_;
    Text<512> missing_;
};

// ---- The wait ----

int await(Conditions &conditions)
{
    const Wakeup wakeup(conditions.told());
    const int64_t begun_ms = now_ms();
    const int64_t end_ms = begun_ms + int64_t{g_seconds} * 1000;
    conditions.set_end(end_ms);
    int64_t notice_ms = std::min(begun_ms + kNoticeMs, end_ms);
    while (!conditions.hold()) {
        if (now_ms() >= end_ms) {
            return fail(kNoAnswer, "not within %u s: %s", g_seconds, conditions.missing());
        }
        switch (wakeup.await(notice_ms)) {
        case Wakeup::Reason::kChange:
            break;
        case Wakeup::Reason::kSignal:
            return fail(kFailed, "interrupted while waiting for %s", conditions.missing());
        case Wakeup::Reason::kError:
            return fail(kFailed, "cannot wait: %s", strerror(errno));
        case Wakeup::Reason::kTime:
            if (notice_ms < end_ms) {
                note("waiting for %s, for %u s at most", conditions.missing(), g_seconds);
                notice_ms = end_ms;
            }
            break;
        }
    }
    conditions.print();
    return kDone;
}

// Of a WAN manager to be asked, and of parameters to be watched, there must be an endpoint and a
// directory.
int prepare(const Wakeup::Of &told)
{
    if (told.directory != nullptr) {
        if (const int code = make_volatile_store(); code != kDone) {
            return code;
        }
    }
    ipc_msg_set_send_limit(kSendMs);
    return told.others ? open_endpoint() : kDone;
}

} // namespace

const Option kAwaitOptions[] = {
    {"timeout", "SECONDS", "give up after that long (60)", &kSeconds, &g_seconds},
    {},
};

void offer_condition(Offer &offer, const char *const *)
{
    for (const Kind &kind : kKinds) {
        if (kind.value != nullptr) {
            offer.add_values(kind.name, *kind.value);
        } else {
            offer.add(kind.name);
        }
    }
}

int await_conditions(char *const *operands)
{
    Conditions conditions;
    for (; *operands != nullptr; ++operands) {
        if (const int code = conditions.add(*operands); code != kDone) {
            return code;
        }
    }
    // The conditions' own end is the usual one; the deadline ends a wait for the lock of a parameter.
    return run_until(g_seconds, [&] {
        const int code = prepare(conditions.told());
        return code == kDone ? await(conditions) : code;
    });
}

} // namespace lterouter::tools
