// Effects of failing calls on the endpoint's receive thread, for every kind of message.
#pragma once

#include "harness.h"

namespace faults {

// The receive thread has done all that there was to do.
inline bool rests()
{
    return testing_support::eventually([] { return g_library_thread.rests(); });
}

inline const std::string kNoMessage = err("Assign memory failed!");

// Of a datagram whose header tells of such a body, when only 8 bytes come.
inline std::string mismatch(size_t body)
{
    return err("Message length mismatched! Received length is 8, but length in message header is " +
               std::to_string(body));
}

// A message with a body of this size. A step that fails before the datagram is taken from the socket is
// made again; one that fails later has lost it: then something more may be said, and something not.
inline Rules receive_fails(size_t body, const std::string &lost, const Lines &said = {},
                           const Lines &unsaid = {})
{
    const auto step = [](const std::string &line, const char *result) {
        return Lines{line, err("Receive common priority message failed! sret=") + result};
    };
    Rules loses = {
        {.call = "mem_malloc_ex", .said = step(kNoMessage, "11."), .nth = 2},
        {.call = "recvfrom", .said = step(err("Orderly shutdown occured!"), "10."), .how = {"nothing"}},
        {.call = "recvfrom", .said = step(mismatch(body), "4."), .how = {"short"}},
    };
    for (Rule &rule : loses) {
        rule.result = lost;
        rule.said.insert(rule.said.end(), said.begin(), said.end());
    }
    return losing(loses, unsaid) +
           Rules{{.call = "mem_malloc_ex", .said = step(kNoMessage, "11."), .nth = 1},
                 {.call = "recvfrom", .said = step(err("Receive message failed! errno is %e."), "10.")},
                 {.call = "select", .said = {err("Call select failed. errno is %e.")}}};
}

} // namespace faults
