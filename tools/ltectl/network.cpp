// scan, imsi, channel: the modem's network.

#include "common/program.h"
#include "common/record.h"
#include "lte_sdk.h"
#include "ltectl/commands.h"
#include "ltectl/requests.h"

namespace lterouter::tools {
namespace {

constexpr Request kSearch = request_for(WM_MSG_NETLIST_SEARCH_REQ, "find operators");
constexpr Request kGetChannel = request_for(WM_MSG_LTE_CHANNEL_REQ, "tell the LTE channel");

uint32_t g_search_seconds = 180; // over every band and technology

void show_operator(const lct_operator &found)
{
    constexpr const char *kNumbers[] = {"number1", "number2", "number3", "number4", "number5"};
    Record record;
    record.word("event", "operator")
        .field("name", bounded(found.name))
        .number("first", found.first)
        .number("second", found.second);
    for (size_t i = 0; i < 5; ++i) {
        record.number(kNumbers[i], found.numbers[i]);
    }
}

void show_operators(const lct_netlist_rsp &answer)
{
    bool any = false;
    for (const lct_operator &found : answer.operators) {
        if (found.name[0] != '\0') {
            show_operator(found);
            any = true;
        }
    }
    if (!any) {
        note("no operator found");
    }
}

int search()
{
    lct_netlist_rsp answer;
    const int code = ask(kSearch, &answer);
    if (code == kDone) {
        show_operators(answer);
    }
    return code;
}

int show_imsi()
{
    ImsiAnswer answer;
    const int code = explain(kGetImsi, ask_imsi(&answer));
    if (code == kDone) {
        Record().event("imsi").word("imsi", bounded(answer.imsi));
    }
    return code;
}

int show_channel()
{
    lct_value_rsp answer;
    const int code = ask(kGetChannel, &answer);
    if (code == kDone) {
        Record().word("event", "channel").number("value", answer.value);
    }
    return code;
}

} // namespace

const Option kScanOptions[] = {
    {"timeout", "SECONDS", "give up after that long without an answer (180)", &kTimeoutSeconds,
     &g_search_seconds},
    {},
};

int scan(char *const *) { return with_endpoint(search, g_search_seconds); }

int imsi(char *const *) { return with_endpoint(show_imsi); }

int channel(char *const *) { return with_endpoint(show_channel); }

} // namespace lterouter::tools
