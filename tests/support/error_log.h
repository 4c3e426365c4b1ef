// The ERROR messages of this process, received in the place of the log daemon.
#pragma once

#include "lc_log.h"
#include "support/eventually.h"
#include "support/syslog_listener.h"

#include <cerrno>
#include <string>
#include <vector>

namespace testing_support {

using Lines = std::vector<std::string>;

// How ErrorLog shows a line of each family: its whole text, with N for the source line's number.
inline std::string from_mq(const std::string &text) { return "[ERR][lib/lc_ipc_mq:N]" + text; }
inline std::string from_msg(const std::string &text) { return "[ERR][lib/lc_ipc_msg:N]" + text; }
inline std::string from_timer(const std::string &text) { return "[lib/sdk_timer:N]" + text; }

// The same for a text that ends with the number of an error, which differs from machine to machine.
inline std::string from_msg(const std::string &text, int error)
{
    return from_msg(text + " errno is " + std::to_string(error) + ".\n");
}

class ErrorLog {
public:
    ErrorLog()
    {
        log_init(0);
        switch_on();
        // The first line opens the connection to the daemon, and so a descriptor.
        log_print(LC_LOG_ERROR, "connected\n");
        listener_.all();
    }
    static void switch_on() { switch_log("SC", "ERROR", true); }
    static void switch_off() { switch_log("SC", "ERROR", false); }

    // What has come since the last call.
    Lines lines()
    {
        take();
        Lines result;
        result.swap(lines_);
        return result;
    }

    // The same, after waiting for count lines of another thread.
    Lines lines(size_t count)
    {
        eventually([this, count] {
            take();
            return lines_.size() >= count;
        });
        return lines();
    }

private:
    // "[ERR][unit:123]text" or "[unit:123]text" with N for the number; any other line as it is.
    static std::string without_number(std::string line)
    {
        const std::string digits = "0123456789";
        const size_t colon = line.find(':');
        const size_t end =
            colon == std::string::npos ? colon : line.find_first_not_of(digits, colon + 1);
        const bool is_from_library = line.rfind("[ERR][lib/", 0) == 0 || line.rfind("[lib/", 0) == 0;
        if (is_from_library && end != std::string::npos && end > colon + 1 && line[colon + 1] != '0' &&
            line[end] == ']') {
            line.replace(colon + 1, end - colon - 1, "N");
        }
        return line;
    }

    void take()
    {
        for (const std::string &line : listener_.all()) {
            lines_.push_back(without_number(line));
        }
    }

    SyslogListener listener_;
    Lines lines_;
};

} // namespace testing_support
