// status: everything at a glance. An unknown value is left out of an object, and shown as "-" in text.

#include "common/program.h"
#include "common/record.h"
#include "common/wan_manager.h"
#include "lc_nv.h"
#include "lte_sdk.h"
#include "ltectl/commands.h"
#include "ltectl/link_state.h"
#include "ltectl/request.h"
#include "ltectl/requests.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <sys/sysinfo.h>

namespace lterouter::tools {
namespace {

char g_interface[16] = "wwan0";

struct Text {
    char text[64] = "";

    bool known() const { return text[0] != '\0'; }
};

struct Status {
    Text sim;
    Text imei;
    Text imsi;
    Text network_operator;
    Text signal;
    Text nettype;
    Text roaming;
    Text link;
    bool counted = false;
    if_stats counters = {};
    uint32_t uptime = 0;
};

void read_parameter(int32_t (*read)(char *buf, uint32_t size), Text *text)
{
    Text value;
    int32_t failed;
    {
        const Waiting waiting(kStoreWait);
        failed = read(value.text, sizeof(value.text));
    }
    if (failed == 0) { // at the deadline another thread shows the values: only complete ones
        *text = value;
    }
}

void name_switch(uint32_t value, Text *text)
{
    if (value <= 1) {
        snprintf(text->text, sizeof(text->text), "%s", value == 1 ? "on" : "off");
    } else {
        snprintf(text->text, sizeof(text->text), "%u", value);
    }
}

void set_text(std::string_view value, Text *text)
{
    snprintf(text->text, sizeof(text->text), "%.*s", static_cast<int>(value.size()), value.data());
}

void read_link(Text *text)
{
    if (const auto state = read_link_state(); state) {
        set_text(get_link_str(*state), text);
    }
}

// ---- Values without a message ----

void read_known(Status *status)
{
    status->counted = lct_readlist_proc(g_interface, &status->counters) == 0;
    struct sysinfo system = {};
    sysinfo(&system);
    status->uptime = static_cast<uint32_t>(system.uptime);
    read_parameter(lct_sim_status_get_req, &status->sim);
    read_parameter(lct_net_imei_get_req, &status->imei);
    read_parameter(lct_net_signal_level_get_req, &status->signal);
    read_link(&status->link);
}

// ---- Requests to the WAN manager ----

// A refused value is unknown, which is not a failure. Neither is a missing value; it is reported.
int judge(const Request &request, const Reply &reply)
{
    if (reply.outcome == Outcome::kRefused) {
        return kDone;
    }
    const int code = explain(request, reply);
    return reply.outcome == Outcome::kNoValue ? kDone : code;
}

// Stores the values that arrived.
template <typename Store> int add_value(const Request &request, Store store)
{
    lct_value_rsp answer;
    const Reply reply = exchange(request, nullptr, 0, &answer, sizeof(answer));
    if (reply.outcome == Outcome::kSuccess) {
        store(answer.value);
    }
    return judge(request, reply);
}

// The name in the modem's answer, +COPS: 0,0,"NAME",7.
int add_operator(Status *status)
{
    Text *text = &status->network_operator;
    AtAnswer answer;
    const Reply reply = command_modem("AT+COPS?", &answer);
    if (reply.outcome == Outcome::kSuccess &&
        get_split_str(answer.text, "\"", text->text, sizeof(text->text)) == nullptr) {
        text->text[0] = '\0';
    }
    return judge(kPassCommand, reply);
}

int add_nettype(Status *status)
{
    return add_value(kGetNettype,
                     [=](uint32_t value) { set_text(get_net_type_str(value), &status->nettype); });
}

int add_roaming(Status *status)
{
    return add_value(kGetRoaming, [=](uint32_t value) { name_switch(value, &status->roaming); });
}

int add_imsi(Status *status)
{
    ImsiAnswer answer;
    const Reply reply = ask_imsi(&answer);
    if (reply.outcome == Outcome::kSuccess) {
        set_text(bounded(answer.imsi), &status->imsi);
    }
    return judge(kGetImsi, reply);
}

// The WAN manager's own values first: for the others it may have to wait for the modem.
constexpr int (*kQuestions[])(Status *status) = {add_nettype, add_roaming, add_imsi, add_operator};

// Returns the first exit code that is not kDone.
int add_answers(Status *status)
{
    int first = kDone;
    for (const auto question : kQuestions) {
        const int code = question(status);
        first = first == kDone ? code : first;
        if (code == kNobody) {
            break;
        }
    }
    return first;
}

struct Row {
    const char *name;  // in an object
    const char *label; // on the screen
    Text Status::*text;
};

constexpr Row kRows[] = {
    {"sim", "SIM", &Status::sim},
    {"imei", "IMEI", &Status::imei},
    {"imsi", "IMSI", &Status::imsi},
    {"operator", "operator", &Status::network_operator},
    {"signal", "signal", &Status::signal},
    {"nettype", "network type", &Status::nettype},
    {"roaming", "roaming", &Status::roaming},
    {"link", "link", &Status::link},
};

void print_object(const Status &status)
{
    Record record;
    record.event("status");
    for (const Row &row : kRows) {
        const Text &text = status.*row.text;
        uint32_t number = 0;
        if (row.text == &Status::signal) {
            if (parse_number(text.text, 0, INT32_MAX, &number)) {
                record.number(row.name, number);
            }
        } else if (text.known()) {
            record.word(row.name, text.text);
        }
    }
    record.word("interface", g_interface);
    if (status.counted) {
        record.number("rx_bytes", static_cast<int64_t>(status.counters.rx_bytes))
            .number("tx_bytes", static_cast<int64_t>(status.counters.tx_bytes))
            .number("rx_packets", static_cast<int64_t>(status.counters.rx_packets))
            .number("tx_packets", static_cast<int64_t>(status.counters.tx_packets))
            .number("rx_errors", status.counters.rx_errors)
            .number("tx_errors", status.counters.tx_errors);
    }
    record.number("uptime", status.uptime);
}

void print_screen(const Status &status)
{
    start_output();
    for (const Row &row : kRows) {
        const Text &text = status.*row.text;
        printf("%-14s", row.label);
        put_text(text.known() ? text.text : "-");
        putchar('\n');
    }
    printf("%-14s%s", "interface", g_interface);
    if (status.counted) {
        printf(", %" PRIu64 " bytes in %" PRIu64 " packets received, %" PRIu64 " in %" PRIu64 " sent\n",
               status.counters.rx_bytes, status.counters.rx_packets, status.counters.tx_bytes,
               status.counters.tx_packets);
    } else {
        puts(", not there");
    }
    const uint32_t minutes = status.uptime / 60;
    printf("%-14s%u d %u h %u min\n", "uptime", minutes / 60 / 24, minutes / 60 % 24, minutes % 60);
    flush_output();
}

void print(const Status &status)
{
    if (g_program.json) {
        print_object(status);
    } else {
        print_screen(status);
    }
}

int collect(void *context)
{
    auto *status = static_cast<Status *>(context);
    read_known(status);
    int code = open_endpoint();
    if (code == kDone) {
        code = add_answers(status);
    }
    print(*status);
    return code;
}

} // namespace

const Option kStatusOptions[] = {
    {"interface", "NAME", "the modem's interface (wwan0)", &kInterfaceName, g_interface},
    kTimeoutOption,
    {},
};

int show_status(char *const *)
{
    Status status;
    return run_work({.run = collect,
                     .context = &status,
                     .seconds = g_timeout_seconds,
                     .salvage = [](void *context) { print(*static_cast<const Status *>(context)); }});
}

} // namespace lterouter::tools
