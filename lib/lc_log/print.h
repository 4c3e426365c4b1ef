// The lower half of the logger, which every room above may call. It includes no other family, so that
// the file helpers can log through it; the module table and its configuration file are in config.cpp.
#pragma once

#include "lc_log.h"
#include "support/place.h"

#include <cstddef>

namespace lterouter {

// True once the process has named its module.
bool log_has_module();

// Names the module; name holds at most 32 characters. Called once, before other threads start.
void log_set_module(const char *name);

// The families that log; print.cpp has the level and the beginning of the messages of each.
enum LogFamily : unsigned { kLogFile, kLogIpcMq, kLogIpcMsg, kLogNetwork, kLogPthread, kLogTimer };

// Logs a message of a family: its beginning with the source position, then the text.
void log_from(uint32_t place, const char *text, ...) LC_PRINTF(2, 3);

// Logs that a parameter is null.
void log_null(uint32_t place, const char *parameter);

} // namespace lterouter

// Logs with the source position. kLogFamily is the family's own.
#define LC_REPORT(...) lterouter::log_from(lterouter::place(kLogFamily, __LINE__), __VA_ARGS__)

// The same, with result as the value of the expression.
#define LC_FAIL(result, ...) (LC_REPORT(__VA_ARGS__), (result))

// Returns the result, with a log line, when a parameter is null; name is the log's name for it.
#define LC_REQUIRE(parameter, name, result)                                    \
    do {                                                                       \
        if ((parameter) == nullptr) {                                          \
            lterouter::log_null(lterouter::place(kLogFamily, __LINE__), name); \
            return result;                                                     \
        }                                                                      \
    } while (false)

// Logs with the function's name and a second line number before the text; result is the expression's
// value. Some messages of lc_network have a blank before the name.
#define LC_NOTE(blank, result, text, ...) \
    LC_FAIL(result, blank "[%s]:%d " text, __func__, __LINE__ __VA_OPT__(, ) __VA_ARGS__)
