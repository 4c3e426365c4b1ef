// ltectl: drives the WAN manager from a shell.
//
//   main      the table of commands
//   client    this process as a host of the LTE client
//   events    notifications, signals and time-outs on their way to the command
//   others    one file for each group of commands

#include "ltectl/commands.h"

namespace lterouter::tools {
namespace {

constexpr Command kRamCommands[] = {
    {.name = "get", .operands = "NAME", .help = "Show a parameter.", .run = ram_get},
    {.name = "set", .operands = "NAME VALUE", .help = "Store a parameter.", .run = ram_set},
    {.name = "list", .help = "Show every parameter.", .run = ram_list},
    {.name = "clear", .help = "Remove every parameter.", .run = ram_clear},
    {},
};

constexpr Command kCommands[] = {
    {.name = "connect", .help = "Ask for the link.", .run = connect_link, .options = kWaitOptions},
    {.name = "disconnect",
     .help = "Ask for the link's end.",
     .run = disconnect_link,
     .options = kWaitOptions},
    {.name = "roam", .operands = "[on|off]", .help = "Show or set the roaming switch.", .run = roam},
    {.name = "monitor",
     .help = "Show link and interface events as they come.",
     .run = monitor,
     .options = kMonitorOptions},
    {.name = "ram", .help = "The router's volatile parameters.", .children = kRamCommands},
    {},
};

constexpr Command kRoot = {
    .name = "ltectl",
    .help = "Drives the WAN manager of an LTE router.\n"
            "Exit codes: 0 done, 1 refused or failed, 2 usage, 3 no WAN manager answers.",
    .children = kCommands,
};

} // namespace
} // namespace lterouter::tools

int main(int argc, char **argv)
{
    using namespace lterouter::tools;
    return run_program(kRoot, argc, argv);
}
