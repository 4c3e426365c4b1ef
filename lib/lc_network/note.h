// How this family logs: at debug level, with source position and function.
#pragma once

#include "lc_log/print.h"

namespace lterouter {

constexpr LogFamily kLogFamily = kLogNetwork;

} // namespace lterouter

#define LC_NETWORK_NOTE(blank, result, text, ...)                                  \
    (log_from(place(kLogFamily, __LINE__), blank "[%s]:%d " text "\n\n", __func__, \
              __LINE__ __VA_OPT__(, ) __VA_ARGS__),                                \
     (result))

// Logs and yields the result. The prefix is spelled in two ways: the messages about the ARP table and
// of lc_arp_update have no blank in it.
#define NOTE(result, ...) LC_NETWORK_NOTE(" ", result, __VA_ARGS__)
#define NOTE_ARP(result, ...) LC_NETWORK_NOTE("", result, __VA_ARGS__)
