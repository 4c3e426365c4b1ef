#include "lteweb/history.h"

#include "common/clock.h"
#include "ltectl/clock.h"
#include "lteweb/json_text.h"

#include <algorithm>

namespace lterouter::tools {
namespace {

void write_number(FILE *file, bool known, uint64_t value)
{
    if (known) {
        fprintf(file, "%" PRIu64, value);
    } else {
        fputs("null", file);
    }
}

int64_t wall_offset_ms() { return wall_clock_ms() - now_ms(); }

} // namespace

void History::add(const Sample &sample)
{
    constexpr int64_t kTolerance = kStepMs / 10; // of the clock that brings them
    const int64_t last_ms = samples_[(next_ + kRoom - 1) % kRoom].time_ms;
    if (count_ != 0 && sample.time_ms - last_ms < kStepMs - kTolerance) {
        return;
    }
    samples_[next_] = sample;
    next_ = (next_ + 1) % kRoom;
    count_ = std::min(count_ + 1, kRoom);
}

template <typename Write>
void History::write_list(FILE *file, int64_t since_ms, int64_t offset_ms, Write write) const
{
    const char *separator = "";
    fputc('[', file);
    for (size_t i = 0; i < count_; ++i) {
        const Sample &sample = samples_[(next_ + kRoom - count_ + i) % kRoom];
        if (sample.time_ms >= since_ms) {
            fprintf(file, "%s[%" PRId64 ",", separator, sample.time_ms + offset_ms);
            write(sample);
            fputc(']', file);
            separator = ",";
        }
    }
    fputc(']', file);
}

void History::write(FILE *file, uint32_t sample_seconds) const
{
    const int64_t since = now_ms() - kLongestMs;
    const int64_t offset = wall_offset_ms();
    JsonObject object(file);
    object.number("now", now_ms() + offset).number("every", sample_seconds);
    write_list(object.key("signal"), since, offset,
               [=](const Sample &sample) { write_number(file, sample.has_signal, sample.signal); });
    write_list(object.key("traffic"), since, offset, [=](const Sample &sample) {
        write_number(file, sample.has_traffic, sample.rx_bytes);
        fputc(',', file);
        write_number(file, sample.has_traffic, sample.tx_bytes);
    });
}

void History::write_sample(FILE *file, const Sample &sample)
{
    JsonObject object(file);
    object.number("time", sample.time_ms + wall_offset_ms());
    write_number(object.key("signal"), sample.has_signal, sample.signal);
    write_number(object.key("rx_bytes"), sample.has_traffic, sample.rx_bytes);
    write_number(object.key("tx_bytes"), sample.has_traffic, sample.tx_bytes);
}

} // namespace lterouter::tools
