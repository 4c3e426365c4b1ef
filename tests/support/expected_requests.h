/* The client's requests as the tests expect them, for C and C++. */
#ifndef EXPECTED_REQUESTS_H
#define EXPECTED_REQUESTS_H

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#ifdef __cplusplus
namespace testing_support {
#endif

typedef struct ExpectedRequest {
    const char *function;
    uint32_t msg_id;
    uint32_t module_id;
    uint32_t body_least;
    uint32_t body_most;
    uint32_t room;
    uint32_t timeout;
} ExpectedRequest;

static const ExpectedRequest kExpectedRequests[] = {
#define REQUEST(function, name, ...) {#function, __VA_ARGS__},
#include "requests.inc"
#undef REQUEST
};

static inline ExpectedRequest expected_request(const char *function)
{
    for (size_t i = 0; i < sizeof(kExpectedRequests) / sizeof(kExpectedRequests[0]); ++i) {
        if (strcmp(kExpectedRequests[i].function, function) == 0) {
            return kExpectedRequests[i];
        }
    }
    fprintf(stderr, "%s has no line in tests/support/requests.inc\n", function);
    abort();
}

#ifdef __cplusplus
} // namespace testing_support
#endif

#endif
