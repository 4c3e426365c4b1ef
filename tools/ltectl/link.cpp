// connect, disconnect: the request is asynchronous; the outcome is an event.

#include "common/program.h"
#include "common/wan_manager.h"
#include "ltectl/client.h"
#include "ltectl/commands.h"
#include "ltectl/events.h"
#include "ltectl/request.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace lterouter::tools {
namespace {

uint32_t g_wait_seconds = 0; // 0: do not wait

struct LinkRequest {
    const char *name;
    uint32_t msg_id;
    uint32_t goal; // the link status that means success
    const char *goal_name;
};

constexpr LinkRequest kConnect = {"connect", WM_MSG_CONNECT_REQ, LCT_LINK_CONNECTED, "connected"};
constexpr LinkRequest kDisconnect = {"disconnect", WM_MSG_DISCONNECT_REQ, LCT_LINK_DISCONNECTED,
                                     "disconnected"};

bool fulfils(const Event &event, const LinkRequest &request)
{
    return event.kind == LCT_EVENT_LINK_STATUS && event.link.link_status == request.goal;
}

// Waits for the first event that decides the outcome.
Arrival await_outcome(const LinkRequest &request, Event *event)
{
    char too_late[96];
    snprintf(too_late, sizeof(too_late),
             "the link is not %s after %u s; ltectl monitor shows what happens", request.goal_name,
             g_wait_seconds);
    const Waiting waiting({&kWanManager, request.name, too_late, kFailed, first_served()});
    Arrival arrival;
    do {
        arrival = next_event(event, std::nullopt);
    } while (arrival == Arrival::kEvent && !fulfils(*event, request));
    return arrival;
}

int wait_for(const LinkRequest &request)
{
    Event event;
    switch (await_outcome(request, &event)) {
    case Arrival::kEvent:
        if (await_reader()) {
            print_link(event.link);
            return kDone;
        }
        [[fallthrough]];
    case Arrival::kSignal:
        return fail(kFailed, "interrupted; the WAN manager may go on with the request");
    case Arrival::kReaderGone:
        return fail(kFailed, "nobody reads the answer; the WAN manager goes on with the request");
    case Arrival::kTimeout:
    case Arrival::kError:
        break;
    }
    return fail(kFailed, "cannot wait for the link: %s", strerror(errno));
}

int request_and_wait(const LinkRequest &request)
{
    if (const int code = start_client(); code != kDone) {
        return code;
    }
    {
        const Waiting waiting({&kWanManager, kTakeTheRequest});
        send_request(IPC_MODULE_MM, request.msg_id, nullptr, 0);
    }
    return wait_for(request);
}

int request_only(const LinkRequest &request)
{
    const int code = send_to_manager({kWanManager, request.msg_id, kTakeTheRequest}, nullptr, 0);
    if (code == kDone) {
        Record().event("requested").word("requested", request.name).text("requested");
    }
    return code;
}

int request_link(const LinkRequest &request)
{
    return g_wait_seconds != 0 ? run_until(g_wait_seconds, [&] { return request_and_wait(request); })
                               : with_endpoint([&] { return request_only(request); });
}

} // namespace

const Option kWaitOptions[] = {
    {"wait", "SECONDS", "wait at most that long for the outcome, and show it", &kSeconds,
     &g_wait_seconds},
    {"timeout", "SECONDS", "without --wait: give up after that long without an answer (10)",
     &kTimeoutSeconds, &g_timeout_seconds},
    {},
};

int connect_link(char *const *) { return request_link(kConnect); }

int disconnect_link(char *const *) { return request_link(kDisconnect); }

} // namespace lterouter::tools
