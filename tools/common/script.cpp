#include "common/script.h"

#include "common/slice.h"
#include "support/fd.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

constexpr size_t kLongestScript = 65536;
constexpr uint32_t kLatestSecond = 86400;
constexpr uint32_t kThousand = 1000;

struct Event {
    int64_t ms;
    std::string_view control;
};

// The next line, without its comment and the blanks before it.
std::string_view take_event(std::string_view *text)
{
    std::string_view line = take_line(text);
    line = slice(line, 0, line.find('#'));
    return slice(line, line.find_first_not_of(" \t\r"));
}

// "2", "2.5" or "2.125".
bool parse_seconds(std::string_view text, int64_t *ms)
{
    const size_t point = std::min(text.find('.'), text.size());
    uint32_t seconds;
    uint32_t thousandths = 0;
    if (!parse_number(slice(text, 0, point), 0, kLatestSecond, &seconds)) {
        return false;
    }
    if (point != text.size()) {
        const std::string_view digits = slice(text, point + 1);
        if (digits.empty() || digits.size() > 3 ||
            !parse_number(digits, 0, kThousand - 1, &thousandths)) {
            return false;
        }
        for (size_t i = digits.size(); i < 3; ++i) {
            thousandths *= 10;
        }
    }
    *ms = int64_t{seconds} * kThousand + thousandths;
    return true;
}

// False when the line, which is not empty, begins with no time.
bool parse_event(std::string_view line, Event *event)
{
    const size_t length = std::min(line.find_first_of(" \t"), line.size());
    event->control = slice(line, line.find_first_not_of(" \t", length));
    return parse_seconds(slice(line, 0, length), &event->ms);
}

} // namespace

Script::~Script() { free(text_); }

int Script::load(const char *path, const Understanding &understanding)
{
    const int code = read(path);
    return code == kDone ? check(path, understanding) : code;
}

int Script::read(const char *path)
{
    const Fd fd(open(path, O_RDONLY | O_CLOEXEC));
    text_ = static_cast<char *>(malloc(kLongestScript + 1));
    if (!fd || text_ == nullptr) {
        return fail(kFailed, "cannot read %s: %s", path, strerror(errno));
    }
    size_t length = 0;
    ssize_t count = 0;
    while (length <= kLongestScript &&
           (count = ::read(fd.get(), text_ + length, kLongestScript + 1 - length)) > 0) {
        length += static_cast<size_t>(count);
    }
    if (count < 0) {
        return fail(kFailed, "cannot read %s: %s", path, strerror(errno));
    }
    if (length > kLongestScript) {
        return fail(kUsage, "%s is longer than a script may be, %zu bytes", path, kLongestScript);
    }
    text_[length] = '\0';
    return strlen(text_) == length ? kDone : fail(kUsage, "%s is no text", path);
}

int Script::check(const char *path, const Understanding &understanding) const
{
    std::string_view rest = text();
    int64_t earliest_ms = 0;
    for (unsigned number = 1; !rest.empty(); ++number) {
        const std::string_view line = take_event(&rest);
        if (line.empty()) {
            continue;
        }
        Event event;
        Order order;
        Reason reason;
        if (!parse_event(line, &event)) {
            return fail(
                kUsage,
                "%s, line %u: it begins with no time, a number of seconds from 0 to 86400 with up "
                "to three decimals",
                path, number);
        }
        if (event.ms < earliest_ms) {
            return fail(kUsage, "%s, line %u: its time is before that of the line before", path,
                        number);
        }
        if (!parse_order(understanding, event.control, &order, &reason)) {
            return fail(kUsage, "%s, line %u: %s", path, number, reason.text);
        }
        earliest_ms = event.ms;
    }
    return kDone;
}

void ScriptReader::begin(const Script &script, int64_t start_ms)
{
    rest_ = script.text();
    start_ms_ = start_ms;
    find_next();
}

std::string_view ScriptReader::take()
{
    const std::string_view control = control_;
    find_next();
    return control;
}

void ScriptReader::find_next()
{
    due_ms_ = std::nullopt;
    while (!rest_.empty() && !due_ms_) {
        Event event;
        const std::string_view line = take_event(&rest_);
        if (!line.empty() && parse_event(line, &event)) {
            due_ms_ = start_ms_ + event.ms;
            control_ = event.control;
        }
    }
}

} // namespace lterouter::tools
