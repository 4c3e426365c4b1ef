#include "ltectl/client.h"

#include "common/program.h"
#include "common/wan_manager.h"
#include "ltectl/events.h"
#include "ltectl/trace_file.h"

#include <cerrno>
#include <cstring>

namespace lterouter::tools {
namespace {

constexpr uint32_t kAnswerTimeoutMs = 4000;

const lct_config g_config = {.reserved = {}, .callback = on_event};

} // namespace

int subscribe(uint32_t notification)
{
    const ipc_addr address = wan_manager_address();
    const uint32_t result = ipc_register_notify(&address, notification, kAnswerTimeoutMs);
    if (result == IPC_SUCCESS) {
        return kDone;
    }
    const std::string_view name = socket_name(address);
    const int length = static_cast<int>(name.size());
    if (result == IPC_ERR_SOCKET || result == IPC_ERR_TIMEOUT) {
        return fail(kNobody, "no WAN manager answers on %.*s; start wansim or the WAN manager", length,
                    name.data());
    }
    return fail(kFailed, "the WAN manager on %.*s refuses to publish its events (code %u)", length,
                name.data(), result);
}

Client::~Client()
{
    if (subscribed_) {
        lct_deregister(); // or its name would stay in the WAN manager's registry for good
    }
    if (started_) {
        lct_module_fin();
    }
}

int Client::start(Events events)
{
    if (events == Events::kWanted && !open_events()) {
        return fail(kFailed, "cannot wait for events: %s", strerror(errno));
    }
    started_ = true; // a start that fails half-way leaves its first half standing
    const int32_t result = lct_module_init(&g_config);
    if (result != 0) {
        return fail(kFailed, "cannot start the LTE client (code %d); see %s", result, kTraceFile);
    }
    subscribed_ = true;
    // The client's start does not tell whether its subscriptions were answered. Subscribing once more
    // does, and changes nothing.
    const int found = subscribe(WM_MSG_LINK_STATUS_NOTIFY);
    // Who wants no events leaves at once: what the command causes would be sent to a process that is
    // gone before it arrives.
    if (found == kDone && events == Events::kUnwanted) {
        lct_deregister();
        subscribed_ = false;
    }
    return found;
}

int refused(const char *request)
{
    return fail(kFailed, "the WAN manager did not %s; see %s", request, kTraceFile);
}

} // namespace lterouter::tools
