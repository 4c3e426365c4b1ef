#include "common/program.h"
#include "common/wan_manager.h"
#include "ltectl/client.h"
#include "ltectl/commands.h"
#include "ltectl/events.h"
#include "ltectl/request.h"

namespace lterouter::tools {
namespace {

uint32_t g_count = 0; // 0: no limit

void print_event(const void *arrived)
{
    const Event &event = *static_cast<const Event *>(arrived);
    Record record;
    add_time(record, event.head.arrived_us / 1000);
    if (event.kind == LCT_EVENT_LINK_STATUS) {
        add_link(record, event.link);
    } else {
        add_interface(record, event.interface);
    }
}

} // namespace

const Option kMonitorOptions[] = {
    {"count", "N", "end after N events", &kCount, &g_count},
    kTimestampsOption,
    kSubscribingTimeoutOption,
    {},
};

int monitor(char *const *)
{
    return run_until(g_timeout_seconds, [] {
        if (const int code = start_client(); code != kDone) {
            return code;
        }
        // On standard error: output is one line for each event.
        note("waiting for events; end with Ctrl-C");
        Event event;
        return show_events(&event, sizeof(event), g_count, {print_event});
    });
}

} // namespace lterouter::tools
