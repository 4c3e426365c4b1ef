// AT commands as messages carry them to the WAN manager and back.
#pragma once

#include "lc_ipc_msg.h"

#include <cstddef>
#include <cstdint>

namespace lterouter {

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

inline constexpr AtHead kAtHead = {0, 0, 5000, 3, "OK", "ERROR", "+CME ERROR"};

// Characters of a command, with the carriage return; its terminator comes after it.
constexpr size_t kAtCommandMax = IPC_MSG_MAX_BODY - sizeof(AtHead) - 1;

constexpr uint32_t kAtTypeFile = 1;

constexpr uint32_t kAtTextMax = 116;

struct AtAnswer {
    int32_t result;
    uint32_t type; // kAtTypeFile: the text is the path of a file that holds the answer
    uint32_t length;
    char text[kAtTextMax + 1]; // whoever reads an answer ends the text, which may come without an end
};
static_assert(offsetof(AtAnswer, text) == 12);

// Bytes of the longest answer.
constexpr uint32_t kAtAnswerMax = offsetof(AtAnswer, text) + kAtTextMax;

} // namespace lterouter
