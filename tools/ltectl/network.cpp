// scan, imsi, channel: what the modem knows of its network.

#include "common/program.h"
#include "common/record.h"
#include "lte_sdk.h"
#include "ltectl/captured_output.h"
#include "ltectl/client.h"
#include "ltectl/commands.h"
#include "ltectl/imsi.h"
#include "ltectl/request.h"

namespace lterouter::tools {
namespace {

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

// Without the list of the RAM store that the library prints for people who debug it.
bool search(lct_netlist_rsp *answer)
{
    const CapturedOutput diagnostics;
    return diagnostics && lct_get_netlist_req(answer) == 0;
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

int show_imsi()
{
    ImsiAnswer answer;
    if (!answer.read()) {
        return refused("tell the IMSI");
    }
    Record().event("imsi").word("imsi", bounded(answer.imsi));
    return kDone;
}

int show_channel()
{
    uint32_t channel = 0;
    if (lct_lte_channel_req(&channel) != 0) {
        return refused("tell the LTE channel");
    }
    Record().word("event", "channel").number("value", channel);
    return kDone;
}

} // namespace

int scan(char *const *)
{
    static lct_netlist_rsp answer; // outlives a search that nobody waits for any longer
    bool found = false;
    const int code = with_client(
        [&] {
            found = search(&answer);
            return kDone;
        },
        "searching");
    if (code != kDone) {
        return code;
    }
    if (!found) {
        return refused("find operators");
    }
    show_operators(answer);
    return kDone;
}

int imsi(char *const *) { return with_client(show_imsi); }

int channel(char *const *) { return with_client(show_channel); }

} // namespace lterouter::tools
