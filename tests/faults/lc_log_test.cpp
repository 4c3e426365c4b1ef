// Effects of failing calls in the logger.
#include "harness.h"

#include "lc_log.h"
#include "support/text_file.h"

namespace lc_log_test {

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

// What arrives in the log is what is said.
std::string logged()
{
    log_print(LC_LOG_ERROR, "text\n");
    return std::string();
}

Rule instead(const char *call, const std::string &line, std::vector<std::string> how = {})
{
    return {.call = call,
            .said = {kError + line},
            .unsaid = {kError + "[12.34]text"},
            .how = std::move(how)};
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
    {.function = "log_print", .act = logged, .setup = [] { want_time(false); }},
    {.function = "log_print_text",
     .act =
         [] {
             log_print_text(LC_LOG_ERROR, "text\n");
             return std::string();
         },
     .setup = [] { want_time(false); }},
    {.function = "log_print",
     .story = "with_the_time",
     .act = logged,
     .rules = kLogFails + Rules{instead("access", "text"), instead("open64", "[0.00]text"),
                                instead("read", "[1]text", {"short"}), instead("read", "[0.00]text")},
     .setup = [] { want_time(true); }},
});

} // namespace

} // namespace lc_log_test
