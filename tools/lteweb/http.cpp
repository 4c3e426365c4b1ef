#include "lteweb/http.h"

#include "lteweb/json_text.h"

namespace lterouter::tools {

void reply_with(TextStream &text, Reply *reply, unsigned status)
{
    if (!text.finish()) {
        reply->status = kInternalError;
        reply->constant = R"({"error":"out of memory"})";
        return;
    }
    reply->status = status;
    reply->length = text.view().size();
    reply->allocated = text.release();
}

void reply_with(const Refusal &refusal, Reply *reply)
{
    reply->retry_after = refusal.retry_after;
    TextStream text;
    if (text) {
        JsonObject(text.file()).text("error", refusal.reason);
    }
    reply_with(text, reply, refusal.status);
}

} // namespace lterouter::tools
