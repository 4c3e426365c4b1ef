// The logger's lower half: what every room above may call. It includes no other family, so that the
// file helpers can report through it; the module table and its configuration file live in config.cpp.
#pragma once

#include "lc_log.h"
#include "support/place.h"

#include <cstddef>

namespace lterouter {

// True once the process has named its module.
bool log_has_module();

// Names the module; name holds at most 32 characters. Called once, before other threads start.
void log_set_module(const char *name);

// The families that log: print.cpp knows at which level and how their messages begin.
enum LogFamily : unsigned { kLogFile, kLogIpcMq, kLogIpcMsg, kLogNetwork, kLogPthread, kLogTimer };

// Logs a message of a family's source, which text is without its beginning.
void log_from(uint32_t place, const char *text, ...) LC_PRINTF(2, 3);

// Logs that a parameter is null.
void log_null(uint32_t place, const char *parameter);

} // namespace lterouter

// Logs an error with its source position and yields the result code. kLogFamily is the family's own.
// A message without a result of its own is (void)LC_FAIL(0, ...).
#define LC_FAIL(code, ...) \
    (lterouter::log_from(lterouter::place(kLogFamily, __LINE__), __VA_ARGS__), (code))

// The same for a parameter that is null.
#define LC_FAIL_NULL(code, parameter) \
    (lterouter::log_null(lterouter::place(kLogFamily, __LINE__), parameter), (code))
