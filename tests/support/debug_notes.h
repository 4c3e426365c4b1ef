// The library's debug messages, received by a listener in the place of the log daemon.
#pragma once

#include "lc_log.h"
#include "support/syslog_listener.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace testing_support {

// The process logs as WanManager; its debug messages are on from the start.
class DebugNotes : public testing::Test {
protected:
    DebugNotes()
    {
        EXPECT_EQ(log_init(3), 0);
        switch_log("WanManager", "DEBUG");
        // The first line opens the connection to the daemon, and so a descriptor.
        log_print(LC_LOG_DEBUG, "connected\n");
        log.all();
    }

    // The next line must be the note of a function, with one source line in both places. cos: what
    // stands between the two, with its blank if it has one.
    void expect_note(const std::string &unit, const std::string &cos, const std::string &function,
                     const std::string &text)
    {
        const std::string raw = log.next_raw();
        EXPECT_EQ(raw.substr(0, 4), "<15>") << raw;
        const std::string start = "[LOG][" + unit + ":";
        const size_t at = raw.find(start);
        ASSERT_NE(at, std::string::npos) << function << " noted: " << raw;
        const std::string message = raw.substr(at);
        const int line = atoi(message.c_str() + start.size());
        EXPECT_GT(line, 0);
        EXPECT_EQ(message, start + std::to_string(line) + "]:" + cos + "[" + function +
                               "]:" + std::to_string(line) + " " + text);
    }
    void expect_silence() { EXPECT_EQ(log.next_raw(), ""); }

    SyslogListener log;
};

} // namespace testing_support
