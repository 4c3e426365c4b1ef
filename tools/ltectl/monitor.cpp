#include "common/program.h"
#include "common/wan_manager.h"
#include "ltectl/client.h"
#include "ltectl/commands.h"
#include "ltectl/events.h"

#include <cerrno>
#include <cstring>
#include <optional>

namespace lterouter::tools {
namespace {

uint32_t g_count = 0; // 0: no limit

constexpr ValueType kCount = {"a number from 1 to 1000000", parse_number_in<1, 1000000>};

void print_event(const Event &event)
{
    if (event.kind == LCT_EVENT_LINK_STATUS) {
        print_link(event.link);
    } else {
        print_interface(event.interface);
    }
}

// Events that came while the pipe was full.
void note_lost(uint32_t lost)
{
    if (lost != 0) {
        note("%u events lost: the output is not read fast enough", lost);
    }
}

int print_events()
{
    uint32_t last = 0;
    for (uint32_t printed = 0; g_count == 0 || printed < g_count; ++printed) {
        Event event;
        switch (next_event(&event, std::nullopt)) {
        case Arrival::kEvent:
            note_lost(event.number - last - 1);
            last = event.number;
            print_event(event);
            break;
        case Arrival::kSignal:
        case Arrival::kReaderGone:
            return kDone;
        case Arrival::kTimeout:
        case Arrival::kError:
            return fail(kFailed, "cannot wait for events: %s", strerror(errno));
        }
        if (output_error() != 0) {
            return kDone; // whether this is a failure is judged at the program's end
        }
    }
    return kDone;
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
    return print_events();
}

} // namespace lterouter::tools
