// A simulator's script: controls, each with the time from the start at which it is carried out, one a
// line: "2.5 link drop". Text after "#" is a comment.
#pragma once

#include "common/control.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace lterouter::tools {

class Script {
public:
    Script() = default;
    ~Script();
    Script(const Script &) = delete;
    Script &operator=(const Script &) = delete;

    // Checks the whole file. Returns kDone, or the exit code after a message with the number of the
    // line that is wrong.
    int load(const char *path, const Understanding &understanding);

    std::string_view text() const { return text_ != nullptr ? text_ : ""; }

private:
    int read(const char *path);
    int check(const char *path, const Understanding &understanding) const;

    char *text_ = nullptr;
};

// Goes through the events of a script that was loaded, as their time comes.
class ScriptReader {
public:
    void begin(const Script &script, int64_t start_ms);

    // When the next event is due; no value after the last.
    std::optional<int64_t> due_ms() const { return due_ms_; }
    // The control that is due then; goes on to the next event.
    std::string_view take();

private:
    void find_next();

    std::string_view rest_;
    std::string_view control_;
    int64_t start_ms_ = 0;
    std::optional<int64_t> due_ms_;
};

} // namespace lterouter::tools
