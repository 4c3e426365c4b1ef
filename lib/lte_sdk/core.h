// lte_sdk: the client of the WAN manager.
//
//   core        start-up, the three send primitives, connect and disconnect
//   dispatcher  notifications on their way to the host's callback
//   request_table
//               the requests, a row of data each, which the tools read too
//   requests    the functions that make them, and the WAN manager's values in the RAM store
//   at          the AT command request and its answer, by the records of at_record
//   standalone  requests of tools that have not started the client, and the answers for tests
//   netlist     the operator list that a search leaves in the RAM store
//   names       names of the WAN manager's enumerations
//   apn         APN lists
//   statistics  interface counters
//   led         status LEDs
//
// Threads: requests run on the host's threads and keep all state on the stack; the dispatcher and the
// host's callback run on the messaging receive thread. No locks of its own.
#pragma once

#include "lc_ipc_msg.h"
#include "lct_trace/trace.h"
#include "lte_sdk.h"
#include "support/hand_on.h"

#include <algorithm>
#include <climits>
#include <cstdlib>

namespace lterouter {

constexpr TraceFamily kTraceFamily = kTraceSdk;

// Why both functions that start an endpoint hand its code on.
constexpr char kEndpointsCode[] = "the host is told why there is no endpoint";

// The number at the start of a text, 0 without one, clamped to 32 bits on machines of either word size.
// Not atoi, which is undefined for numbers that do not fit.
inline int32_t number_at(const char *text)
{
    return static_cast<int32_t>(std::clamp<long>(strtol(text, nullptr, 10), INT32_MIN, INT32_MAX));
}

} // namespace lterouter

extern "C" {

// The host's record. Written before the endpoint exists, then only read.
extern const lct_config *g_sdk_config;

// The client's queue; the endpoint does not get it, so it stays empty. Used only at start and end.
extern mq_cb g_sdk_mq;

// Handler of the client's endpoint: 1 when the host has a callback, else 0.
uint32_t sdk_msg_handler(ipc_msg_hdr *msg, uint32_t len);

// Prints the operator list of the last search to standard output.
void netlist_nv(void);

// One item of an APN list, without its end mark: 0 when it is enabled and complete, else -1.
int32_t parse_apn_item(const char *text, apn_item *out);

// 0 when the SIM can be used, else -1.
int32_t lct_check_sim_card_ready(void);
}
