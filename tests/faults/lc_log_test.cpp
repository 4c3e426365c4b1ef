// What comes of failing calls in the logger.
#include "harness.h"

#include "lc_log.h"
#include "support/text_file.h"

using namespace faults;

namespace {

void write_config()
{
    testing_support::write_text("/tmp/logid.cfg", "# modules\n16,x,NEWMOD\n");
    g_hooks.instead["/usr/bin/logid.cfg"] = "/tmp/logid.cfg";
}

void want_time(bool wanted)
{
    testing_support::write_text("/tmp/uptime", "12.34 5.67\n");
    g_hooks.instead["/proc/uptime"] = "/tmp/uptime";
    unlink("/tmp/.LC_DEBUG_FLAG_TIME");
    if (wanted) {
        testing_support::write_text("/tmp/.LC_DEBUG_FLAG_TIME", "");
    }
}

// What arrives in the log.
std::string logged()
{
    log_print(LC_LOG_ERROR, "text\n");
    const Quiet quiet;
    const std::lock_guard guard(g_said_mutex);
    const std::string line = g_said.empty() ? "nothing" : g_said.back();
    g_said.clear();
    return line;
}

const bool g_enlisted = enlist({
    {.function = "get_logconfig_by_ID",
     .act =
         [] {
             logconfig found = {};
             const int result = get_logconfig_by_ID(&found, 16);
             return shown(result) + " " + found.name;
         },
     // A line that is read in part is no line: its name could be another module's.
     .rules = {{.call = "fopen64", .result = "4 "}, {.call = "getc", .result = "3 "}},
     .setup = write_config},
    {.function = "log_init",
     .act = [] { return shown(log_init(16)); },
     .rules = {{.call = "fopen64", .result = "1"}, {.call = "getc", .result = "1"}},
     .setup = write_config,
     .unlogged = true},
    {.function = "log_print",
     .act = logged,
     .rules = {{.call = "access", .result = "nothing", .subject = "ERROR"}},
     .setup = [] { want_time(false); }},
    {.function = "log_print",
     .story = "with_the_time",
     .act = logged,
     .rules = {{.call = "access", .result = "nothing", .subject = "ERROR"},
               {.call = "access", .result = "text", .subject = "TIME"},
               {.call = "open64", .result = "[0.00]text"},
               {.call = "read", .result = "[1]text", .how = {"short"}},
               {.call = "read", .result = "[0.00]text"}},
     .setup = [] { want_time(true); }},
});

} // namespace
