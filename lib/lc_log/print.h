// The logger's lower half: what every room above may call. It includes no other family, so that the
// file helpers can report through it; the module table and its configuration file live in config.cpp.
#pragma once

#include "lc_log.h"

#include <cstddef>

namespace lterouter {

// True once the process has named its module.
bool log_has_module();

// Names the module; name holds at most 32 characters. Called once, before other threads start.
void log_set_module(const char *name);

} // namespace lterouter

// Logs an error with its source position and yields the result code. kUnit is the family's own tag.
// A message without a result of its own is (void)LC_FAIL(0, ...).
#define LC_FAIL(code, text, ...) \
    (log_print(LC_LOG_ERROR, "[ERR][%s:%d]" text, kUnit, __LINE__ __VA_OPT__(, ) __VA_ARGS__), (code))
