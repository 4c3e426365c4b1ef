// bus: the endpoints of this machine, and the messages that one of them receives, shown or in a file.

#include "common/program.h"
#include "common/wan_manager.h"
#include "lc_file/stream.h"
#include "lte_sdk/request_table.h"
#include "ltectl/array.h"
#include "ltectl/capture.h"
#include "ltectl/client.h"
#include "ltectl/commands.h"
#include "ltectl/endpoints.h"
#include "ltectl/events.h"
#include "ltectl/message.h"
#include "ltectl/request.h"
#include "ltectl/secret.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <span>
#include <unistd.h>

namespace lterouter::tools {
namespace {

// ---- list ----

constexpr std::string_view kSuffix = "_common";

int compare_names(const void *a, const void *b)
{
    return strcmp(static_cast<const Bound *>(a)->name, static_cast<const Bound *>(b)->name);
}

// An endpoint's name, parsed.
struct Identity {
    std::string_view module;
    uint32_t pid = 0; // none in the name that a module's processes share
};

// False when it is not an endpoint's name.
bool parse_name(std::string_view name, Identity *identity)
{
    if (name.size() < kEndpointPrefix.size() + kSuffix.size()) {
        return false;
    }
    name.remove_prefix(kEndpointPrefix.size());
    const size_t length = name.size() - kSuffix.size();
    if (std::string_view(name.data() + length, kSuffix.size()) != kSuffix) {
        return false;
    }
    name = {name.data(), length};
    identity->module = name;
    const size_t mark = name.rfind('_');
    if (mark != std::string_view::npos) {
        const std::string_view digits(name.data() + mark + 1, name.size() - mark - 1);
        // Process ids in names have no leading zeros.
        if (!digits.starts_with('0') && parse_number(digits, 1, INT32_MAX, &identity->pid)) {
            identity->module = {name.data(), mark};
        }
    }
    return true;
}

// Stores the identifiers of the modules of that name, since two share one; returns how many.
size_t find_modules(std::string_view module, uint32_t (&ids)[IPC_MODULE_COUNT])
{
    size_t count = 0;
    for (uint32_t id = 0; id < IPC_MODULE_COUNT; ++id) {
        const ipc_addr address = module_address(id);
        Identity known;
        if (parse_name(socket_name(address), &known) && known.module == module) {
            ids[count++] = id;
        }
    }
    return count;
}

bool g_verbose = false;

// The messages that the WAN manager and the SMS store are sent, as far as the library's functions send
// them: with an answer, or without.
void add_served(Record &record, std::span<const uint32_t> modules, bool answered, const char *field)
{
    const char *names[std::size(kRequestRows)];
    size_t count = 0;
    for (const RequestRow &row : kRequestRows) {
        const char *name = message_name(row.msg_id);
        const bool served = std::find(modules.begin(), modules.end(), row.module_id) != modules.end();
        if (served && (row.timeout_ms != 0) == answered &&
            std::find(names, names + count, name) == names + count) { // two functions send some
            names[count++] = name;
        }
    }
    if (count != 0) {
        record.words(field, {names, count});
    }
}

bool is_running(uint32_t pid) { return kill(static_cast<pid_t>(pid), 0) == 0 || errno != ESRCH; }

void print_endpoint(const Bound &bound)
{
    Record record;
    record.event("endpoint").word("endpoint", bound.name);
    Identity identity;
    uint32_t ids[IPC_MODULE_COUNT];
    size_t count = 0;
    if (!parse_name(bound.name, &identity)) {
        record.field("kind", "unknown");
    } else {
        count = find_modules(identity.module, ids);
        record.field("module", identity.module);
        if (count != 0) {
            record.numbers("ids", {ids, count});
        }
        record.field("kind", identity.pid != 0 ? "process" : "shared");
    }
    if (identity.pid != 0) {
        record.number("pid", identity.pid)
            .field("status", is_running(identity.pid) ? "running" : "gone");
    }
    if (!bound.padded) {
        record.field("address", "short");
    }
    if (g_verbose) {
        add_served(record, {ids, count}, true, "answers");
        add_served(record, {ids, count}, false, "takes");
    }
}

int print_endpoints(FILE *table)
{
    Array<Bound> endpoints;
    Bound bound;
    while (next_endpoint(table, &bound)) {
        if (!endpoints.add(bound)) {
            return fail(kFailed, "cannot list the endpoints: %s", strerror(errno));
        }
    }
    endpoints.sort(compare_names);
    for (const Bound &endpoint : endpoints) {
        print_endpoint(endpoint);
    }
    return kDone;
}

// ---- watch ----

uint32_t g_count = 0; // 0: no limit
Capture g_capture;

// The answers to this process's own subscriptions are not shown.
uint32_t on_message(ipc_msg_hdr *received, uint32_t)
{
    if (received->type != IPC_MSG_TYPE_RESPONSE || !is_subscribing()) {
        Message message = {};
        copy_message(received, &message);
        pass_on(&message, sizeof(message));
    }
    return 0;
}
static_assert(is_passed_whole<Message>);

// This process publishes nothing.
uint32_t refuse_subscriber(uint32_t) { return 0; }

// An endpoint that hands every message to on_message and subscribes to all notifications.
int start_watching()
{
    if (!open_events()) {
        return fail(kFailed, "cannot wait for messages: %s", strerror(errno));
    }
    at_end({.farewell = lct_deregister, .close = ipc_msg_fin});
    const uint32_t result = ipc_msg_init(IPC_MODULE_CLI1, nullptr, on_message, refuse_subscriber, 1);
    return result == IPC_SUCCESS ? subscribe_to_all() : fail_to_open(result);
}

} // namespace

const Option kBusListOptions[] = {
    {"verbose", nullptr,
     "show the requests that a module answers, and those it takes without an answer", &kSwitch,
     &g_verbose, 'v'},
    {},
};

constexpr Option kCountOption = {"count", "N", "end after N messages", &kCount, &g_count};

const Option kBusWatchOptions[] = {
    kCountOption,
    kTimestampsOption,
    {"show-secrets", nullptr, "show PINs too", &kSwitch, &g_show_secrets},
    kSubscribingTimeoutOption,
    {},
};

const Option kBusCaptureOptions[] = {
    kCountOption,
    {"show-secrets", nullptr, "capture PINs too", &kSwitch, &g_show_secrets},
    kSubscribingTimeoutOption,
    {},
};

int bus_list(char *const *)
{
    const Stream table{fopen(kSocketTable, "re")};
    if (!table) {
        return fail(kFailed, "cannot read %s: %s", kSocketTable, strerror(errno));
    }
    return print_endpoints(table.get());
}

int bus_watch(char *const *)
{
    return run_until(g_timeout_seconds, [] {
        if (const int code = start_watching(); code != kDone) {
            return code;
        }
        // On standard error: output is one line for each message.
        note("waiting for messages to lc_socket_cli1_%u_common; end with Ctrl-C",
             static_cast<unsigned int>(getpid()));
        Message message;
        return show_events(&message, sizeof(message), g_count, {[](const void *arrived) {
            print_message(*static_cast<const Message *>(arrived));
        }});
    });
}

int bus_capture(char *const *operands)
{
    return run_until(g_timeout_seconds, [=] {
        if (const int code = start_watching(); code != kDone) {
            return code;
        }
        if (const int code = g_capture.open(operands[0]); code != kDone || g_capture.is_lost()) {
            return code;
        }
        note("capturing messages to lc_socket_cli1_%u_common; end with Ctrl-C",
             static_cast<unsigned int>(getpid()));
        Message message = {};
        const int code = show_events(
            &message, sizeof(message), g_count,
            {.event =
                 [](const void *arrived) { g_capture.add(*static_cast<const Message *>(arrived)); },
             .presence = [](bool is_back) { note("the WAN manager is %s", is_back ? "back" : "gone"); },
             .is_lost = [] { return g_capture.is_lost(); }});
        return code == kDone ? g_capture.finish() : code;
    });
}

} // namespace lterouter::tools
