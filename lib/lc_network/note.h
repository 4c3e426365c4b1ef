// How this family logs: at debug level, with source position and function.
#pragma once

#include "lc_log.h"

namespace lterouter {

constexpr char kUnit[] = "lib/lc_network";

} // namespace lterouter

#define LC_NETWORK_NOTE(cos, result, text, ...)                                                     \
    (log_print(LC_LOG_DEBUG, "[LOG][%s:%d]:" cos "[%s]:%d " text "\n\n", kUnit, __LINE__, __func__, \
               __LINE__ __VA_OPT__(, ) __VA_ARGS__),                                                \
     (result))

// Logs and yields the result. The prefix is spelled in two ways: the messages about the ARP table and
// of lc_arp_update have no blank in it.
#define NOTE(result, ...) LC_NETWORK_NOTE("cos, ", result, __VA_ARGS__)
#define NOTE_ARP(result, ...) LC_NETWORK_NOTE("cos,", result, __VA_ARGS__)
