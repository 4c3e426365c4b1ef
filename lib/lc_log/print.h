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

// Logs with the source position. kLogFamily is the family's own.
#define LC_REPORT(...) lterouter::log_from(lterouter::place(kLogFamily, __LINE__), __VA_ARGS__)

// The same, and yields the result.
#define LC_FAIL(result, ...) (LC_REPORT(__VA_ARGS__), (result))

// Returns the result, with a log line, when a parameter is null; name is the log's name for it.
#define LC_REQUIRE(parameter, name, result)                                    \
    do {                                                                       \
        if ((parameter) == nullptr) {                                          \
            lterouter::log_null(lterouter::place(kLogFamily, __LINE__), name); \
            return result;                                                     \
        }                                                                      \
    } while (false)

// Logs what a function notes, its name and once more the line before the text, and yields the result.
// Some messages of lc_network have a blank before them.
#define LC_NOTE(blank, result, text, ...) \
    LC_FAIL(result, blank "[%s]:%d " text, __func__, __LINE__ __VA_OPT__(, ) __VA_ARGS__)
