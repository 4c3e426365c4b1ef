// connect, disconnect: the request goes out at once; the outcome is an event.

#include "common/program.h"
#include "common/wan_manager.h"
#include "ltectl/client.h"
#include "ltectl/commands.h"
#include "ltectl/events.h"

#include <cerrno>
#include <cstring>

namespace lterouter::tools {
namespace {

uint32_t g_wait_seconds = 0; // 0: do not wait

constexpr ValueType kSeconds = {"a number of seconds from 1 to 86400", parse_number_in<1, 86400>};

struct LinkRequest {
    const char *name;
    int32_t (*send)();
    uint32_t goal; // the link status that fulfils it
    const char *goal_name;
};

constexpr LinkRequest kConnect = {"connect", lct_connect, LCT_LINK_CONNECTED, "connected"};
constexpr LinkRequest kDisconnect = {"disconnect", lct_disconnect, LCT_LINK_DISCONNECTED,
                                     "disconnected"};

bool fulfils(const Event &event, const LinkRequest &request)
{
    return event.kind == LCT_EVENT_LINK_STATUS && event.link.link_status == request.goal;
}

int wait_for(const LinkRequest &request)
{
    const int64_t deadline_ms = now_ms() + static_cast<int64_t>(g_wait_seconds) * 1000;
    for (;;) {
        Event event;
        switch (next_event(&event, deadline_ms)) {
        case Arrival::kEvent:
            if (fulfils(event, request) && await_reader()) {
                print_link(event.link);
                return kDone;
            }
            break;
        case Arrival::kTimeout:
            return fail(kFailed, "the link is not %s after %u s; ltectl monitor shows what happens",
                        request.goal_name, g_wait_seconds);
        case Arrival::kSignal:
            return fail(kFailed, "interrupted; the WAN manager goes on with the request");
        case Arrival::kReaderGone:
            return fail(kFailed, "nobody reads the answer; the WAN manager goes on with the request");
        case Arrival::kError:
            return fail(kFailed, "cannot wait for the link: %s", strerror(errno));
        }
    }
}

int request_link(const LinkRequest &request)
{
    const bool waits = g_wait_seconds != 0;
    Client client;
    const int started = client.start(waits ? Client::Events::kWanted : Client::Events::kUnwanted);
    if (started != kDone) {
        return started;
    }
    request.send();
    if (waits) {
        return wait_for(request);
    }
    Record().event("requested").word("requested", request.name).text("requested");
    return kDone;
}

} // namespace

const Option kWaitOptions[] = {
    {"wait", "SECONDS", "wait for the outcome and show it", &kSeconds, &g_wait_seconds},
    {},
};

int connect_link(char *const *) { return request_link(kConnect); }

int disconnect_link(char *const *) { return request_link(kDisconnect); }

} // namespace lterouter::tools
