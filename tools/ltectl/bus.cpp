// bus: the endpoints of this machine, and what arrives at one of them.

#include "common/program.h"
#include "common/wan_manager.h"
#include "ltectl/array.h"
#include "ltectl/client.h"
#include "ltectl/commands.h"
#include "ltectl/events.h"
#include "ltectl/message.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace lterouter::tools {
namespace {

// ---- list ----

constexpr char kTable[] = "/proc/net/unix";
constexpr unsigned int kUnconnected = 1;
constexpr std::string_view kPrefix = "lc_socket_";
constexpr std::string_view kSuffix = "_common";

struct Bound {
    char name[sizeof(sockaddr_un::sun_path)];
    bool padded; // with NULs up to the end, which is part of the name
};

// A line of the kernel's table, which shows a NUL of an abstract name as "@". False for whatever is no
// endpoint: what listens or is connected. The type does not tell, since MIPS has other numbers for it
// than the machine that emulates a program.
bool parse_socket(const char *line, Bound *bound)
{
    unsigned int flags = 0;
    unsigned int state = 0;
    int start = 0;
    const bool listed =
        sscanf(line, "%*s %*x %*x %x %*x %x %*u %n", &flags, &state, &start) == 2 && start != 0;
    if (!listed || flags != 0 || state != kUnconnected || line[start] != '@') {
        return false;
    }
    const char *name = line + start + 1;
    size_t length = strcspn(name, "\n");
    if (length >= sizeof(bound->name) || strncmp(name, kPrefix.data(), kPrefix.size()) != 0) {
        return false;
    }
    bound->padded = length == sizeof(bound->name) - 1;
    while (name[length - 1] == '@') {
        --length;
    }
    snprintf(bound->name, sizeof(bound->name), "%.*s", static_cast<int>(length), name);
    return true;
}

int compare_names(const void *a, const void *b)
{
    return strcmp(static_cast<const Bound *>(a)->name, static_cast<const Bound *>(b)->name);
}

// What an endpoint's name tells.
struct Identity {
    std::string_view module;
    uint32_t pid = 0; // none in the name that a module's processes share
};

// False when it has not the form of one.
bool parse_name(std::string_view name, Identity *identity)
{
    if (name.size() < kPrefix.size() + kSuffix.size()) {
        return false;
    }
    name.remove_prefix(kPrefix.size());
    const size_t length = name.size() - kSuffix.size();
    if (std::string_view(name.data() + length, kSuffix.size()) != kSuffix) {
        return false;
    }
    name = {name.data(), length};
    identity->module = name;
    const size_t mark = name.rfind('_');
    if (mark != std::string_view::npos) {
        const std::string_view digits(name.data() + mark + 1, name.size() - mark - 1);
        // No process writes its number with zeros in front.
        if (!digits.starts_with('0') && parse_number(digits, 1, INT32_MAX, &identity->pid)) {
            identity->module = {name.data(), mark};
        }
    }
    return true;
}

// The identifiers of the modules of that name, for two share one; returns how many.
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

bool is_running(uint32_t pid) { return kill(static_cast<pid_t>(pid), 0) == 0 || errno != ESRCH; }

void print_endpoint(const Bound &bound)
{
    Record record;
    record.event("endpoint").word("endpoint", bound.name);
    Identity identity;
    if (!parse_name(bound.name, &identity)) {
        record.field("kind", "unknown");
    } else {
        uint32_t ids[IPC_MODULE_COUNT];
        const size_t count = find_modules(identity.module, ids);
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
}

int print_endpoints(FILE *table)
{
    Array<Bound> endpoints;
    char line[512];
    while (fgets(line, sizeof(line), table) != nullptr) {
        Bound bound;
        if (parse_socket(line, &bound) && !endpoints.add(bound)) {
            return fail(kFailed, "cannot list the endpoints: %s", strerror(errno));
        }
    }
    endpoints.sort(compare_names);
    for (const Bound &bound : endpoints) {
        print_endpoint(bound);
    }
    return kDone;
}

// ---- watch ----

uint32_t g_count = 0; // 0: no limit

// What is answered before is this process's own subscriptions.
std::atomic<bool> g_subscribed{false};

uint32_t on_message(ipc_msg_hdr *received, uint32_t)
{
    if (g_subscribed || received->type != IPC_MSG_TYPE_RESPONSE) {
        Message message = {};
        copy_message(received, &message);
        pass_on(&message, sizeof(message));
    }
    return 0;
}
static_assert(is_passed_whole<Message>);

// This process publishes nothing.
uint32_t refuse_subscriber(uint32_t) { return 0; }

// An endpoint that hands every message to on_message.
class Watch {
public:
    Watch() = default;
    ~Watch()
    {
        if (started_) {
            lct_deregister();
            ipc_msg_fin();
        }
    }
    Watch(const Watch &) = delete;
    Watch &operator=(const Watch &) = delete;

    // Returns kDone, or the exit code after saying what is wrong.
    int start()
    {
        if (!open_events()) {
            return fail(kFailed, "cannot wait for messages: %s", strerror(errno));
        }
        const uint32_t result =
            ipc_msg_init(IPC_MODULE_CLI1, nullptr, on_message, refuse_subscriber, 1);
        if (result != IPC_SUCCESS) {
            return fail(kFailed, "cannot start the endpoint (code %u)", result);
        }
        started_ = true;
        for (const uint32_t notification : kNotifications) {
            if (const int code = subscribe(notification); code != kDone) {
                return code;
            }
        }
        g_subscribed = true;
        return kDone;
    }

private:
    bool started_ = false;
};

} // namespace

const Option kBusWatchOptions[] = {
    {"count", "N", "end after N messages", &kCount, &g_count},
    {},
};

int bus_list(char *const *)
{
    FILE *table = fopen(kTable, "re");
    if (table == nullptr) {
        return fail(kFailed, "cannot read %s: %s", kTable, strerror(errno));
    }
    const int code = print_endpoints(table);
    fclose(table);
    return code;
}

int bus_watch(char *const *)
{
    Watch watch;
    const int started = watch.start();
    if (started != kDone) {
        return started;
    }
    // On standard error: output is one line for each message.
    note("waiting for messages to lc_socket_cli1_%u_common; end with Ctrl-C",
         static_cast<unsigned int>(getpid()));
    Message message;
    return print_events(&message, sizeof(message), g_count, [](const void *arrived) {
        print_message(*static_cast<const Message *>(arrived));
    });
}

} // namespace lterouter::tools
