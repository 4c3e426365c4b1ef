// What the modem answers to AT commands.
#pragma once

#include <cstdint>
#include <string_view>

namespace lterouter::tools {

class Modem;

// The answer of the WAN manager to WM_MSG_MODEM_AT_REQ.
struct AtAnswer {
    int32_t result;
    uint32_t type; // 1: text is the path of a file that holds the answer
    uint32_t length;
    char text[116];
};

// command: without the carriage return that ends it. Returns the length of the answer that is used.
uint32_t answer_at(Modem &modem, std::string_view command, AtAnswer *answer);

} // namespace lterouter::tools
