// ltectl: drives the WAN manager from a shell.
//
//   main      the table of commands
//   deadline  the end of a command: its deadline, signals, the end of the process that should answer
//   request   requests to the WAN manager and the SMS store
//   requests  requests that more than one command makes
//   client    subscribing to the WAN manager
//   events    notifications on their way to the command
//   message   printing a received message
//   endpoints the endpoints of this machine, from the kernel's table
//   link_state
//             the state of the link that the WAN manager stores
//   held_lock the owner of the lock that this process waits for
//   clock     points in time
//   wakeup    waiting for changes of which the kernel tells
//   trace_file
//             the path of the library's trace file
//   array     an array that grows
//   parameter the commands that both parameter stores have
//   parameter_copy
//             the file that holds a parameter's value
//   storage   error messages about files and directories
//   interface an interface's state from the kernel
//   nv_file, nv_store, nv_import
//             parameter files, copies and imports: details that the library does not report
//   replacement, whole_file
//             a file that takes another's place when it is complete
//   store_watch
//             waiting for changes of the persistent parameters
//   capture   received messages in a capture file
//   scratch_file
//             a temporary file without a name, for library calls that take a path
//   secret    a secret from the command line, standard input or a prompt; whether it is shown
//   nv_secret parameters whose values are hidden unless requested
//   progress_bar
//             the progress of long work
//   uart      a modem's port that is a UART, while the library uses it
//   upgrade_trace
//             details of an upgrade from the trace file
//   others    one file for each group of commands

#include "ltectl/commands.h"
#include "ltectl/request.h"
#include "ltectl/sim.h"

namespace lterouter::tools {
namespace {

constexpr Command kNetDefaultCommands[] = {
    {.name = "add",
     .operands = "DEV GATEWAY...",
     .help = "Add a default route over each gateway.",
     .run = net_default_add,
     .offer = offer_interface},
    {.name = "del",
     .operands = "DEV GATEWAY...",
     .help = "Delete the default route over each gateway.",
     .run = net_default_del,
     .offer = offer_interface},
    {},
};

constexpr Command kNetRouteCommands[] = {
    {.name = "add",
     .operands = "DEV DST/LEN [via GATEWAY]",
     .help = "Add a route.",
     .run = net_route_add,
     .offer = offer_route,
     .options = kNetRouteOptions},
    {.name = "del",
     .operands = "DEV DST/LEN [via GATEWAY]",
     .help = "Delete a route.",
     .run = net_route_del,
     .offer = offer_route,
     .options = kNetRouteOptions},
    {.name = "default", .help = "Default routes.", .children = kNetDefaultCommands},
    {},
};

constexpr Command kNetCommands[] = {
    {.name = "route", .help = "IPv4 routes.", .children = kNetRouteCommands},
    {.name = "arp",
     .operands = "IP",
     .help = "Show a neighbour's hardware address from the kernel's ARP table.",
     .run = net_arp},
    {.name = "probe",
     .operands = "IP DEV",
     .help = "Test by ARP, over an interface, whether a neighbour answers.",
     .run = net_probe,
     .offer = offer_probe,
     .options = kNetProbeOptions},
    {.name = "iface",
     .operands = "NAME",
     .help = "Show an interface's state and addresses.",
     .run = net_iface,
     .offer = offer_interface},
    {},
};

constexpr Command kRamCommands[] = {
    {.name = "get",
     .operands = "NAME",
     .help = "Show a parameter.",
     .run = in_time<ram_get>,
     .offer = offer_ram_name,
     .options = kStoreOptions},
    {.name = "set",
     .operands = "NAME VALUE",
     .help = "Store a parameter.",
     .run = in_time<ram_set>,
     .offer = offer_ram_name,
     .options = kStoreOptions},
    {.name = "list",
     .help = "Show every parameter.",
     .run = in_time<ram_list>,
     .options = kStoreOptions},
    {.name = "clear",
     .help = "Remove every parameter.",
     .run = in_time<ram_clear>,
     .options = kStoreOptions},
    {},
};

constexpr Command kNvCommands[] = {
    {.name = "init",
     .help = "Open the store, and repair it after an unclean shutdown.",
     .run = in_time<nv_init>,
     .options = kStoreOptions},
    {.name = "fin",
     .help = "Mark an orderly shutdown.",
     .run = in_time<nv_fin>,
     .options = kStoreOptions},
    {.name = "get",
     .operands = "NAME",
     .help = "Show a parameter.",
     .run = in_time<nv_get>,
     .offer = offer_nv_name,
     .options = kStoreOptions},
    {.name = "set",
     .operands = "NAME VALUE",
     .help = "Store a parameter.",
     .run = nv_set,
     .offer = offer_nv_name,
     .options = kNvShowOptions},
    {.name = "batch",
     .operands = "[FILE]",
     .help = "Store several parameters, which are all checked before.",
     .run = in_time<nv_batch>,
     .options = kNvBatchOptions},
    {.name = "list",
     .help = "Show every parameter: where its value comes from, its bits, its value.",
     .run = in_time<nv_list>,
     .options = kNvShowOptions},
    {.name = "diff",
     .help = "Show every parameter whose value is not its default.",
     .run = in_time<nv_diff>,
     .options = kNvShowOptions},
    {.name = "watch",
     .operands = "[NAME...]",
     .help = "Show every change of a parameter, as it happens.",
     .run = nv_watch,
     .offer = offer_nv_names,
     .options = kNvWatchOptions},
    {.name = "export",
     .operands = "FILE",
     .help = "Save parameters to a file.",
     .run = in_time<nv_export>,
     .options = kNvExportOptions},
    {.name = "import",
     .operands = "FILE",
     .help = "Load parameters from a file.",
     .run = in_time<nv_import>,
     .options = kNvImportOptions},
    {.name = "reset",
     .help = "Reset the router's settings to their defaults.",
     .run = in_time<nv_reset>,
     .options = kNvResetOptions},
    {.name = "verify",
     .help = "Look for damage without changing anything.",
     .run = in_time<nv_verify>,
     .options = kStoreOptions},
    {.name = "clear",
     .help = "Remove both copies of every parameter.",
     .run = in_time<nv_clear>,
     .options = kNvClearOptions},
    {},
};

constexpr Command kPinCommands[] = {
    {.name = "enable",
     .operands = "[PIN]",
     .help = "Make the SIM ask for its PIN.",
     .run = pin_enable,
     .options = kTimeoutOptions},
    {.name = "disable",
     .operands = "[PIN]",
     .help = "Stop the SIM asking for its PIN.",
     .run = pin_disable,
     .options = kTimeoutOptions},
    {.name = "change",
     .operands = "[OLD] [NEW]",
     .help = "Change the PIN; OLD is the PUK of a SIM that is locked.",
     .run = pin_change,
     .options = kTimeoutOptions},
    {},
};

constexpr Command kApnCommands[] = {
    {.name = "match",
     .operands = "FILE KEY",
     .help = "Look an operator's access point name up in a list.",
     .run = apn_match},
    {.name = "set",
     .help = "Make the WAN manager use the stored access point name.",
     .run = apn_set,
     .options = kTimeoutOptions},
    {},
};

constexpr Command kSmsCommands[] = {
    {.name = "clear", .help = "Delete every message.", .run = sms_clear, .options = kTimeoutOptions},
    {},
};

constexpr Command kBusCommands[] = {
    {.name = "list",
     .help = "List the messaging endpoints of this machine.",
     .run = bus_list,
     .options = kBusListOptions},
    {.name = "watch",
     .help = "Subscribe to all events, and show every message that arrives.",
     .run = bus_watch,
     .options = kBusWatchOptions},
    {.name = "capture",
     .operands = "FILE",
     .help = "The same into a capture file, or - to standard output, for Wireshark.",
     .run = bus_capture,
     .options = kBusCaptureOptions},
    {},
};

constexpr Command kCommands[] = {
    {.name = "status",
     .help = "Show SIM, modem, network, link and traffic at a glance.",
     .run = show_status,
     .options = kStatusOptions},
    {.name = "connect",
     .help = "Ask the WAN manager to connect.",
     .run = connect_link,
     .options = kWaitOptions},
    {.name = "disconnect",
     .help = "Ask the WAN manager to disconnect.",
     .run = disconnect_link,
     .options = kWaitOptions},
    {.name = "wait",
     .operands = "CONDITION...",
     .help = "Wait until all of these hold: manager, link=STATE, sim=STATE, interface=NAME.",
     .run = await_conditions,
     .offer = offer_condition,
     .options = kAwaitOptions},
    {.name = "roam",
     .operands = "[on|off]",
     .help = "Show or set the roaming switch.",
     .run = roam,
     .options = kTimeoutOptions},
    {.name = "nettype",
     .operands = "[TYPE]",
     .help = "Show or set the network type: 0 none, 1 2G, 2 3G, 3 4G.",
     .run = nettype,
     .offer = offer_nettype,
     .options = kTimeoutOptions},
    {.name = "pref",
     .operands = "RADIO",
     .help = "Set the preferred radio technology, by number.",
     .run = pref,
     .offer = offer_radio,
     .options = kTimeoutOptions},
    {.name = "scan",
     .help = "Search for operators, which can take minutes.",
     .run = scan,
     .options = kScanOptions},
    {.name = "pin", .help = "The SIM's PIN.", .children = kPinCommands},
    {.name = "imsi", .help = "Show the SIM's identity.", .run = imsi, .options = kTimeoutOptions},
    {.name = "channel", .help = "Show the LTE channel.", .run = channel, .options = kTimeoutOptions},
    {.name = "apn", .help = "The access point name.", .children = kApnCommands},
    {.name = "at",
     .operands = "COMMAND",
     .help = "Pass an AT command to the modem.",
     .run = at,
     .options = kTimeoutOptions},
    {.name = "diag",
     .help = "Make the WAN manager take a snapshot for diagnosis.",
     .run = diag,
     .options = kDiagOptions},
    {.name = "port",
     .operands = "N",
     .help = "Select the modem's serial port.",
     .run = port,
     .options = kTimeoutOptions},
    {.name = "iface",
     .operands = "up|down",
     .help = "Bring the interface up or down.",
     .run = iface,
     .options = kTimeoutOptions},
    {.name = "cfun-off",
     .help = "Switch the modem's radio off.",
     .run = cfun_off,
     .options = kTimeoutOptions},
    {.name = "state-change",
     .help = "Ask for a state change.",
     .run = state_change,
     .options = kTimeoutOptions},
    {.name = "sms", .help = "The SMS store.", .children = kSmsCommands},
    {.name = "ussd-test",
     .operands = "[1|2|3]",
     .help = "Send the SMS store an answer to a USSD code.",
     .run = ussd_test,
     .options = kTimeoutOptions},
    {.name = "stats",
     .operands = "IFNAME",
     .help = "Show an interface's traffic counters.",
     .run = show_stats,
     .offer = offer_interface,
     .options = kStatsOptions},
    {.name = "metrics",
     .help = "Show signal, link, traffic and stores for a Prometheus server.",
     .run = show_metrics,
     .options = kMetricsOptions},
    {.name = "led",
     .operands = "LED FLASH",
     .help = "Set a status LED: signal, internet or sim.",
     .run = led,
     .offer = offer_led,
     .options = kLedOptions},
    {.name = "upgrade",
     .operands = "IMAGE",
     .help = "Upgrade the modem's firmware.",
     .run = upgrade,
     .options = kUpgradeOptions},
    {.name = "monitor",
     .help = "Show link and interface events as they arrive.",
     .run = monitor,
     .options = kMonitorOptions},
    {.name = "request",
     .operands = "ID",
     .help = "Send any message to any module, and show its answer.",
     .run = raw_request,
     .offer = offer_message,
     .options = kRawRequestOptions},
    {.name = "bus", .help = "Messages between processes.", .children = kBusCommands},
    {.name = "sim", .help = "A simulator, while it runs.", .children = kSimCommands.rows},
    {.name = "trace",
     .help = "Show the trace file of the clients and of the upgrade.",
     .run = show_trace,
     .options = kTraceOptions},
    {.name = "log",
     .operands = "[MODULE] [LEVEL] [on|off]",
     .help = kLogHelp.text(),
     .run = log_switches,
     .offer = offer_log},
    {.name = "net", .help = "Routes, neighbours and interfaces.", .children = kNetCommands},
    {.name = "ram", .help = "The router's volatile parameters.", .children = kRamCommands},
    {.name = "nv", .help = "The router's persistent parameters.", .children = kNvCommands},
    {},
};

// The manual page and docs/ltectl.md say the same.
constexpr Exit kExits[] = {
    {kDone, "success; also when a signal ended a command that runs until one"},
    {kFailed,
     "refused or failed; also --wait without the outcome, and a command that a signal interrupted"},
    {kUsage, "the command line is wrong"},
    {kNobody, "the process that should answer does not run, or ended before it answered"},
    {kNoAnswer, "time-out: no answer in time, or another process held a lock for too long"},
    {},
};

constexpr Command kRoot = {
    .name = "ltectl",
    .help = "Drives the WAN manager of an LTE router.",
    .children = kCommands,
    .exits = kExits,
};

} // namespace
} // namespace lterouter::tools

int main(int argc, char **argv)
{
    using namespace lterouter::tools;
    return run_program(kRoot, argc, argv);
}
