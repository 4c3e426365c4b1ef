#include "ltectl/requests.h"

#include <cstdio>

namespace lterouter::tools {

Reply ask_imsi(ImsiAnswer *answer)
{
    Reply reply = exchange(kGetImsi, nullptr, 0, answer, sizeof(*answer));
    if (reply.outcome == Outcome::kSuccess && answer->imsi[0] == '\0') {
        reply.outcome = Outcome::kNoValue;
    }
    return reply;
}

Reply command_modem(const char *command, AtAnswer *answer, uint32_t limit_ms)
{
    struct {
        AtHead head = kAtHead;
        char command[kAtCommandMax + 1] = "";
    } body;
    static_assert(sizeof(body) <= IPC_MSG_MAX_BODY);
    body.head.length =
        static_cast<uint32_t>(snprintf(body.command, sizeof(body.command), "%s\r", command));
    *answer = {};
    const auto used = static_cast<uint32_t>(sizeof(body.head)) + body.head.length + 1;
    Request request = kPassCommand;
    request.limit_ms = limit_ms;
    return exchange(request, &body, used, answer, kAtAnswerMax);
}

} // namespace lterouter::tools
