// Requests as commands make them: by a started client, for as long as the user wants to wait.
#pragma once

#include "common/command.h"

namespace lterouter::tools {

// --timeout, for commands whose answer can take minutes. 0: as long as the library waits.
inline uint32_t g_timeout_seconds = 0;
inline constexpr ValueType kTimeoutSeconds = {"a number of seconds from 1 to 400",
                                              parse_number_in<1, 400>};
inline constexpr Option kTimeoutOption = {"timeout", "SECONDS",
                                          "wait for the answer no longer than that", &kTimeoutSeconds,
                                          &g_timeout_seconds};
inline constexpr Option kTimeoutOptions[] = {kTimeoutOption, {}};

// Makes the request, which returns an exit code, and waits for it within the user's time. progress:
// what to show on a terminal meanwhile ("searching"), or nullptr. Returns the exit code.
int run_request(int (*request)(void *context), void *context, const char *progress);

// The same with a started client.
int run_client_request(int (*request)(void *context), void *context, const char *progress);

template <typename Request> int without_client(Request request)
{
    return run_request([](void *context) { return (*static_cast<Request *>(context))(); }, &request,
                       nullptr);
}

template <typename Request> int with_client(Request request, const char *progress = nullptr)
{
    return run_client_request([](void *context) { return (*static_cast<Request *>(context))(); },
                              &request, progress);
}

} // namespace lterouter::tools
