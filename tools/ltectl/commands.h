// The functions behind the table of commands, group by group, and their options.
#pragma once

#include "common/command.h"
#include "common/text.h"

namespace lterouter::tools {

// link.cpp
extern const Option kWaitOptions[];
int connect_link(char *const *operands);
int disconnect_link(char *const *operands);

// monitor.cpp
extern const Option kMonitorOptions[];
int monitor(char *const *operands);

// wait.cpp
extern const Option kAwaitOptions[];
void offer_condition(Offer &offer, const char *const *before);
int await_conditions(char *const *operands);

// settings.cpp
int roam(char *const *operands);
void offer_nettype(Offer &offer, const char *const *before);
int nettype(char *const *operands);
void offer_radio(Offer &offer, const char *const *before);
int pref(char *const *operands);
int port(char *const *operands);

// pin.cpp
int pin_enable(char *const *operands);
int pin_disable(char *const *operands);
int pin_change(char *const *operands);

// network.cpp
extern const Option kScanOptions[];
int scan(char *const *operands);
int imsi(char *const *operands);
int channel(char *const *operands);

// modem.cpp
extern const Option kDiagOptions[];
int at(char *const *operands);
int diag(char *const *operands);
int iface(char *const *operands);
int cfun_off(char *const *operands);

// apn.cpp
int apn_match(char *const *operands);
int apn_set(char *const *operands);

// standalone.cpp
int state_change(char *const *operands);
int sms_clear(char *const *operands);
int ussd_test(char *const *operands);

// raw_request.cpp
extern const Option kRawRequestOptions[];
void offer_message(Offer &offer, const char *const *before);
int raw_request(char *const *operands);

// status.cpp
extern const Option kStatusOptions[];
int show_status(char *const *operands);

// stats.cpp
extern const Option kStatsOptions[];
void offer_interface(Offer &offer, const char *const *before);
int show_stats(char *const *operands);

// led.cpp
extern const Option kLedOptions[];
void offer_led(Offer &offer, const char *const *before);
int led(char *const *operands);

// upgrade.cpp
extern const Option kUpgradeOptions[];
int upgrade(char *const *operands);

// metrics.cpp
extern const Option kMetricsOptions[];
int show_metrics(char *const *operands);

// bus.cpp
extern const Option kBusListOptions[];
extern const Option kBusWatchOptions[];
extern const Option kBusCaptureOptions[];
int bus_list(char *const *operands);
int bus_watch(char *const *operands);
int bus_capture(char *const *operands);

// trace.cpp
extern const Option kTraceOptions[];
int show_trace(char *const *operands);

// log.cpp
using LogHelp = Text<160>;
extern const LogHelp kLogHelp;
void offer_log(Offer &offer, const char *const *before);
int log_switches(char *const *operands);

// net.cpp
extern const Option kNetProbeOptions[];
int net_arp(char *const *operands);
void offer_probe(Offer &offer, const char *const *before);
int net_probe(char *const *operands);
int net_iface(char *const *operands);

// net_route.cpp
extern const Option kNetRouteOptions[];
void offer_route(Offer &offer, const char *const *before);
int net_route_add(char *const *operands);
int net_route_del(char *const *operands);
int net_default_add(char *const *operands);
int net_default_del(char *const *operands);

// parameter.cpp
extern const Option kStoreOptions[];

// ram.cpp
void offer_ram_name(Offer &offer, const char *const *before);
int ram_get(char *const *operands);
int ram_set(char *const *operands);
int ram_list(char *const *operands);
int ram_clear(char *const *operands);

// nv.cpp
extern const Option kNvShowOptions[];
extern const Option kNvClearOptions[];
int nv_init(char *const *operands);
int nv_fin(char *const *operands);
void offer_nv_name(Offer &offer, const char *const *before);
int nv_get(char *const *operands);
int nv_set(char *const *operands);
int nv_list(char *const *operands);
int nv_diff(char *const *operands);
int nv_clear(char *const *operands);

// nv_exchange.cpp
extern const Option kNvExportOptions[];
extern const Option kNvImportOptions[];
extern const Option kNvResetOptions[];
int nv_export(char *const *operands);
int nv_import(char *const *operands);
int nv_reset(char *const *operands);

// nv_watch.cpp
extern const Option kNvWatchOptions[];
void offer_nv_names(Offer &offer, const char *const *before);
int nv_watch(char *const *operands);

// nv_batch.cpp
extern const Option kNvBatchOptions[];
int nv_batch(char *const *operands);

// nv_verify.cpp
int nv_verify(char *const *operands);

} // namespace lterouter::tools
