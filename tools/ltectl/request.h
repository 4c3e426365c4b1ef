// Requests of commands: from an endpoint of the command's own, without subscriptions, within the
// command's one deadline.
//
// Most of the library's calls for these requests have fixed time-outs and return the same value for a
// refusal and for no answer.
#pragma once

#include "common/command.h"
#include "lte_sdk/request_table.h"
#include "ltectl/deadline.h"

namespace lterouter::tools {

inline constexpr Option kTimeoutOption = {"timeout", "SECONDS",
                                          "give up after that long without an answer (10)",
                                          &kTimeoutSeconds, &g_timeout_seconds};

inline constexpr Option kSubscribingTimeoutOption = {
    "timeout", "SECONDS", "give up after that long without an answer to a subscription (10)",
    &kTimeoutSeconds, &g_timeout_seconds};

struct Request {
    const Peer &peer;
    uint32_t msg_id;
    const char *what; // what the peer should do: "tell the roaming switch"
    // Length of a complete answer, result word included; a success without a value is shorter.
    uint32_t answer_len = sizeof(int32_t);
    bool about_pin = false;
    bool may_be_longer = false; // a longer answer can be a success too
    // Its own end, after which the command goes on; 0: that of the command.
    uint32_t limit_ms = 0;
};

// Only declared: calling it is no constant expression, so that a message without a row does not
// compile.
void no_function_of_the_client_sends_this();

// what: as above. For constants: of a temporary that is an argument Clang 14 makes a wrong object.
consteval Request request_for(uint32_t msg_id, const char *what)
{
    for (const RequestRow &row : kRequestRows) {
        if (row.msg_id == msg_id) {
            return {.peer = row.module_id == kSmsStore.module_id ? kSmsStore : kWanManager,
                    .msg_id = msg_id,
                    .what = what,
                    .answer_len = row.timeout_ms != 0 ? row.answer.least : uint32_t{sizeof(int32_t)},
                    .about_pin = row.body.fields == Fields::kPin || row.body.fields == Fields::kPins};
        }
    }
    no_function_of_the_client_sends_this();
    return {kWanManager, msg_id, what};
}

enum class Outcome {
    kSuccess,
    kNoValue, // a success, but the answer ends before the value
    kRefused,
    kMalformed,
    kNobodyBound,
    kNotSent,
    kTimeout // of a request with an end of its own
};

struct Reply {
    Outcome outcome;
    int32_t result;   // of an answer that is well-formed
    uint32_t length;  // of the answer
    bool cut = false; // it was longer than the room
};

// Sends the request and waits for the answer, which begins with a result word. Nothing is printed.
// room: bytes of answer, at least sizeof(int32_t).
Reply exchange(const Request &request, const void *body, uint32_t body_len, void *answer,
               uint32_t room);

// The same by a call of the library that traces what came and waits for longer than any deadline.
Reply exchange_by(int32_t (*call)(lct_value_rsp *out), const Request &request, lct_value_rsp *answer);

// Prints an error message unless the outcome is a success; returns the exit code.
int explain(const Request &request, const Reply &reply);

// exchange and explain. Returns kDone when the answer is a success.
int ask(const Request &request, const void *body, uint32_t body_len, void *answer, uint32_t room);

template <typename Answer> int ask(const Request &request, Answer *answer)
{
    return ask(request, nullptr, 0, answer, sizeof(*answer));
}

// For a request whose answer is the result alone.
template <typename Body> int tell(const Request &request, const Body &body)
{
    int32_t result;
    return ask(request, &body, sizeof(body), &result, sizeof(result));
}
int tell(const Request &request);

inline constexpr char kTakeTheRequest[] = "take the request";

// For a request that has no answer: finds out whether the WAN manager answers at all, then sends it.
int send_to_manager(const Request &request, const void *body, uint32_t body_len);

// True also when the kernel's table cannot be read.
bool is_bound(const Peer &peer);

// Prints that nobody is bound to the name; returns the exit code.
int tell_nobody(const Peer &peer);

// The state of the SIM that the WAN manager stores in the RAM store; empty when there is none.
struct SimStatus {
    char text[64] = "";

    SimStatus();
};

// The advice after a refusal; nullptr unless the SIM is known to be the reason.
const char *sim_hint(bool about_pin);

// Prints that this process could not start an endpoint; returns the exit code.
int fail_to_open(uint32_t result);

// Starts an endpoint without subscriptions, which the end of the command stops. Returns kDone, or the
// exit code after an error message.
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
