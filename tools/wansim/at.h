// What the modem answers to AT commands.
#pragma once

#include "common/at.h"

#include <cstdint>
#include <string_view>

namespace lterouter::tools {

class Modem;

// command: without the carriage return that ends it. Returns the length of the answer that is used.
uint32_t answer_at(Modem &modem, std::string_view command, AtAnswer *answer);

} // namespace lterouter::tools
