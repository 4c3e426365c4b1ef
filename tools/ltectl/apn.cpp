// apn: the access point name.

#include "common/program.h"
#include "common/record.h"
#include "lte_sdk.h"
#include "ltectl/commands.h"
#include "ltectl/request.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace lterouter::tools {
namespace {

constexpr Request kSetApn = request_for(WM_MSG_APN_SET_REQ, "use the access point name");

} // namespace

int apn_match(char *const *operands)
{
    const char *path = operands[0];
    const char *key = operands[1];
    if (access(path, R_OK) != 0) {
        return fail(kFailed, "cannot read %s: %s", path, strerror(errno));
    }
    apn_item item;
    if (auto_match_apn(path, key, &item) != 0) {
        return fail(kFailed, "%s has no \"%s\", or a line that is malformed; see " LCT_TRACE_FILE, path,
                    key);
    }
    Record()
        .event("apn")
        .word("apn", bounded(item.apn))
        .field("key", bounded(item.key))
        .field("text1", bounded(item.text1))
        .field("text2", bounded(item.text2))
        .field("text3", bounded(item.text3))
        .number("number1", item.number1);
    return kDone;
}

int apn_set(char *const *)
{
    return with_endpoint([] {
        const int code = tell(kSetApn);
        if (code == kDone) {
            Record().word("event", "apn").word("status", "set");
        }
        return code;
    });
}

} // namespace lterouter::tools
