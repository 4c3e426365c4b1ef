// The requests of clients, and the thread that serves them.
#pragma once

#include "wansim/settings.h"

#include <string_view>

namespace lterouter::tools {

// The name of a request to the WAN manager or to the SMS store, as its table has it; empty when there
// is none of that name.
std::string_view find_request_name(std::string_view name);

// Shows the name of each to visit.
void each_request(void (*visit)(std::string_view name, void *context), void *context);

// Prints one line for each request, by name.
void list_requests();

// The module that the settings stand in for.
uint32_t module_of(const Settings &settings);

// Serves message after message until kMsgEnd. settings: const Settings *.
void *serve(void *settings);

} // namespace lterouter::tools
