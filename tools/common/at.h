// AT commands as messages carry them to the WAN manager and back.
#pragma once

#include "common/body.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace lterouter::tools {

// The request's body up to the command.
struct AtHead {
    uint32_t length; // of the command, with the carriage return that ends it
    uint32_t type;
    uint32_t modem_timeout_ms; // how long the WAN manager waits for the modem
    uint32_t marker_count;     // texts that end the modem's answer
    char marker1[16];
    char marker2[16];
    char marker3[48];
};
static_assert(sizeof(AtHead) == 96 && offsetof(AtHead, marker1) == 16);
static_assert(offsetof(AtHead, marker2) == 32 && offsetof(AtHead, marker3) == 48);

constexpr uint32_t kAtTypeFile = 1;

struct AtAnswer {
    int32_t result;
    uint32_t type; // kAtTypeFile: the text is the path of a file that holds the answer
    uint32_t length;
    char text[116];
};
static_assert(sizeof(AtAnswer) == 128 && offsetof(AtAnswer, text) == 12);

// The command in the body of a request for the modem, without the carriage return; empty when the
// request is malformed.
std::string_view at_command(const Body &body);

} // namespace lterouter::tools
