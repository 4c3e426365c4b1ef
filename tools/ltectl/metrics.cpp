// metrics: the state of router, modem and stores for a Prometheus server, in its text format, which
// comes by standard output or in a file that the node exporter reads.

#include "common/program.h"
#include "common/record.h"
#include "common/utf8.h"
#include "common/wan_manager.h"
#include "lc_file/stream.h"
#include "lc_nv.h"
#include "lte_sdk.h"
#include "ltectl/commands.h"
#include "ltectl/endpoints.h"
#include "ltectl/held_lock.h"
#include "ltectl/interface.h"
#include "ltectl/link_state.h"
#include "ltectl/nv_store.h"
#include "ltectl/nv_verify.h"
#include "ltectl/parameter.h"
#include "ltectl/requests.h"
#include "ltectl/storage.h"
#include "ltectl/whole_file.h"

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <string_view>
#include <sys/stat.h>

namespace lterouter::tools {
namespace {

InterfaceText g_interface = "wwan0";
const char *g_textfile = nullptr;

constexpr ValueType kPath = {"the path of a file", [](const char *text, void *target) {
                                 *static_cast<const char **>(target) = text;
                                 return *text != '\0';
                             }};

constexpr uint32_t kAnswerMs = 2000; // of each request: together less than a scrape's 10 s

// ---- The format ----

// The file's content while it is made; nullptr for standard output.
FILE *g_content = nullptr;
uint32_t g_samples = 0;

FILE *output() { return g_content != nullptr ? g_content : stdout; }
bool prints_objects() { return g_program.json && g_content == nullptr; }

struct Label {
    const char *name;
    std::string_view value;
};

enum class Type { kGauge, kCounter };

// Metrics of one name.
class Family {
public:
    Family(const char *name, Type type, const char *help) : name_(name)
    {
        if (!prints_objects()) {
            fprintf(output(), "# HELP lterouter_%s %s\n# TYPE lterouter_%s %s\n", name, help, name,
                    type == Type::kCounter ? "counter" : "gauge");
        }
    }

    const Family &sample(std::initializer_list<Label> labels, int64_t value) const
    {
        ++g_samples;
        if (prints_objects()) {
            print_object(labels, value);
        } else {
            print_line(labels, value);
        }
        return *this;
    }
    const Family &sample(int64_t value) const { return sample({}, value); }

private:
    void print_object(std::initializer_list<Label> labels, int64_t value) const
    {
        Record record;
        record.event("metric").word("metric", name_);
        for (const Label &label : labels) {
            record.field(label.name, label.value);
        }
        record.number("value", value);
    }

    void print_line(std::initializer_list<Label> labels, int64_t value) const
    {
        fprintf(output(), "lterouter_%s", name_);
        const char *before = "{";
        for (const Label &label : labels) {
            fprintf(output(), "%s%s=\"", before, label.name);
            print_escaped(label.value);
            fputc('"', output());
            before = ",";
        }
        fprintf(output(), "%s %" PRId64 "\n", labels.size() != 0 ? "}" : "", value);
    }

    // A scrape with a byte that is not UTF-8 is refused as a whole.
    static void print_escaped(std::string_view text)
    {
        while (!text.empty()) {
            const Character character = take_character(&text);
            if (character.kind == CharacterKind::kInvalid) {
                fputs("\uFFFD", output());
            } else if (character.bytes == "\n") {
                fputs("\\n", output());
            } else {
                fputs(character.bytes == "\"" || character.bytes == "\\" ? "\\" : "", output());
                put_text(character.bytes, output());
            }
        }
    }

    const char *const name_;
};

// ---- The WAN manager ----

struct Probe {
    bool bound = false;
    bool up = false; // it has answered
    uint32_t answered = 0;
    uint32_t refused = 0;
    uint32_t timed_out = 0;
    uint32_t failed = 0;

    bool count(const Reply &reply)
    {
        switch (reply.outcome) {
        case Outcome::kSuccess:
        case Outcome::kNoValue:
            ++answered;
            break;
        case Outcome::kRefused:
            ++refused;
            break;
        case Outcome::kTimeout:
            ++timed_out;
            break;
        case Outcome::kMalformed:
        case Outcome::kNobodyBound:
        case Outcome::kNotSent:
            ++failed;
            break;
        }
        up = answered + refused != 0;
        return reply.outcome == Outcome::kSuccess;
    }
};

Request in_short(Request request)
{
    request.limit_ms = kAnswerMs;
    return request;
}

// What the WAN manager tells; empty or none where it does not.
struct Told {
    Probe probe;
    std::optional<uint32_t> roaming;
    std::optional<uint32_t> nettype;
    char network_operator[64] = "";
};

std::optional<uint32_t> ask_value(const Request &request, Probe *probe)
{
    lct_value_rsp answer;
    return probe->count(exchange(in_short(request), nullptr, 0, &answer, sizeof(answer)))
               ? std::optional(answer.value)
               : std::nullopt;
}

void ask_operator(Told *told)
{
    AtAnswer answer;
    if (!told->probe.count(command_modem("AT+COPS?", &answer, kAnswerMs)) ||
        get_split_str(answer.text, "\"", told->network_operator, sizeof(told->network_operator)) ==
            nullptr) {
        told->network_operator[0] = '\0';
    }
}

// One that lets a request time out is asked nothing more.
void ask_manager(Told *told)
{
    told->probe.bound = is_bound(kWanManager);
    if (!told->probe.bound) {
        return;
    }
    told->roaming = ask_value(kGetRoaming, &told->probe);
    if (told->probe.timed_out == 0) {
        told->nettype = ask_value(kGetNettype, &told->probe);
    }
    if (told->probe.timed_out == 0) {
        ask_operator(told);
    }
}

void show_manager(const Told &told)
{
    const Probe &probe = told.probe;
    Family("manager_up", Type::kGauge, "Whether a WAN manager is bound to its name and answers.")
        .sample(probe.up ? 1 : 0);
    Family("manager_bound", Type::kGauge, "Whether a WAN manager is bound to its name.")
        .sample(probe.bound ? 1 : 0);
    Family("manager_requests", Type::kGauge,
           "Requests of this scrape to the WAN manager, by their outcome.")
        .sample({{"outcome", "answered"}}, probe.answered)
        .sample({{"outcome", "refused"}}, probe.refused)
        .sample({{"outcome", "timed_out"}}, probe.timed_out)
        .sample({{"outcome", "failed"}}, probe.failed);
    if (told.roaming) {
        Family("roaming_enabled", Type::kGauge,
               "Whether the link may be made in other operators' networks.")
            .sample(*told.roaming);
    }
    if (told.probe.up) {
        Family("network_registered", Type::kGauge,
               "Whether the modem tells the operator of its network.")
            .sample(told.network_operator[0] != '\0' ? 1 : 0);
    }
    if (told.nettype) {
        Family("network_info", Type::kGauge, "Type and operator of the network; always 1.")
            .sample({{"type", get_net_type_str(*told.nettype)}, {"operator", told.network_operator}},
                    1);
    }
}

// ---- What it has stored ----

int64_t change_of(const char *parameter)
{
    char path[128];
    snprintf(path, sizeof(path), "%s%s", NVMRAM_DIR, parameter);
    struct stat status;
    return stat(path, &status) == 0 ? static_cast<int64_t>(status.st_mtime) : 0;
}

void show_link()
{
    const auto state = read_link_state();
    const Family link("link_state", Type::kGauge,
                      "The state of the link that the WAN manager has stored: 1 for it.");
    for (uint32_t i = 0; i < std::size(kLinkStates); ++i) {
        link.sample({{"state", kLinkStates[i]}}, state == i ? 1 : 0);
    }
    if (state) {
        Family("link_state_stored_timestamp_seconds", Type::kGauge,
               "When that state was stored, in Unix time.")
            .sample(change_of(LCT_PARAM_LINK));
    }
}

void show_modem()
{
    if (const SimStatus sim; sim.text[0] != '\0') {
        Family("sim_info", Type::kGauge,
               "The state of the SIM that the WAN manager has stored; always 1.")
            .sample({{"state", sim.text}}, 1);
    }
    char text[64] = "";
    uint32_t signal;
    {
        const Waiting waiting(kStoreWait);
        if (lct_net_signal_level_get_req(text, sizeof(text)) != 0) {
            return;
        }
    }
    if (parse_number(text, 0, INT32_MAX, &signal)) {
        Family("signal_quality", Type::kGauge,
               "Signal strength as the modem tells it: 0 to 31, the more the better; 99 is not known.")
            .sample(signal);
    }
}

// ---- The machine ----

void show_interface()
{
    if_stats stats;
    const std::initializer_list<Label> labels = {{"interface", g_interface}};
    const auto up = is_interface_up(g_interface);
    Family("interface_up", Type::kGauge, "Whether the interface is there and up.")
        .sample(labels, up.value_or(false) ? 1 : 0);
    if (lct_readlist_proc(g_interface, &stats) != 0) {
        return;
    }
    const struct {
        const char *name;
        const char *help;
        uint64_t value;
    } counters[] = {
        {"interface_receive_bytes_total", "Bytes received.", stats.rx_bytes},
        {"interface_transmit_bytes_total", "Bytes sent.", stats.tx_bytes},
        {"interface_receive_packets_total", "Packets received.", stats.rx_packets},
        {"interface_transmit_packets_total", "Packets sent.", stats.tx_packets},
        {"interface_receive_errors_total", "Errors in receiving.", stats.rx_errors},
        {"interface_transmit_errors_total", "Errors in sending.", stats.tx_errors},
        {"interface_receive_dropped_total", "Received packets that were dropped.", stats.rx_dropped},
        {"interface_transmit_dropped_total", "Packets that were dropped instead of sent.",
         stats.tx_dropped},
    };
    for (const auto &counter : counters) {
        Family(counter.name, Type::kCounter, counter.help)
            .sample(labels, static_cast<int64_t>(counter.value));
    }
}

void show_stores()
{
    const StoreHealth health = examine_store();
    Family("store_parameters", Type::kGauge,
           "Parameters: declared ones of the persistent store, stored ones of the volatile.")
        .sample({{"store", "persistent"}}, health.parameters)
        .sample({{"store", "volatile"}}, Names(NVMRAM_DIR).count());
    Family("store_problems", Type::kGauge, "What nv verify finds wrong with the persistent store.")
        .sample(health.problems);
}

void show_upgrade()
{
    Family("upgrade_running", Type::kGauge, "Whether ltectl upgrades the modem's firmware.")
        .sample(is_upgrade_running() ? 1 : 0);
}

void show(const Told &told)
{
    show_manager(told);
    if (told.probe.bound) { // what one that has ended left behind may be wrong
        show_link();
        show_modem();
    }
    show_interface();
    show_stores();
    show_upgrade();
}

int print(const Told &told)
{
    start_output();
    show(told);
    flush_output();
    return kDone;
}

int make_content(const Told &told, const ScratchFile &content)
{
    if (const int code = content.made(); code != kDone) {
        return code;
    }
    const Stream file{fopen(content.path(), "we")};
    if (!file) {
        return cannot("write", content.path(), errno);
    }
    g_content = file.get();
    show(told);
    g_content = nullptr;
    return fflush(file.get()) == 0 && ferror(file.get()) == 0 ? kDone
                                                              : cannot("write", content.path(), errno);
}

int write_textfile(const Told &told)
{
    const ScratchFile content;
    if (const int code = make_content(told, content); code != kDone) {
        return code;
    }
    // The node exporter is another user.
    const Replacing how = {.content = "the metrics", .readable_by_all = true};
    if (const int code = replace_file(content, g_textfile, how); code != kDone) {
        return code;
    }
    Record().event("written").word("file", g_textfile).number("metrics", g_samples);
    return kDone;
}

int scrape()
{
    if (const int code = open_endpoint(); code != kDone) {
        return code;
    }
    ipc_msg_set_send_limit(kAnswerMs);
    Told told;
    ask_manager(&told);
    return g_textfile != nullptr ? write_textfile(told) : print(told);
}

} // namespace

const Option kMetricsOptions[] = {
    {"interface", "NAME", "the modem's interface (wwan0)", &kInterfaceName, g_interface},
    {"textfile", "PATH", "write them to a file, for the node exporter's textfile folder", &kPath,
     &g_textfile},
    kLockTimeoutOption,
    {},
};

int show_metrics(char *const *) { return run_until(g_timeout_seconds, scrape); }

} // namespace lterouter::tools
