// Requests as commands make them: from an endpoint of their own, without subscriptions, within the
// command's one deadline.
//
// Most of the library's own calls for these requests wait for times of their own and call a refusal and
// silence by the same name.
#pragma once

#include "common/command.h"
#include "lte_sdk.h"
#include "ltectl/deadline.h"

namespace lterouter::tools {

inline constexpr Option kTimeoutOption = {"timeout", "SECONDS", "end after that without an answer (10)",
                                          &kTimeoutSeconds, &g_timeout_seconds};

inline constexpr Option kSubscribingTimeoutOption = {
    "timeout", "SECONDS", "end when no subscription is answered by then (10)", &kTimeoutSeconds,
    &g_timeout_seconds};

struct Request {
    const Peer &peer;
    uint32_t msg_id;
    const char *what; // that is asked for: "tell the roaming switch"
    // A success without a value is shorter. The result word is included.
    uint32_t answer_len = sizeof(int32_t);
    bool about_pin = false;
    bool may_be_longer = false; // a success also in front of more than there is room for
};

enum class Outcome {
    kSuccess,
    kNoValue, // a success, but the answer ends before the value
    kRefused,
    kMalformed,
    kNobodyBound,
    kNotSent
};

struct Reply {
    Outcome outcome;
    int32_t result;  // of an answer that is well-formed
    uint32_t length; // of the answer
};

// Sends the request and waits for the answer, which begins with a result word. Nothing is printed.
// room: bytes of answer, at least sizeof(int32_t).
Reply exchange(const Request &request, const void *body, uint32_t body_len, void *answer,
               uint32_t room);

// The same by a call of the library that traces what came and waits for longer than any deadline.
Reply exchange_by(int32_t (*call)(lct_value_rsp *out), const Request &request, lct_value_rsp *answer);

// Says what is wrong; the exit code. Nothing to say of kDone.
int explain(const Request &request, const Reply &reply);

// Both. Returns kDone when the answer is a success.
int ask(const Request &request, const void *body, uint32_t body_len, void *answer, uint32_t room);

template <typename Answer> int ask(const Request &request, Answer *answer)
{
    return ask(request, nullptr, 0, answer, sizeof(*answer));
}

// For a request that is answered by its result alone.
template <typename Body> int tell(const Request &request, const Body &body)
{
    int32_t result;
    return ask(request, &body, sizeof(body), &result, sizeof(result));
}
int tell(const Request &request);

inline constexpr char kTakeTheRequest[] = "take the request";

// For a request that has no answer: finds out whether the WAN manager answers at all, then sends it.
int send_to_manager(const Request &request, const void *body, uint32_t body_len);

// Also when that cannot be found out.
bool is_bound(const Peer &peer);

// Says that nobody is bound to the name; the exit code.
int tell_nobody(const Peer &peer);

// The state of the SIM, which the WAN manager keeps in the RAM store; empty when it does not.
struct SimStatus {
    char text[64] = "";

    SimStatus();
};

// The next step of who has been refused; nullptr when the SIM is not known to be the reason.
const char *sim_hint(bool about_pin);

// Says that this process has got no endpoint; the exit code.
int fail_to_open(uint32_t result);

// Starts an endpoint without subscriptions, which is ended with the command. Returns kDone, or the exit
// code after saying what is wrong.
int open_endpoint();

// Runs the command with such an endpoint.
template <typename Run> int with_endpoint(Run run, uint32_t seconds)
{
    return run_until(seconds, [&] {
        const int opened = open_endpoint();
        return opened != kDone ? opened : run();
    });
}
template <typename Run> int with_endpoint(Run run) { return with_endpoint(run, g_timeout_seconds); }

extern const Option kTimeoutOptions[];

} // namespace lterouter::tools
