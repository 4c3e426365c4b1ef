// status: everything at a glance. What is not known is left out of an object, and shown as "-" on the
// screen.

#include "common/program.h"
#include "common/record.h"
#include "common/wan_manager.h"
#include "lc_nv.h"
#include "lte_sdk.h"
#include "ltectl/client.h"
#include "ltectl/commands.h"
#include "ltectl/imsi.h"
#include "ltectl/request.h"

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
    if (read(text->text, sizeof(text->text)) != 0) {
        text->text[0] = '\0';
    }
}

// The name in the modem's answer, +COPS: 0,0,"NAME",7.
void read_operator(Text *text)
{
    char answer[128] = {};
    if (lct_ext_at_req("AT+COPS?\n", answer, sizeof(answer) - 1) == 0 &&
        get_split_str(answer, "\"", text->text, sizeof(text->text)) == nullptr) {
        text->text[0] = '\0';
    }
}

void read_imsi(Text *text)
{
    ImsiAnswer answer;
    if (answer.read()) {
        snprintf(text->text, sizeof(text->text), "%.*s", static_cast<int>(sizeof(answer.imsi)),
                 answer.imsi);
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

void read_values(Status *status)
{
    lct_value_rsp nettype = {};
    if (lct_get_nettype(&nettype) == 0) {
        snprintf(status->nettype.text, sizeof(Text::text), "%s", get_net_type_str(nettype.value));
    }
    lct_value_rsp roaming = {};
    if (lct_get_roam_switch(&roaming) == 0) {
        name_switch(roaming.value, &status->roaming);
    }
}

// The WAN manager's own word, where it leaves one.
void read_link(Text *text)
{
    char value[16];
    uint32_t state = 0;
    if (nvmram_readnv("wm_wcdma_link_tmp", value, sizeof(value)) == NV_SUCCESS &&
        parse_number(value, 0, 255, &state)) {
        snprintf(text->text, sizeof(text->text), "%s", get_link_str(state));
    }
}

Status read_status()
{
    Status status;
    read_parameter(lct_sim_status_get_req, &status.sim);
    read_parameter(lct_net_imei_get_req, &status.imei);
    read_parameter(lct_net_signal_level_get_req, &status.signal);
    read_imsi(&status.imsi);
    read_operator(&status.network_operator);
    read_values(&status);
    read_link(&status.link);
    status.counted = lct_readlist_proc(g_interface, &status.counters) == 0;
    struct sysinfo system = {};
    sysinfo(&system);
    status.uptime = static_cast<uint32_t>(system.uptime);
    return status;
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

} // namespace

const Option kStatusOptions[] = {
    {"interface", "NAME", "the modem's interface (wwan0)", &kInterfaceName, g_interface},
    kTimeoutOption,
    {},
};

int show_status(char *const *)
{
    return with_client([] {
        const Status status = read_status();
        if (g_program.json) {
            print_object(status);
        } else {
            print_screen(status);
        }
        return kDone;
    });
}

} // namespace lterouter::tools
