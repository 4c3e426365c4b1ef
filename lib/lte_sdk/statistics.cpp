// Traffic counters of an interface from /proc/net/dev, in any of the layouts it has had.

#include "lte_sdk/statistics.h"

#include "lc_file/stream.h"
#include "support/layout.h"

#include <algorithm>
#include <cctype>
#include <cinttypes>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <sys/sysinfo.h>

namespace lterouter {
namespace {

constexpr size_t kLineSize = 512;

// The host shares this record in memory.
static_assert(offsetof(if_stats, rx_errors) == 32 && offsetof(if_stats, rx_length_errors) == 64);
static_assert(offsetof(if_stats, uptime) == 108 && sizeof(if_stats) == 112);

// What a layout may lack.
constexpr uint8_t kBytes = 1;
constexpr uint8_t kCompressed = 2;

constexpr unsigned kCounters = 16; // that get_dev_fields() hands over
constexpr unsigned lacked_counters(uint8_t lacks)
{
    return ((lacks & kBytes) != 0 ? 2U : 0U) + ((lacks & kCompressed) != 0 ? 3U : 0U);
}

struct Layout {
    char mark[11]; // in the second header line of this layout and of those after it
    uint8_t lacks;
    const char *format;
};

// One conversion for each counter of the record, so that one sscanf with the same arguments reads every
// layout. For a counter that a layout lacks it is a %n of the counter's width, which consumes no input;
// it is zeroed afterwards.
#define L "%" SCNu64
#define U "%" SCNu32
#define NO_L "%jn"
#define NO_U "%n"
constexpr Layout ss_fmt[] = {
    {"", kBytes | kCompressed, NO_L L U U U U NO_U NO_U NO_L L U U U U U NO_U},
    {"bytes", kCompressed, L L U U U U NO_U NO_U L L U U U U U NO_U},
    {"compressed", 0, L L U U U U U U L L U U U U U U},
};
#undef L
#undef U
#undef NO_L
#undef NO_U
static_assert(std::size(ss_fmt) == kNetDevLayouts, "statistics.h tells how many layouts there are");

constexpr bool fits(const Layout &layout)
{
    unsigned conversions = 0;
    unsigned lacked = 0;
    for (const char *c = layout.format; *c != '\0'; ++c) {
        conversions += *c == '%' ? 1 : 0;
        lacked += *c == 'n' ? 1 : 0;
    }
    return conversions == kCounters && lacked == lacked_counters(layout.lacks);
}
static_assert(std::all_of(std::begin(ss_fmt), std::end(ss_fmt), fits),
              "a format has a conversion for each counter, and a %n for each that is lacked");

} // namespace
} // namespace lterouter

using namespace lterouter;

unsigned procnetdev_version(const char *header)
{
    unsigned version = kNetDevLayouts - 1;
    while (strstr(header, ss_fmt[version].mark) == nullptr) {
        --version;
    }
    return version;
}

const char *get_name(char (&name)[kIfNameSize], const char *line)
{
    const auto space = [](char c) { return isspace(static_cast<unsigned char>(c)) != 0; };
    const char *start = line;
    while (space(*start)) {
        ++start;
    }
    const char *end = start;
    while (*end != '\0' && *end != ':' && !space(*end)) {
        ++end;
    }
    if (*end == ':') {
        const char *alias = end + 1;
        while (isdigit(static_cast<unsigned char>(*alias)) != 0) {
            ++alias;
        }
        if (*alias == ':') {
            end = alias;
        }
    }
    const auto length = static_cast<size_t>(end - start);
    if (*end != ':' || length >= sizeof(name)) {
        name[0] = '\0';
        return *line == '\0' ? line : line + 1;
    }
    memcpy(name, start, length);
    name[length] = '\0';
    return end + 1;
}

void get_dev_fields(const char *text, if_stats *stats, unsigned version)
{
    memset(stats, 0, sizeof(*stats));
    const Layout &layout = ss_fmt[version];
    sscanf(text, layout.format, &stats->rx_bytes, &stats->rx_packets, &stats->rx_errors,
           &stats->rx_dropped, &stats->rx_fifo_errors, &stats->rx_frame_errors, &stats->rx_compressed,
           &stats->rx_multicast, &stats->tx_bytes, &stats->tx_packets, &stats->tx_errors,
           &stats->tx_dropped, &stats->tx_fifo_errors, &stats->collisions, &stats->tx_carrier_errors,
           &stats->tx_compressed);
    if ((layout.lacks & kCompressed) != 0) {
        stats->rx_multicast = stats->rx_compressed = stats->tx_compressed = 0;
    }
    if ((layout.lacks & kBytes) != 0) {
        stats->rx_bytes = stats->tx_bytes = 0;
    }
}

uint32_t get_uptime()
{
    struct sysinfo info = {};
    sysinfo(&info);
    return static_cast<uint32_t>(info.uptime);
}

int32_t lct_readlist_proc(const char *ifname, if_stats *stats)
{
    if (ifname == nullptr) {
        return -1;
    }
    const Stream file(lc_fopen("/proc/net/dev", "re"));
    if (!file) {
        return -1;
    }
    char line[kLineSize];
    line[0] = '\0';
    lc_fgets(line, sizeof(line), file.get());
    lc_fgets(line, sizeof(line), file.get());
    const unsigned version = procnetdev_version(line);
    while (lc_fgets(line, sizeof(line), file.get()) != nullptr) {
        char name[kIfNameSize];
        const char *fields = get_name(name, line);
        get_dev_fields(fields, stats, version);
        if (strcmp(name, ifname) == 0) {
            stats->uptime = get_uptime();
            return 0;
        }
    }
    memset(stats, 0, sizeof(*stats));
    return -1;
}
