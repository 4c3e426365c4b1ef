#include "common/program.h"
#include "common/wan_manager.h"
#include "ltectl/client.h"
#include "ltectl/commands.h"
#include "ltectl/events.h"

namespace lterouter::tools {
namespace {

uint32_t g_count = 0; // 0: no limit

void print_event(const void *arrived)
{
    const Event &event = *static_cast<const Event *>(arrived);
    if (event.kind == LCT_EVENT_LINK_STATUS) {
        print_link(event.link);
    } else {
        print_interface(event.interface);
    }
}

} // namespace

const Option kMonitorOptions[] = {
    {"count", "N", "end after N events", &kCount, &g_count},
    {},
};

int monitor(char *const *)
{
    Client client;
    const int started = client.start(Client::Events::kWanted);
    if (started != kDone) {
        return started;
    }
    // On standard error: output is one line for each event.
    note("waiting for events; end with Ctrl-C");
    Event event;
    return print_events(&event, sizeof(event), g_count, print_event);
}

} // namespace lterouter::tools
