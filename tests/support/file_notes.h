// What the file helpers note in the log, seen by a listener in the log daemon's place.
#pragma once

#include "lc_log.h"
#include "support/syslog_listener.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace testing_support {

// The process logs as WanManager; its debug messages are on from the start.
class FileNotes : public testing::Test {
protected:
    FileNotes()
    {
        EXPECT_EQ(log_init(3), 0);
        switch_log("WanManager", "DEBUG");
    }

    // The next line must be the note of a function, with one source line in both places.
    void expect_note(const char *function, const std::string &text)
    {
        const std::string raw = log.next_raw();
        EXPECT_EQ(raw.substr(0, 4), "<15>") << raw;
        const std::string start = "[LOG][lib/lc_file:";
        const size_t at = raw.find(start);
        ASSERT_NE(at, std::string::npos) << function << " noted: " << raw;
        const std::string message = raw.substr(at);
        const int line = atoi(message.c_str() + start.size());
        EXPECT_GT(line, 0);
        EXPECT_EQ(message, start + std::to_string(line) + "]:cos,[" + function +
                               "]:" + std::to_string(line) + " " + text);
    }
    void expect_rejection(const char *function)
    {
        expect_note(function, "input parameter is null\n\n");
        expect_silence();
    }
    void expect_silence() { EXPECT_EQ(log.next_raw(), ""); }

    SyslogListener log;
};

} // namespace testing_support
