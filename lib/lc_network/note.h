// Logging of this family. There are two prefixes: that of the messages about the ARP table and of
// lc_arp_update has no blank after "cos,".
#pragma once

#include "lc_log/print.h"

namespace lterouter {

constexpr LogFamily kLogFamily = kLogNetwork;

} // namespace lterouter

#define NOTE(result, text, ...) LC_NOTE(" ", result, text "\n\n" __VA_OPT__(, ) __VA_ARGS__)
#define NOTE_ARP(result, text, ...) LC_NOTE("", result, text "\n\n" __VA_OPT__(, ) __VA_ARGS__)
