#include "lteweb/history.h"

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

} // namespace

void History::add(const Sample &sample)
{
    samples_[next_] = sample;
    next_ = (next_ + 1) % kRoom;
    count_ = std::min(count_ + 1, kRoom);
}

template <typename Write> void History::write_list(FILE *file, int64_t since_ms, Write write) const
{
    const char *separator = "";
    fputc('[', file);
    for (size_t i = 0; i < count_; ++i) {
        const Sample &sample = samples_[(next_ + kRoom - count_ + i) % kRoom];
        if (sample.time_ms >= since_ms) {
            fprintf(file, "%s[%" PRId64 ",", separator, sample.time_ms);
            write(sample);
            fputc(']', file);
            separator = ",";
        }
    }
    fputc(']', file);
}

void History::write(FILE *file, int64_t time_ms) const
{
    JsonObject object(file);
    object.number("now", time_ms);
    write_list(object.key("signal"), time_ms - kLongestMs,
               [=](const Sample &sample) { write_number(file, sample.has_signal, sample.signal); });
    write_list(object.key("traffic"), time_ms - kLongestMs, [=](const Sample &sample) {
        write_number(file, sample.has_traffic, sample.rx_bytes);
        fputc(',', file);
        write_number(file, sample.has_traffic, sample.tx_bytes);
    });
}

void History::write_sample(FILE *file, const Sample &sample)
{
    JsonObject object(file);
    object.number("time", sample.time_ms);
    write_number(object.key("signal"), sample.has_signal, sample.signal);
    write_number(object.key("rx_bytes"), sample.has_traffic, sample.rx_bytes);
    write_number(object.key("tx_bytes"), sample.has_traffic, sample.tx_bytes);
}

} // namespace lterouter::tools
