#include "ltectl/progress_bar.h"

#include "common/record.h"
#include "ltectl/clock.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace lterouter::tools {
namespace {

constexpr uint64_t kWidth = 30;
constexpr int64_t kRedrawMs = 100;
constexpr double kKibibyte = 1024;

} // namespace

ProgressBar::ProgressBar(uint64_t total)
    : total_(total), terminal_(isatty(STDERR_FILENO) == 1), started_ms_(now_ms())
{
}

void ProgressBar::clear()
{
    if (drawn_ms_ != 0) {
        fputs("\r\033[K", stderr);
        drawn_ms_ = 0;
    }
}

void ProgressBar::show(uint64_t done)
{
    if (done == 0) {
        return; // the rate is not known yet
    }
    if (!terminal_) {
        print(done);
        return;
    }
    const int64_t now = now_ms();
    if (drawn_ms_ == 0 || done == total_ || now - drawn_ms_ >= kRedrawMs) {
        draw(done, now);
    }
}

void ProgressBar::draw(uint64_t done, int64_t now)
{
    drawn_ms_ = now;
    char bar[kWidth + 1];
    const uint64_t filled = done * kWidth / total_;
    memset(bar, '-', kWidth);
    memset(bar, '#', static_cast<size_t>(filled));
    bar[kWidth] = '\0';
    const double seconds = static_cast<double>(std::max<int64_t>(now - started_ms_, 1)) / 1000;
    const double rate = static_cast<double>(done) / seconds;
    const double left = rate > 0 ? static_cast<double>(total_ - done) / rate : 0;
    fprintf(stderr, "\r\033[K[%s] %3u %%  %.0f of %.0f KiB  %.0f KiB/s  %.0f s left", bar,
            static_cast<unsigned>(done * 100 / total_), static_cast<double>(done) / kKibibyte,
            static_cast<double>(total_) / kKibibyte, rate / kKibibyte, left);
}

void ProgressBar::print(uint64_t done)
{
    const uint64_t tenths = done * 10 / total_;
    if (tenths != tenths_) {
        tenths_ = tenths;
        Record()
            .word("event", "progress")
            .number("percent", static_cast<int64_t>(done * 100 / total_))
            .number("bytes", static_cast<int64_t>(done))
            .number("total", static_cast<int64_t>(total_));
    }
}

} // namespace lterouter::tools
