#include "lteweb/trace.h"

#include "common/slice.h"
#include "lte_sdk.h"

#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>

namespace lterouter::tools {
namespace {

constexpr int64_t kLookMs = 1000;
constexpr size_t kMostBytes = 6144; // of one look

} // namespace

void TraceTail::want(bool wanted)
{
    if (wanted && !wanted_) {
        open_at_end();
    } else if (!wanted) {
        file_.reset();
    }
    wanted_ = wanted;
}

std::optional<int64_t> TraceTail::next_ms() const
{
    return wanted_ ? std::optional(next_ms_) : std::nullopt;
}

void TraceTail::open_at_end()
{
    file_.reset(open(LCT_TRACE_FILE, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status = {};
    position_ = file_ && fstat(file_.get(), &status) == 0 ? status.st_size : 0;
    left_out_ = 0;
}

// A full trace file is renamed, and another one begun.
bool TraceTail::is_current() const
{
    struct stat named;
    struct stat opened;
    return stat(LCT_TRACE_FILE, &named) != 0 ||
           (file_ && fstat(file_.get(), &opened) == 0 && named.st_ino == opened.st_ino &&
            named.st_dev == opened.st_dev);
}

void TraceTail::tick(int64_t now_ms, void (*publish)(void *context, std::string_view line),
                     void *context)
{
    if (!wanted_ || now_ms < next_ms_) {
        return;
    }
    next_ms_ = now_ms + kLookMs;
    if (!is_current()) {
        file_.reset(open(LCT_TRACE_FILE, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
        position_ = 0;
        left_out_ = 0;
    }
    struct stat status;
    if (!file_ || fstat(file_.get(), &status) != 0) {
        return;
    }
    constexpr off_t kMost = kMostBytes;
    if (status.st_size < position_) { // it was emptied
        position_ = 0;
        left_out_ = 0;
    }
    if (status.st_size - position_ > kMost) {
        left_out_ += status.st_size - kMost - position_;
        position_ = status.st_size - kMost;
    }
    char bytes[kMostBytes];
    const ssize_t count = pread(file_.get(), bytes, sizeof(bytes), position_);
    if (count <= 0) {
        return;
    }
    const std::string_view read(bytes, static_cast<size_t>(count));
    // A line that is still being written comes at the next look.
    const size_t complete = read.rfind('\n');
    std::string_view rest = slice(read, 0, complete == std::string_view::npos ? 0 : complete + 1);
    position_ += static_cast<off_t>(rest.size());
    if (left_out_ != 0 && !rest.empty()) {
        const size_t before = rest.size();
        take_line(&rest); // its beginning is missing
        left_out_ += static_cast<off_t>(before - rest.size());
        char text[48];
        snprintf(text, sizeof(text), "... %lld bytes left out", static_cast<long long>(left_out_));
        publish(context, text);
        left_out_ = 0;
    }
    while (!rest.empty()) {
        publish(context, take_line(&rest));
    }
}

} // namespace lterouter::tools
