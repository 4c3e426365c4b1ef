// The client's requests as the tests expect them.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace testing_support {

struct ExpectedRequest {
    const char *function;
    uint32_t msg_id;
    uint32_t module_id;
    uint32_t body_least;
    uint32_t body_most;
    uint32_t room;
    uint32_t timeout;
};

inline constexpr ExpectedRequest kExpectedRequests[] = {
#define REQUEST(function, name, ...) {#function, __VA_ARGS__},
#include "support/requests.inc"
#undef REQUEST
};

inline const ExpectedRequest &expected_request(const std::string &function)
{
    for (const ExpectedRequest &request : kExpectedRequests) {
        if (request.function == function) {
            return request;
        }
    }
    fprintf(stderr, "%s has no line in tests/support/requests.inc\n", function.c_str());
    abort();
}

} // namespace testing_support
